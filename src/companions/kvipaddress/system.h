#pragma once

#include <memory>
#include <string>

#include "companions/kvipaddress/logic/checks.h"

namespace kvipaddress {

/// This machine. File names are what the exports were given, in the system's own 8-bit encoding.
[[nodiscard]] std::unique_ptr<System> local_system();

/// An argument of the exports as UTF-8, which names of interfaces are in.
[[nodiscard]] std::string utf8_of_argument(const char* text);

}  // namespace kvipaddress
