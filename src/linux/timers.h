#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

/// Timers in the calling thread's loop. As with window-less timers elsewhere, periods below 10 ms count as
/// 10 ms, and negative ones as the longest there is.
class LoopTimers final : public Timers {
 public:
  Id set(std::int32_t milliseconds, std::function<void()> tick) override;
  void kill(Id timer) override;
};

}  // namespace kvwmi::ground
