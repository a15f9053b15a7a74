#pragma once

#include "kvwmi/error.h"

namespace kvwmi::ground {

/// The calling thread's last system error as an Error: its number as an HRESULT, the system's text.
[[nodiscard]] Error last_system_error();

}  // namespace kvwmi::ground
