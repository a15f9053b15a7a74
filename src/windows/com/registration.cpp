#include "windows/com/registration.h"

#include <oleauto.h>

#include <algorithm>
#include <array>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "frame/class_catalogue.h"
#include "windows/automation/module.h"
#include "windows/com/built_class.h"
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

#if defined(_WIN64)
constexpr SYSKIND kSystem = SYS_WIN64;
#else
constexpr SYSKIND kSystem = SYS_WIN32;
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

HRESULT remove(const std::wstring& key) {
  const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, (std::wstring(kClasses) + key).c_str());
  return status == ERROR_FILE_NOT_FOUND ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

HRESULT register_everything() {
  const std::wstring path = module_path();
  for (const BuiltClass* built = BuiltClass::first(); built; built = built->next()) {
    for (const Entry& entry : entries_of(built->type(), path)) {
      if (const HRESULT written = write(entry); FAILED(written)) return written;
    }
  }
  ComPtr<ITypeLib> library;
  const HRESULT loaded = load_type_library(library.put());
  return FAILED(loaded) ? loaded
                        : RegisterTypeLib(library.get(), const_cast<LPOLESTR>(path.c_str()), nullptr);
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

}  // namespace

HRESULT register_server() noexcept try {
  const HRESULT status = register_everything();
  if (FAILED(status)) unregister_server();
  return status;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

HRESULT unregister_server() noexcept try {
  HRESULT status = remove_type_library();
  for (const catalogue::Class& type : kTypeLibrary.classes) {
    const Names names(type);
    for (const std::wstring& key : {names.program_id, names.versioned_program_id, names.class_key}) {
      const HRESULT removed = remove(key);
      if (SUCCEEDED(status)) status = removed;
    }
  }
  return status;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

}  // namespace kvwmi::com
