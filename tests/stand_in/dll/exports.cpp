// The stand-in as a server that scripts can use, in a Wine prefix of its own: it registers itself in the
// place of the machine's scripting classes.

#include <windows.h>

#include <objbase.h>
#include <olectl.h>

#include <array>
#include <memory>
#include <string>

#include "stand_in/class_objects.h"
#include "stand_in/control.h"
#include "windows/automation/module.h"

namespace kvwmi::stand_in {
namespace {

/// One repository serves all of a process's objects, and stays as long as the process.
std::shared_ptr<Repository> repository() {
  static auto& instance = *new std::shared_ptr<Repository>(std::make_shared<Repository>());
  return instance;
}

/// Other processes find this one's repository among the running objects, and reach it while the thread that
/// first used it runs its message loop.
void share_repository() {
  static const HRESULT shared = [] {
    DWORD registration = 0;
    return RegisterActiveObject(make_control(repository()).get(), kControlClass, ACTIVEOBJECT_STRONG,
                                &registration);
  }();
  static_cast<void>(shared);
}

std::vector<ServedClass> served_classes() {
  auto classes = scripting_classes(repository());
  classes.push_back({kControlClass, [] { return make_control(repository()); }});
  return classes;
}

std::wstring text_of(const GUID& id) {
  std::array<wchar_t, 40> text{};
  StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return text.data();
}

LSTATUS write(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  return RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), name, REG_SZ, value.c_str(),
                         static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

bool register_class(const CLSID& id) {
  const std::wstring server = L"CLSID\\" + text_of(id) + L"\\InprocServer32";
  return write(server, nullptr, com::module_path()) == ERROR_SUCCESS &&
         write(server, L"ThreadingModel", L"Apartment") == ERROR_SUCCESS;
}

bool register_prog_id(const std::wstring& name, const CLSID& id) {
  return write(name + L"\\CLSID", nullptr, text_of(id)) == ERROR_SUCCESS;
}

}  // namespace
}  // namespace kvwmi::stand_in

STDAPI DllGetClassObject(REFCLSID class_id, REFIID id, void** factory) {
  if (!factory) return E_POINTER;
  *factory = nullptr;
  kvwmi::stand_in::share_repository();
  for (auto& served : kvwmi::stand_in::served_classes()) {
    if (served.id == class_id) return kvwmi::stand_in::make_factory(served)->QueryInterface(id, factory);
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  // What the repository holds must outlive any single object.
  return S_FALSE;
}

STDAPI DllRegisterServer() {
  using namespace kvwmi::stand_in;
  bool done = register_prog_id(kControlProgId, kControlClass);
  done = done && register_prog_id(L"WbemScripting.SWbemSink", __uuidof(SWbemSink));
  for (const auto& served : served_classes()) done = done && register_class(served.id);
  return done ? S_OK : SELFREG_E_CLASS;
}

STDAPI DllUnregisterServer() {
  using namespace kvwmi::stand_in;
  for (const auto& served : served_classes()) {
    RegDeleteTreeW(HKEY_CLASSES_ROOT, (L"CLSID\\" + text_of(served.id)).c_str());
  }
  RegDeleteTreeW(HKEY_CLASSES_ROOT, kControlProgId);
  RegDeleteTreeW(HKEY_CLASSES_ROOT, L"WbemScripting.SWbemSink");
  return S_OK;
}
