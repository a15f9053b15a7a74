#pragma once

#include "agent/console.h"
#include "agent/scenario.h"

namespace kvwmi::agent {

/// Runs a scenario, showing what happens and a summary at the end. 0 when every step ended as it should, 1
/// when something raised an error, 130 when it was stopped, 3 when a condition was not met in time or a check
/// answered something else; the first of these that is true but 0.
[[nodiscard]] int run_scenario(const Scenario& scenario, Console& console);

}  // namespace kvwmi::agent
