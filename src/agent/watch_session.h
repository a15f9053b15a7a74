#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/console.h"
#include "agent/failures.h"
#include "agent/wakeup.h"
#include "agent/watch_event.h"
#include "kvwmi/error.h"
#include "kvwmi/named_event.h"
#include "kvwmi/supervision.h"

namespace kvwmi::agent {

/// An initialised Supervision with its named event, pumped by the calling thread until told to stop. A
/// process has one at a time, whose event is named after it: what one that was killed left behind is found
/// again.
class WatchSession {
 public:
  WatchSession();
  ~WatchSession();
  WatchSession(const WatchSession&) = delete;
  WatchSession& operator=(const WatchSession&) = delete;

  [[nodiscard]] Supervision& supervision() noexcept { return supervision_; }

  /// Runs the thread's message loop until the component signals a record, there is a new failure, the user
  /// interrupts, or the time has come; whichever is first.
  void wait(std::chrono::steady_clock::time_point deadline);
  /// Handles what waits in the thread's message loop by now: an event that has come is no absence, though
  /// nothing has waited for it.
  void catch_up();
  /// All records of a step; the caller knows whether they came of asking for watches that have not fired.
  [[nodiscard]] std::vector<WatchEvent> drain(std::int32_t step, bool undetected = false);
  /// Errors without a caller to be told since the last call: a poll that failed, an event that could not be
  /// handled.
  [[nodiscard]] std::vector<Error> new_failures();

 private:
  std::string event_name_;
  NamedEvent event_;
  Supervision supervision_;
  std::shared_ptr<Failures> failures_;  // shared with the hook, which other threads may be about to call
  std::optional<Waiter> waiter_;        // where the message loop and the event have descriptors
};

/// While it lives, Ctrl-C, the request to terminate and (Linux) the end of the terminal set a flag, and
/// writing to a reader that has gone fails instead of ending the process. A second Ctrl-C or request to
/// terminate ends the process at once, whatever it hangs in. What was ignored before stays ignored.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  [[nodiscard]] static bool pending() noexcept;

 private:
  std::vector<std::pair<int, void (*)(int)>> before_;
};

/// Whether a command that goes on until it is stopped has to end: the user asks for it, or nobody can read
/// any more what it writes.
[[nodiscard]] bool stop_asked(Console& console);

}  // namespace kvwmi::agent
