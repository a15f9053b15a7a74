#include "windows/win32/timers.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "frame/diagnostics.h"
#include "kvwmi/message_loop.h"

namespace kvwmi::ground {
namespace {

constexpr std::chrono::seconds kDeadline{20};

bool pump_until(const std::function<bool()>& done) {
  return message_loop::run_until(done, kDeadline);
}

TEST(Win32Timers, TickThroughTheMessageLoopUntilKilled) {
  Win32Timers timers;
  int ticks = 0;
  const auto timer = timers.set(10, [&] { ++ticks; });
  ASSERT_TRUE(pump_until([&] { return ticks >= 3; }));
  timers.kill(timer);
  const int at_the_end = ticks;
  int others = 0;
  const auto other = timers.set(10, [&] { ++others; });
  ASSERT_TRUE(pump_until([&] { return others >= 3; }));
  timers.kill(other);
  EXPECT_EQ(ticks, at_the_end);
}

TEST(Win32Timers, NoTickWithoutAMessageLoop) {
  Win32Timers timers;
  int ticks = 0;
  const auto timer = timers.set(1, [&] { ++ticks; });
  ASSERT_EQ(::MsgWaitForMultipleObjects(0, nullptr, FALSE, 20'000, QS_TIMER), WAIT_OBJECT_0) << "it is due";
  EXPECT_EQ(ticks, 0);
  EXPECT_TRUE(pump_until([&] { return ticks >= 1; }));
  timers.kill(timer);
}

TEST(Win32Timers, ATickMayKillItsOwnTimerAndSetAnother) {
  Win32Timers timers;
  int first = 0;
  int second = 0;
  Timers::Id one = 0;
  Timers::Id two = 0;
  one = timers.set(5, [&] {
    timers.kill(one);
    two = timers.set(5, [&] { ++second; });
    ++first;  // the closure is still alive
  });
  ASSERT_TRUE(pump_until([&] { return second >= 2; }));
  EXPECT_EQ(first, 1);
  timers.kill(two);
}

TEST(Win32Timers, EachThreadHasItsOwn) {
  Win32Timers timers;
  int here = 0;
  const auto timer = timers.set(5, [&] { ++here; });
  int there = 0;
  std::thread([&] {
    const auto other = timers.set(5, [&] { ++there; });
    EXPECT_TRUE(pump_until([&] { return there >= 2; }));
    timers.kill(other);
    timers.kill(timer);  // another thread's: nothing to kill here
  }).join();
  EXPECT_EQ(here, 0);
  EXPECT_TRUE(pump_until([&] { return here >= 1; }));
  timers.kill(timer);
}

TEST(Win32Timers, WhatLeavesATickGoesToTheDiagnosticHook) {
  std::optional<Error> reported;
  set_diagnostic_hook([&](const Error& error) { reported = error; });
  Win32Timers timers;
  const auto timer = timers.set(5, [] { throw std::runtime_error("the tick broke"); });
  EXPECT_TRUE(pump_until([&] { return reported.has_value(); }));
  timers.kill(timer);
  set_diagnostic_hook({});
  ASSERT_TRUE(reported);
  EXPECT_EQ(reported->description(), "the tick broke");
}

TEST(Win32Timers, AnUnknownTimerIsNoneToKill) {
  Win32Timers timers;
  EXPECT_NO_THROW(timers.kill(12345));
  int ticks = 0;
  const auto timer = timers.set(5, [&] { ++ticks; });
  EXPECT_NO_THROW(timers.kill(timer + 1));
  EXPECT_TRUE(pump_until([&] { return ticks >= 1; })) << "the other timer still runs";
  timers.kill(timer);
}

}  // namespace
}  // namespace kvwmi::ground
