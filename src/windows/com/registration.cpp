#include "windows/com/registration.h"

#include <oleauto.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "frame/class_catalogue.h"
#include "windows/automation/module.h"
#include "windows/com/built_class.h"
#include "windows/com/errors.h"
#include "windows/com/guid.h"
#include "windows/com/type_library.h"
#include "windows/text/unicode.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {
namespace {

using catalogue::kTypeLibrary;
using ground::ComPtr;
using windows::to_utf16;

constexpr std::wstring_view kClasses = L"Software\\Classes\\";

// A 64-bit system keeps a view of the classes for each kind of process; ProgIDs are common to both.
#if defined(_WIN64)
constexpr SYSKIND kSystem = SYS_WIN64;
constexpr REGSAM kOtherView = KEY_WOW64_32KEY;
#else
constexpr SYSKIND kSystem = SYS_WIN32;
constexpr REGSAM kOtherView = KEY_WOW64_64KEY;
#endif

struct Entry {
  std::wstring key;   // below the root of classes
  std::wstring name;  // empty: the key's own value
  std::wstring value;
};

/// The keys of one class, under which everything about it stands.
struct Names {
  explicit Names(const catalogue::Class& type)
      : program_id(to_utf16(kTypeLibrary.name) + L"." + to_utf16(type.name)),
        versioned_program_id(program_id + L"." + std::to_wstring(kTypeLibrary.major_version)),
        class_key(L"CLSID\\" + to_utf16(type.class_id)) {}

  std::wstring program_id;
  std::wstring versioned_program_id;
  std::wstring class_key;
};

std::vector<Entry> entries_of(const catalogue::Class& type, const std::wstring& path) {
  const Names names(type);
  const std::wstring class_id = to_utf16(type.class_id);
  const std::wstring description = to_utf16(kTypeLibrary.name) + L" " + to_utf16(type.name);
  const std::wstring version =
      std::to_wstring(kTypeLibrary.major_version) + L"." + std::to_wstring(kTypeLibrary.minor_version);
  return {
      {names.program_id, L"", description},
      {names.program_id + L"\\CLSID", L"", class_id},
      {names.program_id + L"\\CurVer", L"", names.versioned_program_id},
      {names.versioned_program_id, L"", description},
      {names.versioned_program_id + L"\\CLSID", L"", class_id},
      {names.class_key, L"", description},
      {names.class_key + L"\\InprocServer32", L"", path},
      {names.class_key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
      {names.class_key + L"\\ProgID", L"", names.versioned_program_id},
      {names.class_key + L"\\VersionIndependentProgID", L"", names.program_id},
      {names.class_key + L"\\TypeLib", L"", to_utf16(kTypeLibrary.id)},
      {names.class_key + L"\\Version", L"", version},
  };
}

HRESULT write(const Entry& entry) {
  const std::wstring key = std::wstring(kClasses) + entry.key;
  const auto bytes = static_cast<DWORD>((entry.value.size() + 1) * sizeof(wchar_t));
  return HRESULT_FROM_WIN32(static_cast<DWORD>(RegSetKeyValueW(
      HKEY_LOCAL_MACHINE, key.c_str(), entry.name.c_str(), REG_SZ, entry.value.c_str(), bytes)));
}

/// `view` is KEY_WOW64_32KEY or KEY_WOW64_64KEY for other than the process's own view of the registry.
bool exists(const std::wstring& key, REGSAM view = 0) {
  HKEY opened = nullptr;
  const std::wstring path = std::wstring(kClasses) + key;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | view, &opened) != ERROR_SUCCESS) {
    return false;
  }
  RegCloseKey(opened);
  return true;
}

HRESULT remove(const std::wstring& key) {
  const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, (std::wstring(kClasses) + key).c_str());
  return status == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

/// What can fail for the library's own sake comes first, before anything is written.
HRESULT register_everything() {
  const std::wstring path = module_path();
  ComPtr<ITypeLib> library;
  HRESULT status = load_type_library(library.put());
  if (SUCCEEDED(status)) {
    status = RegisterTypeLib(library.get(), const_cast<LPOLESTR>(path.c_str()), nullptr);
  }
  for (const BuiltClass* built = BuiltClass::first(); built; built = built->next()) {
    for (const Entry& entry : entries_of(built->type(), path)) {
      if (SUCCEEDED(status)) status = write(entry);
    }
  }
  return status;
}

HRESULT remove_type_library() {
  const HRESULT status = UnRegisterTypeLib(to_guid(kTypeLibrary.id), kTypeLibrary.major_version,
                                           kTypeLibrary.minor_version, LOCALE_NEUTRAL, kSystem);
  // Systems differ in what they call a library that is not registered.
  constexpr std::array kNotRegistered{E_INVALIDARG, TYPE_E_REGISTRYACCESS, TYPE_E_LIBNOTREGISTERED};
  const bool was_absent =
      std::find(kNotRegistered.begin(), kNotRegistered.end(), status) != kNotRegistered.end();
  return was_absent ? S_OK : status;
}

HRESULT remove_everything() {
  HRESULT status = remove_type_library();
  const auto keep_failure = [&](HRESULT removed) {
    if (SUCCEEDED(status)) status = removed;
  };
  for (const catalogue::Class& type : kTypeLibrary.classes) {
    const Names names(type);
    keep_failure(remove(names.class_key));
    if (exists(names.class_key, kOtherView)) continue;  // its ProgIDs are ours too
    keep_failure(remove(names.program_id));
    keep_failure(remove(names.versioned_program_id));
  }
  return status;
}

bool is_registered() {
  for (const BuiltClass* built = BuiltClass::first(); built; built = built->next()) {
    if (exists(Names(built->type()).class_key)) return true;
  }
  return false;
}

}  // namespace

HRESULT register_server() noexcept {
  return contained([] {
    const bool was_registered = is_registered();
    const HRESULT status = register_everything();
    if (FAILED(status) && !was_registered) remove_everything();
    return status;
  });
}

HRESULT unregister_server() noexcept {
  return contained(remove_everything);
}

}  // namespace kvwmi::com
