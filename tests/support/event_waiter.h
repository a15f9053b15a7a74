#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "linux/testing/child.h"

namespace kvwmi::tests {

/// Another process (event_waiter) that waits for a named event and tells when it saw it set.
class EventWaiter {
 public:
  using Clock = std::chrono::steady_clock;

  /// Returns when that process has the event.
  explicit EventWaiter(const std::string& event_name) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    in_ = ends[0];
    process_.emplace(std::vector<std::string>{KVWMI_EVENT_WAITER, event_name, std::to_string(ends[1])},
                     ends[1]);
    close(ends[1]);
    static_cast<void>(take());
  }
  ~EventWaiter() { close(in_); }
  EventWaiter(const EventWaiter&) = delete;
  EventWaiter& operator=(const EventWaiter&) = delete;

  /// Readable when the other process has seen the event set and nobody has asked for it.
  [[nodiscard]] int descriptor() const noexcept { return in_; }

  /// When the other process saw the event set; waits for it.
  [[nodiscard]] Clock::time_point take() {
    std::int64_t moment = 0;
    if (read(in_, &moment, sizeof moment) != sizeof moment) throw std::runtime_error("no event_waiter");
    return Clock::time_point(std::chrono::nanoseconds(moment));
  }

 private:
  int in_ = -1;
  std::optional<testing::Child> process_;
};

}  // namespace kvwmi::tests
