#include "linux/file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "frame/runtime_error.h"
#include "linux/drive_path.h"
#include "linux/existing_path.h"
#include "linux/folder.h"
#include "linux/native_path.h"
#include "linux/path_spec.h"

namespace kvwmi::ground {
namespace {

constexpr std::string_view kSeparators = R"(\/)";

/// Length of the part that has no parent: "C:\", "C:", "/" or nothing.
std::size_t root_length(std::string_view path) {
  const std::size_t drive = has_drive(path) ? 2 : 0;
  return drive + (path.size() > drive && kSeparators.find(path[drive]) != std::string_view::npos ? 1 : 0);
}

std::string_view without_trailing_separators(std::string_view path) {
  const std::size_t root = root_length(path);
  while (path.size() > root && kSeparators.find(path.back()) != std::string_view::npos) path.remove_suffix(1);
  return path;
}

/// Start of the last component.
std::size_t last_component(std::string_view path) {
  const std::size_t separator = path.find_last_of(kSeparators);
  return std::max(separator == std::string_view::npos ? 0 : separator + 1, root_length(path));
}

/// A symbolic link is none: whoever walks a tree must not walk in circles.
bool is_folder(DIR* parent, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status {};
  return ::fstatat(::dirfd(parent), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(status.st_mode);
}

}  // namespace

std::string LinuxFileSystem::parent_folder_name(std::string_view path) {
  path = without_trailing_separators(path);
  return std::string(path.size() <= root_length(path)
                         ? std::string_view()
                         : without_trailing_separators(path.substr(0, last_component(path))));
}

std::string LinuxFileSystem::file_name(std::string_view path) {
  path = without_trailing_separators(path);
  return std::string(path.substr(last_component(path)));
}

std::vector<std::string> LinuxFileSystem::subfolders(const std::string& path) {
  const auto native = native_path(machine_, path);
  const auto existing = native ? existing_path(*native) : std::nullopt;
  const Folder folder = existing ? open_folder(*existing) : nullptr;
  if (!folder) throw runtime_error(RuntimeError::path_not_found);
  const bool windows_form = is_windows_path(path);
  std::string parent(without_trailing_separators(path));
  if (kSeparators.find(parent.back()) == std::string_view::npos) parent += windows_form ? '\\' : '/';
  std::vector<std::string> result;
  while (const dirent* entry = ::readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == ".." || !is_folder(folder.get(), *entry)) continue;
    result.push_back(parent + (windows_form ? to_backslashes(name) : std::string(name)));
  }
  std::sort(result.begin(), result.end());
  return result;
}

bool LinuxFileSystem::delete_file(const std::string& path) {
  const auto native = native_path(machine_, path);
  return native && ::unlink(native->c_str()) == 0;
}

bool LinuxFileSystem::matches(std::string_view file_name, std::string_view specification) {
  return path_matches_spec(file_name, specification);
}

}  // namespace kvwmi::ground
