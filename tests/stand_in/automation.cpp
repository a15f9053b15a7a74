#include "stand_in/automation.h"

#include <cstring>
#include <map>
#include <mutex>

#include "frame/wmi_status.h"

namespace kvwmi::stand_in {
namespace {

constexpr GUID kScriptingLibrary{
    0x565783C6, 0xCB41, 0x11D1, {0x8B, 0x02, 0x00, 0x60, 0x08, 0x06, 0xD9, 0xB6}};

struct ById {
  bool operator()(const IID& a, const IID& b) const { return std::memcmp(&a, &b, sizeof a) < 0; }
};

}  // namespace

ITypeInfo* type_info_of(REFIID interface_id) {
  // Kept for the process's life: loading takes longer than a call.
  static std::mutex mutex;
  static auto& known = *new std::map<IID, ComPtr<ITypeInfo>, ById>;
  const std::scoped_lock lock(mutex);
  auto& info = known[interface_id];
  if (!info) {
    ComPtr<ITypeLib> library;
    if (SUCCEEDED(LoadRegTypeLib(kScriptingLibrary, 1, 2, LOCALE_NEUTRAL, library.put()))) {
      library->GetTypeInfoOfGuid(interface_id, info.put());
    }
  }
  return info.get();
}

HRESULT not_supported() {
  return com::publish(wmi::wmi_error(wmi::Status::not_supported, wmi::source::kServices), IID_IDispatch);
}

HRESULT raise_late(EXCEPINFO* exception, HRESULT failure) {
  if (!exception) return failure;
  *exception = {};
  exception->scode = failure;
  ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.put()) == S_OK) {
    info->GetSource(&exception->bstrSource);
    info->GetDescription(&exception->bstrDescription);
  }
  return DISP_E_EXCEPTION;
}

}  // namespace kvwmi::stand_in
