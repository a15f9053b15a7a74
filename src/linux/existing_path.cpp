#include "linux/existing_path.h"

#include <sys/stat.h>

#include <algorithm>

#include "frame/text.h"
#include "linux/folder.h"

namespace kvwmi::ground {
namespace {

bool exists(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

std::optional<std::string> entry_in_any_case(const std::string& folder, std::string_view name) {
  const Folder entries = open_folder(folder.empty() ? "." : folder);
  if (!entries) return std::nullopt;
  std::optional<std::string> found;
  while (const dirent* entry = ::readdir(entries.get())) {
    // The smallest of several, so that the answer does not depend on the folder's order.
    if (equals_ignoring_case(entry->d_name, name) && (!found || entry->d_name < *found))
      found = entry->d_name;
  }
  return found;
}

}  // namespace

std::optional<std::string> existing_path(std::string_view native) {
  std::string result;
  if (native.starts_with('/')) result = "/";
  while (!native.empty()) {
    const std::size_t end = std::min(native.find('/'), native.size());
    const std::string_view name = native.substr(0, end);
    native.remove_prefix(std::min(end + 1, native.size()));
    if (name.empty()) continue;
    const std::string folder = result;
    if (!result.empty() && !result.ends_with('/')) result += '/';
    const std::string parent = result;
    result += name;
    if (exists(result)) continue;
    const auto found = entry_in_any_case(folder, name);
    if (!found) return std::nullopt;
    result = parent + *found;
  }
  return result.empty() ? std::nullopt : std::optional(result);
}

}  // namespace kvwmi::ground
