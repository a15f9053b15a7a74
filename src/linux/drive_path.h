#pragma once

#include <string>
#include <string_view>

namespace kvwmi::ground {

/// Folders and file names of one drive in Windows spelling: "/usr/bin" is "\usr\bin".
///
/// What Windows cannot say in a name is written as % and two hexadecimal digits: a backslash, a point or a
/// blank at the end, and a % that would read as such a code. So any path comes back exactly.
[[nodiscard]] std::string to_backslashes(std::string_view native);
/// The way back; takes both slashes.
[[nodiscard]] std::string to_slashes(std::string_view windows);

/// Whether the native `path` is `folder` or lies in it.
[[nodiscard]] bool lies_in(std::string_view path, std::string_view folder);

}  // namespace kvwmi::ground
