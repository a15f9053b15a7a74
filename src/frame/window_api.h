#pragma once

#include <cstdint>
#include <string>

#include "frame/platform.h"

namespace kvwmi::WindowAPI {

/// The system's message text for an error code as the system gives it, line end included; the empty string
/// for a code without a text, or with one that is longer than 2048 characters.
[[nodiscard]] std::string GetAPIErrorMessage(SystemInfo& system, std::int32_t code);

}  // namespace kvwmi::WindowAPI
