#pragma once

#include <windows.h>

#include <chrono>

/// The calling thread's message loop, for tests.
namespace kvwmi::ground::testing {

/// Handles the thread's messages until `done()` holds; false where it does not within `limit`.
template <typename Done>
[[nodiscard]] bool pump_until(Done done, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
      if (done()) return true;
    }
    if (done()) return true;
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(left.count()), QS_ALLINPUT);
  }
}

/// Handles the thread's messages for that long.
inline void pump_for(std::chrono::milliseconds duration) {
  static_cast<void>(pump_until([] { return false; }, duration));
}

}  // namespace kvwmi::ground::testing
