#include "server.h"

#include <oleauto.h>

#include <stdexcept>
#include <string_view>

#include "windows/automation/implements.h"
#include "windows/text/bstr.h"

namespace server {
namespace {

std::runtime_error failed(const char* what) {
  return std::runtime_error(std::string(what) + " failed with " + std::to_string(GetLastError()));
}

template <typename Function>
Function entry(HMODULE module, const char* name) {
  const FARPROC address = GetProcAddress(module, name);
  if (!address) throw failed(name);
  return reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

class NoLocators final : public kvwmi::com::Implements<IClassFactory> {
 public:
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID, void** object) override {
    *object = nullptr;
    return REGDB_E_CLASSNOTREG;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

}  // namespace

Apartment::Apartment(DWORD model) {
  if (FAILED(CoInitializeEx(nullptr, model))) throw failed("CoInitializeEx");
}

Apartment::~Apartment() {
  CoUninitialize();
}

RegistrationFree::RegistrationFree() {
  ACTCTXW description{};
  description.cbSize = sizeof(description);
  description.lpSource = L"KVWMI.manifest";
  context_ = CreateActCtxW(&description);
  if (context_ == INVALID_HANDLE_VALUE) throw failed("CreateActCtx");
  if (!ActivateActCtx(context_, &cookie_)) throw failed("ActivateActCtx");
}

RegistrationFree::~RegistrationFree() {
  DeactivateActCtx(0, cookie_);
  ReleaseActCtx(context_);
}

FoundClasses::FoundClasses() {
  const std::wstring_view command = GetCommandLineW();
  if (command.find(L" --registered") == std::wstring_view::npos) registration_free_.emplace();
}

NoWmi::NoWmi() {
  constexpr CLSID kLocator{0x76A64158, 0xCB41, 0x11D1, {0x8B, 0x02, 0x00, 0x60, 0x08, 0x06, 0xD9, 0xB6}};
  const auto factory = ComPtr<IClassFactory>::own(new NoLocators);
  if (FAILED(CoRegisterClassObject(kLocator, factory.get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                   &cookie_))) {
    throw failed("CoRegisterClassObject");
  }
}

NoWmi::~NoWmi() {
  CoRevokeClassObject(cookie_);
}

LoadedLibrary::LoadedLibrary() : module_(LoadLibraryW(L"KVWMI.dll")) {
  if (!module_) throw failed("LoadLibrary");
}

LoadedLibrary::~LoadedLibrary() {
  free();
}

void LoadedLibrary::free() {
  if (module_) FreeLibrary(module_);
  module_ = nullptr;
}

HRESULT LoadedLibrary::class_object(REFCLSID class_id, REFIID id, void** factory) const {
  return entry<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(module_, "DllGetClassObject")(class_id, id,
                                                                                                 factory);
}

HRESULT LoadedLibrary::can_unload_now() const {
  return entry<HRESULT(STDAPICALLTYPE*)()>(module_, "DllCanUnloadNow")();
}

ErrorText take_error_text() {
  ErrorText result;
  ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.put()) != S_OK) return result;
  result.found = true;
  kvwmi::windows::Bstr source;
  kvwmi::windows::Bstr description;
  info->GetGUID(&result.raiser);
  info->GetSource(source.receive());
  info->GetDescription(description.receive());
  result.source = kvwmi::windows::from_bstr(source.get());
  result.description = kvwmi::windows::from_bstr(description.get());
  return result;
}

}  // namespace server
