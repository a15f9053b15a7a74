#pragma once

#include <optional>
#include <string>

#include "linux/machine.h"

namespace kvwmi::ground::providers {

/// What a specifier in a unit of the system's service manager stands for where it says something of the
/// machine, as "%H" its host name; nullopt for others.
[[nodiscard]] std::optional<std::string> machine_specifier(const Machine& machine, char letter);

}  // namespace kvwmi::ground::providers
