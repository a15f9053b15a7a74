#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "linux/machine.h"

namespace kvwmi::ground::providers {

/// What many classes say of the system that they belong to.
[[nodiscard]] std::string computer_name(const Machine& machine);
/// Of the distribution's description of itself; nullopt where it lacks that variable.
[[nodiscard]] std::optional<std::string> release_variable(const Machine& machine, std::string_view name);
/// "Debian GNU/Linux 12 (bookworm)"
[[nodiscard]] std::string system_name(const Machine& machine);
/// "12"; the kernel's release where the distribution has no number.
[[nodiscard]] std::string system_version(const Machine& machine);
/// "6.1.0-18-amd64"
[[nodiscard]] std::string kernel_release(const Machine& machine);

}  // namespace kvwmi::ground::providers
