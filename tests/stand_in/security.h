#pragma once

#include <functional>

#include "stand_in/automation.h"

namespace kvwmi::stand_in {

/// Told of every privilege that is added.
using PrivilegeAdded = std::function<void(std::int32_t privilege, bool enabled)>;

/// An SWbemSecurity with the system's defaults.
[[nodiscard]] ComPtr<ISWbemSecurity> make_security(PrivilegeAdded added = {});

}  // namespace kvwmi::stand_in
