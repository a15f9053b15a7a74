#pragma once

#include <memory>

#include "frame/wmi_access.h"
#include "stand_in/automation.h"

namespace kvwmi::stand_in {

/// The SWbemPropertySet of an object's own properties, and that of its system properties.
[[nodiscard]] ComPtr<ISWbemPropertySet> make_property_set(std::shared_ptr<wmi::Object> object);
[[nodiscard]] ComPtr<ISWbemPropertySet> make_system_property_set(std::shared_ptr<wmi::Object> object);

}  // namespace kvwmi::stand_in
