#pragma once

#include <memory>

#include "stand_in/automation.h"
#include "stand_in/backend.h"

namespace kvwmi::stand_in {

/// The SWbemObject that stands for `object`. Its methods are those that `backend` knows of its class.
[[nodiscard]] ComPtr<ISWbemObjectEx> make_object(std::shared_ptr<wmi::Object> object,
                                                 std::shared_ptr<Backend> backend = nullptr);

/// What an object of make_object stands for; another object raises "Invalid parameter ".
[[nodiscard]] std::shared_ptr<wmi::Object> object_behind(IUnknown& object);

}  // namespace kvwmi::stand_in
