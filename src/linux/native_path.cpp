#include "linux/native_path.h"

#include "linux/drive_path.h"
#include "linux/drives.h"

namespace kvwmi::ground {

bool has_drive(std::string_view path) {
  return path.size() >= 2 && path[1] == ':';
}

bool is_windows_path(std::string_view path) {
  return !path.starts_with('/') && (has_drive(path) || path.find('\\') != std::string_view::npos);
}

std::optional<std::string> native_path(const Machine& machine, std::string_view path) {
  if (!is_windows_path(path)) return std::string(path);
  return has_drive(path) ? machine.drives().table()->to_native(path) : to_slashes(path);
}

}  // namespace kvwmi::ground
