#include "windows/scripting/create.h"

#include <windows.h>

#include <objbase.h>

#include <algorithm>
#include <array>

#include "frame/runtime_error.h"
#include "windows/scripting/call_error.h"

namespace kvwmi::ground {
namespace {

constexpr HRESULT from_win32(std::uint32_t code) {
  return static_cast<HRESULT>(0x80070000U | code);
}

constexpr std::array kNotInstalled{
    REGDB_E_CLASSNOTREG,
    REGDB_E_IIDNOTREG,
    CLASS_E_CLASSNOTAVAILABLE,
    CO_E_CLASSSTRING,
    CO_E_APPNOTFOUND,
    CO_E_DLLNOTFOUND,
    CO_E_ERRORINDLL,
    CO_E_APPDIDNTREG,
    E_NOINTERFACE,
    from_win32(ERROR_FILE_NOT_FOUND),
    from_win32(ERROR_PATH_NOT_FOUND),
    from_win32(ERROR_MOD_NOT_FOUND),
    from_win32(ERROR_PROC_NOT_FOUND),
    from_win32(ERROR_BAD_EXE_FORMAT),
};

}  // namespace

ComPtr<IUnknown> create_object(const CLSID& class_id, const IID& interface_id) {
  void* object = nullptr;
  const auto attempt = [&] {
    return CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, interface_id, &object);
  };
  SetErrorInfo(0, nullptr);
  HRESULT result = attempt();
  if (result == CO_E_NOTINITIALIZED && SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
    result = attempt();
  }
  if (std::find(kNotInstalled.begin(), kNotInstalled.end(), result) != kNotInstalled.end()) {
    throw runtime_error(RuntimeError::cannot_create_object);
  }
  if (FAILED(result)) throw call_error(result, kComponentName);
  return ComPtr<IUnknown>::own(static_cast<IUnknown*>(object));
}

}  // namespace kvwmi::ground
