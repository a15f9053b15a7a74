#include "supervision/supervision_timer.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "frame/testing/fake_ground.h"
#include "supervision/testing/fixture.h"

namespace kvwmi::SupervisionTimer {
namespace {

using supervision::testing::Diagnostics;
using supervision::testing::error_of;
using testing::FakeGround;
using Intervals = std::vector<std::int32_t>;

constexpr const char* kCallbackTag = "\r\n\tKVWMI : SupervisionTimer.SupervisionPolling_Timer";

struct Counter final : Polled {
  void SupervisionPolling_Timer() override {
    ++ticks;
    if (on_tick) on_tick();
  }
  int ticks = 0;
  std::function<void()> on_tick;
};

class SupervisionTimerTest : public ::testing::Test {
 protected:
  std::shared_ptr<Counter> attached() {
    auto engine = std::make_shared<Counter>();
    AttachSupervisionPollingTimer(ground, engine);
    return engine;
  }

  FakeGround ground;
};

TEST_F(SupervisionTimerTest, AttachingStartsNoTimer) {
  attached();
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{});
}

TEST_F(SupervisionTimerTest, IntervalIsTheGreatestCommonDivisorAndNeverGrows) {
  attached();
  const auto after = [&](std::int32_t period) {
    StartSupervisionPolling(ground, period);
    return ground.fake_timers.intervals();
  };
  EXPECT_EQ(after(10), Intervals{10'000});
  EXPECT_EQ(after(15), Intervals{5'000});
  EXPECT_EQ(after(20), Intervals{5'000});
  EXPECT_EQ(after(5), Intervals{5'000});
  EXPECT_EQ(after(3), Intervals{1'000});
  EXPECT_EQ(after(60), Intervals{1'000});
}

TEST_F(SupervisionTimerTest, EqualDivisorKeepsTheRunningTimer) {
  attached();
  StartSupervisionPolling(ground, 5);
  const auto timer = ground.fake_timers.running.begin()->first;
  StartSupervisionPolling(ground, 15);
  EXPECT_EQ(ground.fake_timers.running.begin()->first, timer);
}

TEST_F(SupervisionTimerTest, DivisorOfFarApartPeriodsIsFoundAtOnce) {
  attached();
  StartSupervisionPolling(ground, 2'147'483);
  StartSupervisionPolling(ground, 2'147'483'647);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{1'000});
}

TEST_F(SupervisionTimerTest, AStoppedTimerForgetsItsPeriod) {
  const auto engine = attached();
  StartSupervisionPolling(ground, 5);
  DetachSupervisionPollingTimer(ground, *engine);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{});
  attached();
  StartSupervisionPolling(ground, 60);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{60'000});
}

TEST_F(SupervisionTimerTest, TimerStopsWithTheLastEngineOnly) {
  const auto first = attached();
  const auto second = attached();
  StartSupervisionPolling(ground, 5);
  DetachSupervisionPollingTimer(ground, *first);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{5'000});
  DetachSupervisionPollingTimer(ground, *second);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{});
}

TEST_F(SupervisionTimerTest, EnginesAreCalledInTheOrderOfAttachment) {
  std::vector<int> order;
  attached()->on_tick = [&] { order.push_back(1); };
  attached()->on_tick = [&] { order.push_back(2); };
  attached()->on_tick = [&] { order.push_back(3); };
  StartSupervisionPolling(ground, 1);
  ground.fake_timers.fire();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST_F(SupervisionTimerTest, EngineAttachedTwiceIsCalledTwiceAndDetachedOnce) {
  const auto engine = attached();
  AttachSupervisionPollingTimer(ground, engine);
  StartSupervisionPolling(ground, 1);
  ground.fake_timers.fire();
  EXPECT_EQ(engine->ticks, 2);
  DetachSupervisionPollingTimer(ground, *engine);
  ground.fake_timers.fire();
  EXPECT_EQ(engine->ticks, 3);
  DetachSupervisionPollingTimer(ground, *engine);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{});
}

TEST_F(SupervisionTimerTest, DetachingAStrangerChangesNothing) {
  Counter stranger;
  DetachSupervisionPollingTimer(ground, stranger);  // without a list
  const auto engine = attached();
  StartSupervisionPolling(ground, 5);
  DetachSupervisionPollingTimer(ground, stranger);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{5'000});
  ground.fake_timers.fire();
  EXPECT_EQ(engine->ticks, 1);
}

TEST_F(SupervisionTimerTest, TheListKeepsItsEnginesAlive) {
  const std::weak_ptr<Counter> engine = attached();
  EXPECT_FALSE(engine.expired());
  DetachSupervisionPollingTimer(ground, *engine.lock());
  EXPECT_TRUE(engine.expired());
}

TEST_F(SupervisionTimerTest, EngineMayDetachItselfAndOthersFromInsideATick) {
  const auto first = attached();
  const auto second = attached();
  const auto third = attached();
  StartSupervisionPolling(ground, 1);
  first->on_tick = [&] {
    DetachSupervisionPollingTimer(ground, *first);
    DetachSupervisionPollingTimer(ground, *second);
  };
  ground.fake_timers.fire();
  EXPECT_EQ(first->ticks, 1);
  EXPECT_EQ(second->ticks, 0);
  EXPECT_EQ(third->ticks, 1);
}

TEST_F(SupervisionTimerTest, EngineMayBeDroppedFromInsideItsTick) {
  auto engine = attached();
  const std::weak_ptr<Counter> weak = engine;
  StartSupervisionPolling(ground, 1);
  engine->on_tick = [&] {
    DetachSupervisionPollingTimer(ground, *engine);
    engine = nullptr;
    EXPECT_FALSE(weak.expired()) << "it must outlive its own tick";
  };
  ground.fake_timers.fire();
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{});
}

TEST_F(SupervisionTimerTest, AFailingEngineEndsTheTickAndIsReportedOnce) {
  Diagnostics diagnostics;
  const auto first = attached();
  const auto failing = attached();
  const auto last = attached();
  failing->on_tick = [] { throw runtime_error(RuntimeError::overflow); };
  StartSupervisionPolling(ground, 1);
  ground.fake_timers.fire();
  EXPECT_EQ(first->ticks, 1);
  EXPECT_EQ(last->ticks, 0);
  ASSERT_EQ(diagnostics.errors.size(), 1U);
  EXPECT_EQ(diagnostics.errors[0].number(), 6);
  EXPECT_EQ(diagnostics.errors[0].source(), std::string("KVWMI") + kCallbackTag);

  failing->on_tick = nullptr;
  ground.fake_timers.fire();
  EXPECT_EQ(last->ticks, 1);
}

TEST_F(SupervisionTimerTest, IntervalBeyond32BitsOfMillisecondsIsAnOverflow) {
  const Error error = error_of([&] { StartSupervisionPolling(ground, 2'147'484); });
  EXPECT_EQ(error.number(), 6);
  EXPECT_EQ(error.source(), "KVWMI\r\n\tKVWMI : SupervisionTimer.StartSupervisionPolling");
  EXPECT_EQ(error.description(), "Overflow");
}

TEST_F(SupervisionTimerTest, AfterATimerThatCouldNotBeMadeTheNextStartTriesAgain) {
  ground.fake_timers.error = Error(8, "kernel", "no timers left");
  const Error error = error_of([&] { StartSupervisionPolling(ground, 5); });
  EXPECT_EQ(error.source(), "kernel\r\n\tKVWMI : SupervisionTimer.StartSupervisionPolling");
  ground.fake_timers.error.reset();
  StartSupervisionPolling(ground, 7);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{7'000});
}

TEST_F(SupervisionTimerTest, ATimerThatCannotBeKilledIsAnErrorOfTheStopAndOfWhatCalledIt) {
  const auto engine = attached();
  StartSupervisionPolling(ground, 5);
  ground.fake_timers.kill_error = Error(5, "kernel", "denied");
  const std::string stop = "kernel\r\n\tKVWMI : SupervisionTimer.StopSupervisionPolling";
  EXPECT_EQ(error_of([&] { StopSupervisionPolling(ground); }).source(), stop);
  EXPECT_EQ(error_of([&] { StartSupervisionPolling(ground, 3); }).source(),
            stop + "\r\n\tKVWMI : SupervisionTimer.StartSupervisionPolling");
  EXPECT_EQ(error_of([&] { DetachSupervisionPollingTimer(ground, *engine); }).source(),
            stop + "\r\n\tKVWMI : SupervisionTimer.DetachSupervisionPollingTimer");
  ground.fake_timers.kill_error.reset();
}

TEST_F(SupervisionTimerTest, StoppingTwiceIsHarmless) {
  StopSupervisionPolling(ground);
  StartSupervisionPolling(ground, 5);
  StopSupervisionPolling(ground);
  StopSupervisionPolling(ground);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{});
}

// The first attachment of a thread starts the module's state afresh, also when a watch of an engine that was
// never initialised has started a timer before: that timer is not stopped any more.
TEST_F(SupervisionTimerTest, FirstAttachmentForgetsATimerStartedBeforeIt) {
  StartSupervisionPolling(ground, 10);
  const auto engine = attached();
  StartSupervisionPolling(ground, 15);
  EXPECT_EQ(ground.fake_timers.intervals(), (Intervals{10'000, 15'000}));
  DetachSupervisionPollingTimer(ground, *engine);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{10'000});
}

TEST_F(SupervisionTimerTest, EachThreadHasItsOwnListAndTimer) {
  const auto engine = attached();
  StartSupervisionPolling(ground, 5);
  std::thread([&] {
    DetachSupervisionPollingTimer(ground, *engine);  // a stranger here
    StartSupervisionPolling(ground, 15);
    EXPECT_EQ(ground.fake_timers.intervals(), (Intervals{5'000, 15'000}));
    StopSupervisionPolling(ground);
  }).join();
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{5'000});
}

TEST(SupervisionTimerEndTest, TheThreadsEndStopsTheTimerAndDropsTheEngines) {
  std::weak_ptr<Counter> weak;
  FakeGround ground;
  {
    auto engine = std::make_shared<Counter>();
    weak = engine;
    AttachSupervisionPollingTimer(ground, engine);
    StartSupervisionPolling(ground, 5);
  }
  ground.thread_slot() = nullptr;  // what a ground does at the end of a thread
  EXPECT_TRUE(weak.expired());
  EXPECT_TRUE(ground.fake_timers.running.empty());
}

}  // namespace
}  // namespace kvwmi::SupervisionTimer
