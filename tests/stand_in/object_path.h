#pragma once

#include <memory>

#include "frame/wmi_access.h"
#include "stand_in/automation.h"

namespace kvwmi::stand_in {

/// The SWbemObjectPath of an object.
[[nodiscard]] ComPtr<ISWbemObjectPath> make_object_path(std::shared_ptr<wmi::Object> object);

}  // namespace kvwmi::stand_in
