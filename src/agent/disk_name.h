#pragma once

#include <string>

namespace kvwmi::agent {

/// The component's name of a disk: a drive such as "C:" or "C" as it is, whether there is one or not, and for
/// a native path such as "/home" the letter of the local fixed disk that is mounted there. Raises UsageError
/// where no such disk is mounted, and for anything else, of which the component would take the first letter.
[[nodiscard]] std::string disk_name(const std::string& written);

}  // namespace kvwmi::agent
