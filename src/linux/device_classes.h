#pragma once

#include "frame/device_classes.h"

namespace kvwmi::ground {

/// The classes that devices of this system are given, with the descriptions that Windows has for them.
class LinuxDeviceClasses final : public DeviceClasses {
 public:
  std::optional<std::string> description(const Id& id) override;
};

}  // namespace kvwmi::ground
