#pragma once

#include <algorithm>
#include <chrono>

/// Waits of any length, the longest that a caller can say included.
namespace kvwmi {

using SteadyClock = std::chrono::steady_clock;

/// Now + `duration`, as far as the clock goes; now for a negative one.
inline SteadyClock::time_point deadline_after(std::chrono::milliseconds duration) {
  using std::chrono::milliseconds;
  const SteadyClock::time_point now = SteadyClock::now();
  const auto most = std::chrono::floor<milliseconds>(SteadyClock::time_point::max() - now);
  return now + std::clamp(duration, milliseconds(0), most);
}

/// What is left until `deadline`, rounded up so that a loop does not spin through the last millisecond.
inline std::chrono::milliseconds left_until(SteadyClock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
  return std::max(left, std::chrono::milliseconds(0));
}

}  // namespace kvwmi
