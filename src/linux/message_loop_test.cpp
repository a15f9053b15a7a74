#include "kvwmi/message_loop.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <csignal>
#include <limits>
#include <stdexcept>
#include <thread>
#include <vector>

#include "frame/diagnostics.h"
#include "linux/linux_ground.h"
#include "linux/thread_loop.h"

namespace kvwmi {
namespace {

using ground::Mailbox;
using ground::ThreadLoop;
using std::chrono::milliseconds;
using std::chrono::seconds;

Timers& timers() {
  return local_ground().timers();
}

bool loop_is_readable() {
  pollfd loop{message_loop::file_descriptor(), POLLIN, 0};
  return ::poll(&loop, 1, 0) == 1;
}

TEST(MessageLoopTest, DeliversPostsInOrderOnTheLoopsThread) {
  const auto mailbox = ThreadLoop::current().mailbox();
  const auto self = std::this_thread::get_id();
  std::vector<int> seen;
  std::thread poster([&] {
    for (int i = 0; i < 1000; ++i) {
      mailbox->post([&, i] {
        EXPECT_EQ(std::this_thread::get_id(), self);
        seen.push_back(i);
      });
    }
  });
  EXPECT_TRUE(message_loop::run_until([&] { return seen.size() == 1000; }, seconds(10)));
  poster.join();
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
}

TEST(MessageLoopTest, RunUntilAsksFirstAndGivesUpAtItsTime) {
  EXPECT_TRUE(message_loop::run_until([] { return true; }, milliseconds(0)));
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(message_loop::run_until([] { return false; }, milliseconds(30)));
  EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(30));
}

TEST(MessageLoopTest, RunUntilSeesWhatAnotherThreadDoesWithoutAPost) {
  std::atomic<bool> done = false;
  std::thread other([&] { done = true; });
  EXPECT_TRUE(message_loop::run_until([&] { return done.load(); }, seconds(10)));
  other.join();
}

TEST(MessageLoopTest, ANegativeWaitIsNone) {
  // In nanoseconds the second is less than 64 bits can hold, by what would make it 146 years.
  for (const milliseconds negative : {milliseconds::min(), milliseconds(-13'835'058'055'282)}) {
    int asked = 0;
    EXPECT_FALSE(message_loop::run_until([&] { return ++asked == 3; }, negative));
    EXPECT_EQ(asked, 1);
    message_loop::run_for(negative);
  }
}

TEST(MessageLoopTest, RunForRunsAllTheTime) {
  const auto mailbox = ThreadLoop::current().mailbox();
  bool delivered = false;
  mailbox->post([&] { delivered = true; });
  const auto before = std::chrono::steady_clock::now();
  message_loop::run_for(milliseconds(20));
  EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(20));
  EXPECT_TRUE(delivered);
}

TEST(MessageLoopTest, RunOnceTellsWhetherItWasWoken) {
  EXPECT_FALSE(message_loop::run_once(milliseconds(0)));
  EXPECT_FALSE(message_loop::run_once(milliseconds(-5)));
  ThreadLoop::current().mailbox()->post([] {});
  EXPECT_TRUE(message_loop::run_once(milliseconds(0)));
  EXPECT_FALSE(message_loop::run_once(milliseconds(0)));
}

