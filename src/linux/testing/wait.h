#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace kvwmi::testing {

/// Waits until `condition` holds; false when `patience` ran out first.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds patience = std::chrono::seconds(10)) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return condition();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace kvwmi::testing
