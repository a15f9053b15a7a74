#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

class Win32Timers final : public Timers {
 public:
  Id set(std::int32_t milliseconds, std::function<void()> tick) override;
  void kill(Id timer) override;
};

}  // namespace kvwmi::ground
