#pragma once

#include <memory>

#include "stand_in/automation.h"
#include "stand_in/backend.h"

namespace kvwmi::stand_in {

/// An SWbemLocator that connects to `backend`.
[[nodiscard]] ComPtr<ISWbemLocator> make_locator(std::shared_ptr<Backend> backend);

}  // namespace kvwmi::stand_in
