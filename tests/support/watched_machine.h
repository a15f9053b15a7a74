#pragma once

#include <gtest/gtest.h>
#include <kvwmi/message_loop.h>
#include <kvwmi/supervision.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/event_waiter.h"
#include "support/own_name.h"
#include "support/watching.h"

namespace kvwmi::tests {

/// A change of the machine, and the one record that it makes.
struct Change {
  std::string what;
  std::function<void()> make;
  std::int32_t watch = 0;                    ///< whose record it is
  std::function<std::string()> detail = {};  ///< the record's whole detail, asked for after the change
};

/// An initialised engine whose named event another process waits for. Watches are asked for with kStep and
/// kPeriod.
class WatchedMachine {
 public:
  using Clock = EventWaiter::Clock;
  static constexpr std::int32_t kStep = 7;
  static constexpr std::int32_t kPeriod = 1;
  static constexpr std::chrono::milliseconds kBestAtMost =
      std::chrono::seconds(kPeriod) + std::chrono::milliseconds(100);
  /// What is made right after a poll and not seen by the next one is seen two periods later.
  static constexpr std::chrono::milliseconds kEachAtMost =
      std::chrono::seconds(2 * kPeriod) - std::chrono::milliseconds(100);

  Supervision supervision;

  WatchedMachine() {
    supervision.p_strSupervisionEventName(event_name_);
    supervision.m_Initialize();
  }
  ~WatchedMachine() { supervision.m_Release(); }
  WatchedMachine(const WatchedMachine&) = delete;
  WatchedMachine& operator=(const WatchedMachine&) = delete;

  /// Makes the changes one after the other, several times over: each arrives once, with its exact detail, in
  /// time, and has the other process see the event. The last of them undoes the first.
  ///
  /// A change is made as soon as the one before has been seen, so a poll has just passed and the next one is
  /// a whole period away: no change has it easier than the period allows. For the same reason the next poll
  /// follows each record, and would bring what comes twice.
  ///
  /// Late is what another process sees more than the period and 100 ms after the moment before the change. A
  /// busy machine may let any process wait that long, so the best time of each change counts: what the
  /// component itself adds is in all of them. None may take as long as one that a poll has passed over.
  void expect_each_in_time(const std::vector<Change>& changes) {
    constexpr std::size_t kTimes = 3;
    std::vector<Clock::duration> best(changes.size(), Clock::duration::max());
    // One more before, after which it is known where the polls are, and one after, for the last one's sake.
    const std::size_t last = kTimes * changes.size() + 1;
    for (std::size_t i = 0; i <= last; ++i) {
      const std::size_t place = i % changes.size();
      const auto took = expect_once(changes[place]);
      if (!took) return;
      if (i == 0 || i == last) continue;
      EXPECT_LE(*took, kEachAtMost) << changes[place].what;
      best[place] = std::min(best[place], *took);
    }
    std::string figures;
    for (std::size_t place = 0; place < changes.size(); ++place) {
      const std::chrono::duration<double, std::milli> milliseconds = best[place];
      figures += changes[place].what + ": " + std::to_string(milliseconds.count()) + " ms; ";
      EXPECT_LE(best[place], kBestAtMost) << changes[place].what;
    }
    ::testing::Test::RecordProperty("best_times", figures);  // into the report
  }

  /// How long the change took to be seen by the other process; nothing where it was not.
  [[nodiscard]] std::optional<Clock::duration> expect_once(const Change& change) {
    SCOPED_TRACE(change.what);
    const Clock::time_point before = Clock::now();
    change.make();
    const auto seen = next_signal();
    if (!seen) {
      ADD_FAILURE() << "never arrived";
      return std::nullopt;
    }
    const std::string detail = change.detail ? change.detail() : "";
    EXPECT_EQ(take_records(supervision, kStep), (Records{{change.watch, detail}}));
    return *seen - before;
  }

  /// Runs the loop until the condition holds.
  [[nodiscard]] static bool run_until(const std::function<bool()>& condition) {
    return message_loop::run_until(condition, kPatience);
  }

 private:
  static constexpr std::chrono::seconds kPatience{30};

  /// Runs the thread's message loop until the other process tells of the event.
  [[nodiscard]] std::optional<Clock::time_point> next_signal() {
    const Clock::time_point deadline = Clock::now() + kPatience;
    while (Clock::now() < deadline) {
      pollfd ready[] = {{waiter_.descriptor(), POLLIN, 0}, {message_loop::file_descriptor(), POLLIN, 0}};
      poll(ready, 2, 1000);
      if (ready[0].revents != 0) return waiter_.take();
      if (ready[1].revents != 0) message_loop::run_once(std::chrono::milliseconds(0));
    }
    return std::nullopt;
  }

  std::string event_name_ = own_name("watched-machine");
  EventWaiter waiter_{event_name_};
};

}  // namespace kvwmi::tests
