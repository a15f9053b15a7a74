#include "windows/win32/ip_address_library.h"

#include <windows.h>

#include <utility>

#include "frame/runtime_error.h"
#include "windows/automation/module.h"
#include "windows/text/unicode.h"
#include "windows/win32/code_page.h"
#include "windows/win32/loaded_function.h"

namespace kvwmi::ground {
namespace {

constexpr const char* kLibrary = "KVIPAddress.dll";

/// The longest path that the system knows.
constexpr std::size_t kLongestPath = 32767;

std::wstring folder_of_this_module() {
  std::wstring path = com::module_path();
  path.resize(path.find_last_of(L'\\') + 1);
  return path;
}

std::wstring system_folder() {
  std::wstring path(kLongestPath, L'\0');
  path.resize(GetSystemDirectoryW(path.data(), static_cast<UINT>(path.size())));
  return path + L'\\';
}

/// Loads the library for the rest of the process's life; once loaded it is found at once.
HMODULE load_from(const std::vector<std::wstring>& folders) {
  for (const std::wstring& folder : folders) {
    const std::wstring path = folder + windows::to_utf16(kLibrary);
    if (const HMODULE loaded = GetModuleHandleW(path.c_str())) return loaded;
    if (const HMODULE loaded = LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH)) {
      return loaded;
    }
  }
  throw file_not_found(kLibrary);
}

}  // namespace

std::vector<std::wstring> companion_folders() {
  return {folder_of_this_module(), system_folder()};
}

Win32IpAddressLibrary::Win32IpAddressLibrary(std::vector<std::wstring> folders)
    : folders_(std::move(folders)) {}

template <typename Function>
Function Win32IpAddressLibrary::entry_point(const char* name) const {
  const auto function = loaded_function<Function>(load_from(folders_), name);
  if (!function) throw dll_entry_point_not_found(name, kLibrary);
  return function;
}

std::int32_t Win32IpAddressLibrary::iCheckIPAddress(const std::string& definition_file,
                                                    const std::string& filter) {
  using Check = std::int32_t(__stdcall*)(const char*, const char*);
  const auto check = entry_point<Check>("iCheckIPAddress");
  return check(to_code_page(definition_file).c_str(), to_code_page(filter).c_str());
}

std::int32_t Win32IpAddressLibrary::iCheckNetworkInterfaces(const std::string& definition_file) {
  using Check = std::int32_t(__stdcall*)(const char*);
  const auto check = entry_point<Check>("iCheckNetworkInterfaces");
  return check(to_code_page(definition_file).c_str());
}

}  // namespace kvwmi::ground
