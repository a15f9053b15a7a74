#pragma once

#include <memory>
#include <vector>

#include "linux/machine.h"
#include "wmi/provider.h"

namespace kvwmi::ground {

/// One provider for each class that this machine has a source for. `machine` must outlive them and their
/// rows.
[[nodiscard]] std::vector<std::unique_ptr<embedded::Provider>> make_providers(const Machine& machine);

}  // namespace kvwmi::ground
