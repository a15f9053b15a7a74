#include "kvwmi/message_loop.h"

#include <algorithm>

#include "frame/deadline.h"
#include "linux/thread_loop.h"

namespace kvwmi::message_loop {
namespace {

// How long a condition may go unasked: other threads and signal handlers change things without a word to this
// loop.
constexpr std::chrono::milliseconds kAskAgain{100};

}  // namespace

bool run_once(std::chrono::milliseconds timeout) {
  return ground::ThreadLoop::current().run_once(timeout);
}

void run_for(std::chrono::milliseconds duration) {
  const SteadyClock::time_point deadline = deadline_after(duration);
  do {
    run_once(left_until(deadline));
  } while (SteadyClock::now() < deadline);
}

bool run_until(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
  const SteadyClock::time_point deadline = deadline_after(timeout);
  while (!condition()) {
    if (SteadyClock::now() >= deadline) return false;
    run_once(std::min(left_until(deadline), kAskAgain));
  }
  return true;
}

int file_descriptor() {
  return sd_event_get_fd(ground::ThreadLoop::current().event());
}

}  // namespace kvwmi::message_loop
