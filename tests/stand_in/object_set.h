#pragma once

#include <memory>

#include "stand_in/automation.h"
#include "stand_in/backend.h"

namespace kvwmi::stand_in {

/// The SWbemObjectSet of a query's answer.
[[nodiscard]] ComPtr<ISWbemObjectSet> make_object_set(std::shared_ptr<wmi::ObjectSet> set,
                                                      std::shared_ptr<Backend> backend);

}  // namespace kvwmi::stand_in
