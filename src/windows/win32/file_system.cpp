#include "windows/win32/file_system.h"

#include <windows.h>
// After windows.h, which it needs.
#include <shlwapi.h>

#include "frame/runtime_error.h"
#include "windows/text/unicode.h"
#include "windows/win32/code_page.h"

namespace kvwmi::ground {
namespace {

constexpr bool is_separator(char c) {
  return c == '\\' || c == '/';
}

std::string_view without_trailing_separators(std::string_view path) {
  while (!path.empty() && is_separator(path.back())) path.remove_suffix(1);
  return path;
}

/// A path in two: the part before its last separator or drive colon, that character included, and the rest.
struct Split {
  std::string_view front;
  std::string_view last;
};

Split split(std::string_view path) {
  const std::string_view whole = without_trailing_separators(path);
  const auto end = whole.find_last_of(R"(\/:)");
  if (end == std::string_view::npos) return {{}, whole};
  return {whole.substr(0, end + 1), whole.substr(end + 1)};
}

/// Raises "Path not found" for what has none, such as a name that is empty up to its first NUL.
std::wstring full_path(const std::wstring& path) {
  std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  if (full.empty()) throw runtime_error(RuntimeError::path_not_found);
  full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  return full;
}

bool is_subfolder(const WIN32_FIND_DATAW& entry) {
  const std::wstring_view name(entry.cFileName);
  return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && name != L"." && name != L"..";
}

/// One running search, closed at its end.
struct Search {
  explicit Search(const std::wstring& pattern) : handle(FindFirstFileW(pattern.c_str(), &entry)) {}
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  ~Search() {
    if (found()) FindClose(handle);
  }
  [[nodiscard]] bool found() const { return handle != INVALID_HANDLE_VALUE; }

  WIN32_FIND_DATAW entry{};
  HANDLE handle;
};

}  // namespace

std::string Win32FileSystem::parent_folder_name(std::string_view path) {
  const auto [front, last] = split(path);
  if (last.empty()) return "";
  const std::string_view parent = without_trailing_separators(front);
  // The root of a drive keeps its separator.
  const bool drive_root = parent.ends_with(':') && parent.size() < front.size();
  return std::string(drive_root ? front.substr(0, parent.size() + 1) : parent);
}

std::string Win32FileSystem::file_name(std::string_view path) {
  return std::string(split(path).last);
}

std::vector<std::string> Win32FileSystem::subfolders(const std::string& path) {
  // The full path treats repeated separators as one.
  std::wstring folder = full_path(windows::to_utf16(path));
  if (!folder.ends_with(L'\\')) folder.push_back(L'\\');
  Search search(folder + L'*');
  // Every folder but an empty drive root has entries, so its attributes tell a missing one.
  const DWORD attributes = GetFileAttributesW(folder.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    throw runtime_error(RuntimeError::path_not_found);
  }
  std::vector<std::string> result;
  for (bool more = search.found(); more; more = FindNextFileW(search.handle, &search.entry) != FALSE) {
    if (is_subfolder(search.entry)) result.push_back(windows::to_utf8(folder + search.entry.cFileName));
  }
  return result;
}

bool Win32FileSystem::delete_file(const std::string& path) {
  return DeleteFileA(to_code_page(path).c_str()) != FALSE;
}

bool Win32FileSystem::matches(std::string_view file_name, std::string_view specification) {
  return PathMatchSpecA(to_code_page(file_name).c_str(), to_code_page(specification).c_str()) != FALSE;
}

}  // namespace kvwmi::ground
