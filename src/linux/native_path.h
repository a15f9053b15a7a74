#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "linux/machine.h"

namespace kvwmi::ground {

/// Whether a path begins with a drive's letter and a colon.
[[nodiscard]] bool has_drive(std::string_view path);
/// Whether a path is spelled as on Windows: with a drive, or with a backslash between its names.
[[nodiscard]] bool is_windows_path(std::string_view path);

/// The native spelling of a path in either one, letter for letter; nullopt for a drive that is not there.
[[nodiscard]] std::optional<std::string> native_path(const Machine& machine, std::string_view path);

}  // namespace kvwmi::ground
