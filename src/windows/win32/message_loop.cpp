#include "kvwmi/message_loop.h"

#include <windows.h>

#include <algorithm>

#include "frame/deadline.h"

namespace kvwmi::message_loop {
namespace {

// How long a condition may go unasked: other threads change things without a message to this one.
constexpr std::chrono::milliseconds kAskAgain{100};
// INFINITE is one more, and so long a wait is none that anybody means.
constexpr std::chrono::milliseconds kLongestWait{0xFFFFFFFE};

enum class Turn {
  idle,
  worked,
  quit,  ///< the thread's own pump is to end: the message is left for it
};

Turn turn(std::chrono::milliseconds timeout) {
  const auto wait = std::clamp(timeout, std::chrono::milliseconds(0), kLongestWait);
  ::MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(wait.count()), QS_ALLINPUT,
                                MWMO_INPUTAVAILABLE);
  MSG message;
  if (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) == FALSE) return Turn::idle;
  if (message.message == WM_QUIT) {
    ::PostQuitMessage(static_cast<int>(message.wParam));
    return Turn::quit;
  }
  ::TranslateMessage(&message);
  ::DispatchMessageW(&message);
  return Turn::worked;
}

}  // namespace

bool run_once(std::chrono::milliseconds timeout) {
  return turn(timeout) != Turn::idle;
}

void run_for(std::chrono::milliseconds duration) {
  const SteadyClock::time_point deadline = deadline_after(duration);
  do {
    if (turn(left_until(deadline)) == Turn::quit) return;
  } while (SteadyClock::now() < deadline);
}

bool run_until(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
  const SteadyClock::time_point deadline = deadline_after(timeout);
  while (!condition()) {
    if (SteadyClock::now() >= deadline) return false;
    if (turn(std::min(left_until(deadline), kAskAgain)) == Turn::quit) return condition();
  }
  return true;
}

int file_descriptor() {
  return -1;
}

}  // namespace kvwmi::message_loop
