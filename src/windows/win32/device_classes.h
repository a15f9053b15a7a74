#pragma once

#include "frame/device_classes.h"

namespace kvwmi::ground {

class Win32DeviceClasses final : public DeviceClasses {
 public:
  std::optional<std::string> description(const Id& id) override;
};

}  // namespace kvwmi::ground
