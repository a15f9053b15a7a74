#pragma once

#include <cstdint>
#include <string>

#include "frame/platform.h"

namespace kvwmi::WindowAPI {

/// The system's message text for an error code as the system gives it, line end included, at most 2048
/// characters; the empty string for a code without a text.
[[nodiscard]] std::string GetAPIErrorMessage(SystemInfo& system, std::int32_t code);

}  // namespace kvwmi::WindowAPI
