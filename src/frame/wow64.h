#pragma once

#include <cstdint>

#include "frame/platform.h"

namespace kvwmi::PublicFunctions {

/// 1 when the process runs under the 32-bit emulation of a 64-bit system, 0 otherwise.
[[nodiscard]] std::int16_t IsWow64(SystemInfo& system);

}  // namespace kvwmi::PublicFunctions
