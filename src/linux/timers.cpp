#include "linux/timers.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "linux/thread_loop.h"

namespace kvwmi::ground {

Timers::Id LoopTimers::set(std::int32_t milliseconds, std::function<void()> tick) {
  constexpr std::int32_t kShortest = 10;
  const std::int32_t period =
      milliseconds < 0 ? std::numeric_limits<std::int32_t>::max() : std::max(milliseconds, kShortest);
  return ThreadLoop::current().set_timer(std::chrono::milliseconds(period), std::move(tick));
}

void LoopTimers::kill(Id timer) {
  ThreadLoop::current().kill_timer(timer);
}

}  // namespace kvwmi::ground
