#pragma once

#include <istream>
#include <string>
#include <string_view>

namespace kvwmi::agent {

/// The file system that holds a path without links, by its number in the kernel's table of mounts
/// (/proc/self/mountinfo): the same for all subvolumes and further mounts. Empty where the table does not
/// tell.
[[nodiscard]] std::string file_system_of(std::string_view path, std::istream& mounts);

}  // namespace kvwmi::agent
