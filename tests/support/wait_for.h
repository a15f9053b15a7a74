#pragma once

#include <chrono>
#include <thread>

namespace kvwmi::tests {

/// Whether `condition` comes true before the deadline.
template <typename Condition>
[[nodiscard]] bool wait_for(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace kvwmi::tests
