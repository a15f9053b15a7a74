#pragma once

#include <memory>

#include "frame/wmi_access.h"
#include "stand_in/automation.h"
#include "wmi/cim/schema.h"

namespace kvwmi::stand_in {

/// The SWbemMethodSet of a class; empty for an unknown one.
[[nodiscard]] ComPtr<ISWbemMethodSet> make_method_set(std::shared_ptr<const cim::Class> schema);

/// The property of a method's result.
[[nodiscard]] wmi::Property return_value();

}  // namespace kvwmi::stand_in
