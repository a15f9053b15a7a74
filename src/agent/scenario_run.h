#pragma once

#include "agent/console.h"
#include "agent/scenario.h"

namespace kvwmi::agent {

/// Runs a scenario, showing what happens and a summary at the end. 0 when every step ended as it should, 1
/// when something raised an error, 3 when a condition was not met in time or a check answered something else.
[[nodiscard]] int run_scenario(const Scenario& scenario, Console& console);

}  // namespace kvwmi::agent
