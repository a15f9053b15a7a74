#pragma once

#include <chrono>
#include <thread>

namespace kvwmi::testing {

/// Waits until `condition` holds; false where that takes longer than `patience`.
template <typename Condition>
[[nodiscard]] bool eventually(Condition condition,
                              std::chrono::milliseconds patience = std::chrono::seconds(30)) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return condition();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace kvwmi::testing