TEST(MessageLoopTest, TheLongestWaitWaits) {
  int ticks = 0;
  const Timers::Id timer = timers().set(10, [&] { ++ticks; });
  EXPECT_TRUE(message_loop::run_once(milliseconds::max()));
  // In microseconds that is 384 more than 64 bits can hold.
  EXPECT_TRUE(message_loop::run_once(milliseconds(18'446'744'073'709'552)));
  EXPECT_EQ(ticks, 2);
  timers().kill(timer);
  EXPECT_FALSE(message_loop::run_once(milliseconds::min()));
}

TEST(MessageLoopTest, AForeignLoopNeedsTheDescriptorOnly) {
  EXPECT_FALSE(loop_is_readable());
  std::vector<std::string> seen;
  ThreadLoop::current().mailbox()->post([&] { seen.emplace_back("post"); });
  EXPECT_TRUE(loop_is_readable());
  EXPECT_TRUE(message_loop::run_once(milliseconds(0)));
  EXPECT_FALSE(loop_is_readable());

  const Timers::Id timer = timers().set(10, [&] { seen.emplace_back("tick"); });
  pollfd loop{message_loop::file_descriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&loop, 1, 10'000), 1) << "a timer must wake a loop that knows nothing of timers";
  message_loop::run_once(milliseconds(0));
  timers().kill(timer);
  EXPECT_EQ(seen, (std::vector<std::string>{"post", "tick"}));
}

TEST(MessageLoopTest, TheSystemdLoopOfTheThreadIsThisLoop) {
  sd_event* event = nullptr;
  ASSERT_GE(sd_event_default(&event), 0);
  EXPECT_EQ(event, ThreadLoop::current().event());
  bool delivered = false;
  ThreadLoop::current().mailbox()->post([&] { delivered = true; });
  while (!delivered) ASSERT_GE(sd_event_run(event, UINT64_MAX), 0);
  sd_event_unref(event);
}

TEST(MessageLoopTest, ATurnInsideADeliveryIsRefused) {
  std::int32_t number = 0;
  ThreadLoop::current().mailbox()->post([&] {
    try {
      message_loop::run_for(milliseconds(1));
    } catch (const Error& error) {
      number = error.number();
    }
  });
  EXPECT_TRUE(message_loop::run_until([&] { return number != 0; }, seconds(10)));
  EXPECT_EQ(number, 5);
}

TEST(MessageLoopTest, WhatADeliveryThrowsGoesToTheDiagnosticHook) {
  std::vector<std::string> reported;
  set_diagnostic_hook([&](const Error& error) { reported.push_back(error.description()); });
  bool next = false;
  const auto mailbox = ThreadLoop::current().mailbox();
  mailbox->post([] { throw std::runtime_error("lost"); });
  mailbox->post([&] { next = true; });
  EXPECT_TRUE(message_loop::run_until([&] { return next; }, seconds(10)));
  set_diagnostic_hook({});
  EXPECT_EQ(reported, std::vector<std::string>{"lost"});
}

TEST(MessageLoopTest, APostFromADeliveryComesNextTime) {
  const auto mailbox = ThreadLoop::current().mailbox();
  int depth = 0;
  std::function<void()> again = [&] {
    if (++depth < 5) mailbox->post(again);
  };
  mailbox->post(again);
  EXPECT_TRUE(message_loop::run_once(seconds(10)));
  EXPECT_EQ(depth, 1);
  EXPECT_TRUE(message_loop::run_until([&] { return depth == 5; }, seconds(10)));
}

TEST(MessageLoopTest, PostsToAThreadThatEndedAreDestroyed) {
  std::shared_ptr<Mailbox> mailbox;
  std::thread thread([&] { mailbox = ThreadLoop::current().mailbox(); });
  thread.join();
  auto held = std::make_shared<int>(1);
  mailbox->post([held] { ADD_FAILURE(); });
  EXPECT_EQ(held.use_count(), 1);
}

TEST(MessageLoopTest, EachThreadHasItsOwn) {
  const ThreadLoop* here = &ThreadLoop::current();
  std::thread thread([&] {
    EXPECT_NE(&ThreadLoop::current(), here);
    bool delivered = false;
    ThreadLoop::current().mailbox()->post([&] { delivered = true; });
    EXPECT_TRUE(message_loop::run_until([&] { return delivered; }, seconds(10)));
  });
  thread.join();
}

TEST(LoopTimersTest, TicksUntilKilled) {
  int ticks = 0;
  const Timers::Id timer = timers().set(10, [&] { ++ticks; });
  EXPECT_TRUE(message_loop::run_until([&] { return ticks == 3; }, seconds(10)));
  timers().kill(timer);
  timers().kill(timer);  // killing twice does nothing
  int others = 0;
  const Timers::Id other = timers().set(10, [&] { ++others; });
  EXPECT_TRUE(message_loop::run_until([&] { return others == 3; }, seconds(10)));
  timers().kill(other);
  EXPECT_EQ(ticks, 3);
}

TEST(LoopTimersTest, ATickMayKillItsOwnTimerAndSetAnother) {
  int first = 0;
  int second = 0;
  Timers::Id other = 0;
  Timers::Id timer = 0;
  timer = timers().set(10, [&] {
    ++first;
    timers().kill(timer);
    other = timers().set(10, [&] { ++second; });
  });
  EXPECT_TRUE(message_loop::run_until([&] { return second == 2; }, seconds(10)));
  EXPECT_EQ(first, 1);
  EXPECT_NE(other, timer);
  timers().kill(other);
}

TEST(LoopTimersTest, MissedTicksCountAsOne) {
  int ticks = 0;
  const Timers::Id timer = timers().set(10, [&] { ++ticks; });
  // The loop does not run meanwhile, as in a long call of the agent's.
  pollfd loop{message_loop::file_descriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&loop, 1, 10'000), 1);
  const auto busy_until = std::chrono::steady_clock::now() + milliseconds(55);
  while (std::chrono::steady_clock::now() < busy_until) continue;
  EXPECT_TRUE(message_loop::run_once(milliseconds(0)));
  EXPECT_EQ(ticks, 1);
  timers().kill(timer);
}

TEST(LoopTimersTest, ShortAndNegativePeriodsAreBounded) {
  int short_ticks = 0;
  int negative_ticks = 0;
  const Timers::Id short_timer = timers().set(0, [&] { ++short_ticks; });
  const Timers::Id negative = timers().set(-1, [&] { ++negative_ticks; });
  EXPECT_TRUE(message_loop::run_until([&] { return short_ticks == 2; }, seconds(10)));
  EXPECT_EQ(negative_ticks, 0);
  timers().kill(short_timer);
  timers().kill(negative);
}

TEST(LoopTimersTest, WhatATickThrowsGoesToTheDiagnosticHook) {
  std::vector<std::string> reported;
  set_diagnostic_hook([&](const Error& error) { reported.push_back(error.description()); });
  const Timers::Id timer = timers().set(10, [] { throw std::runtime_error("tick failed"); });
  EXPECT_TRUE(message_loop::run_until([&] { return reported.size() == 2; }, seconds(10)))
      << "the timer goes on after a failure";
  timers().kill(timer);
  set_diagnostic_hook({});
  EXPECT_EQ(reported[0], "tick failed");
}

}  // namespace
}  // namespace kvwmi
