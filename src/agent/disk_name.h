#pragma once

#include <string>

namespace kvwmi::agent {

/// The component's name of a disk: for a native path such as "/home" the letter of the local fixed disk that
/// is mounted there, anything else as it is. Raises UsageError where no such disk is mounted.
[[nodiscard]] std::string disk_name(const std::string& written);

}  // namespace kvwmi::agent
