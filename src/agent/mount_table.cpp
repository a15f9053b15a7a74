#include "agent/mount_table.h"

#include <charconv>
#include <sstream>

namespace kvwmi::agent {
namespace {

/// Whether `path` is `folder` or lies in it.
bool lies_in(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

/// A field of the table, where blanks and the like are written as \040.
std::string unescaped(std::string_view field) {
  std::string result;
  while (!field.empty()) {
    const std::string_view digits = field.substr(1, 3);
    const char* end = digits.data() + digits.size();
    unsigned char code = 0;
    const auto [stop, error] = std::from_chars(digits.data(), end, code, 8);
    const bool is_escape = field.front() == '\\' && digits.size() == 3 && stop == end && error == std::errc();
    result += is_escape ? static_cast<char>(code) : field.front();
    field.remove_prefix(is_escape ? 4 : 1);
  }
  return result;
}

}  // namespace

std::string file_system_of(std::string_view path, std::istream& mounts) {
  std::string result;
  std::size_t deepest = 0;
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::string id;
    std::string parent;
    std::string number;
    std::string root;
    std::string point;
    if (!(fields >> id >> parent >> number >> root >> point)) continue;
    point = unescaped(point);
    if (!lies_in(path, point) || point.size() < deepest) continue;  // of one point the last mount covers
    deepest = point.size();
    result = number;
  }
  return result;
}

}  // namespace kvwmi::agent
