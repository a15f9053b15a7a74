#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>
#include <vector>

#include "supervision/polled_watches.h"
#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using namespace std::chrono_literals;
using namespace testing;
using Intervals = std::vector<std::int32_t>;

class PolledTest : public RequestTest {
 protected:
  void tick_after(std::chrono::seconds wait) {
    ground.fake_clock.now += wait;
    ground.fake_timers.fire();
  }
  void open_window() { ground.fake_windows.open["Title"] = 1; }
  void close_window() { ground.fake_windows.open.erase("Title"); }
  /// How many records step 7 has; takes them.
  int drain() {
    int count = 0;
    while (pop(supervision, 7) != kNothing) ++count;
    return count;
  }
};

TEST_F(PolledTest, WindowOpeningAndClosingAreReportedOnceEach) {
  EXPECT_EQ(supervision.m_SuperviseWindow(7, 3, "Title"), 0);
  tick_after(0s);
  EXPECT_EQ(drain(), 0);
  open_window();
  tick_after(5s);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
  tick_after(5s);
  EXPECT_EQ(drain(), 0);
  close_window();
  tick_after(5s);
  EXPECT_EQ(drain(), 1);
}

TEST_F(PolledTest, WindowThatIsThereAtTheRequestHasNotOpened) {
  open_window();
  supervision.m_SuperviseWindow(7, 3, "Title");
  tick_after(0s);
  EXPECT_EQ(drain(), 0);
}

TEST_F(PolledTest, WindowFlags) {
  struct Case {
    bool open, close;
    int expected;
  };
  for (const Case c :
       {Case{true, false, 1}, Case{false, true, 1}, Case{false, false, 0}, Case{true, true, 2}}) {
    FakeGround own;
    Supervision watch(own);
    watch.m_Initialize();
    watch.m_SuperviseWindow(7, 3, "Title", c.open, c.close, 1);
    own.fake_windows.open["Title"] = 1;
    own.fake_timers.fire();
    own.fake_windows.open.clear();
    own.fake_clock.now += 1s;
    own.fake_timers.fire();
    int count = 0;
    while (pop(watch, 7) != kNothing) ++count;
    EXPECT_EQ(count, c.expected);
    watch.m_Release();
  }
}

TEST_F(PolledTest, ThresholdWithoutAGroupPeriodCountsUpAndStartsAgain) {
  supervision.m_SuperviseWindow(7, 3, "Title", true, true, 5, 0, 2);
  open_window();
  tick_after(0s);
  EXPECT_EQ(drain(), 0);
  close_window();
  tick_after(5s);
  EXPECT_EQ(drain(), 1);
  open_window();
  tick_after(5s);
  EXPECT_EQ(drain(), 0);
  close_window();
  tick_after(5s);
  EXPECT_EQ(drain(), 1);
}

// Without a threshold the end of every group is reported, also when nothing has happened.
TEST_F(PolledTest, GroupWithoutAThresholdIsReportedWithOrWithoutChanges) {
  supervision.m_SuperviseWindow(7, 3, "Title", true, true, 10, 60);
  for (int second = 0; second < 60; second += 10) {
    tick_after(second == 0 ? 0s : 10s);
    EXPECT_EQ(drain(), 0);
  }
  tick_after(10s);
  EXPECT_EQ(drain(), 1);
  open_window();
  for (int i = 0; i < 6; ++i) tick_after(10s);
  EXPECT_EQ(drain(), 1);
}

TEST_F(PolledTest, GroupBelowItsThresholdIsForgotten) {
  supervision.m_SuperviseWindow(7, 3, "Title", true, true, 10, 20, 2);
  open_window();
  tick_after(0s);
  tick_after(10s);
  tick_after(10s);  // end of the group: one change
  EXPECT_EQ(drain(), 0);
  close_window();
  tick_after(10s);
  tick_after(10s);  // one change again, not two
  EXPECT_EQ(drain(), 0);
  open_window();
  tick_after(10s);
  close_window();
  tick_after(10s);
  EXPECT_EQ(drain(), 1);
}

TEST_F(PolledTest, RecordIsPolledAtItsOwnPeriodOnly) {
  supervision.m_SuperviseIPAddress(7, 1, "every 5", "f", true, true, 5);
  supervision.m_SuperviseIPAddress(7, 2, "every 10", "", true, true, 10);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{5'000});
  for (int i = 0; i < 4; ++i) tick_after(i == 0 ? 0s : 5s);
  using Calls = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(ground.fake_ip_address_library.address_calls, (Calls{{"every 5", "f"},
                                                                 {"every 10", ""},
                                                                 {"every 5", "f"},
                                                                 {"every 5", "f"},
                                                                 {"every 10", ""},
                                                                 {"every 5", "f"}}));
}

TEST_F(PolledTest, LateRecordIsCaughtUpOncePerTick) {
  supervision.m_SuperviseIPAddress(7, 1, "def", "", true, true, 5);
  tick_after(0s);
  const auto polls_of_tick = [&](std::chrono::seconds wait) {
    const auto before = ground.fake_ip_address_library.address_calls.size();
    tick_after(wait);
    return ground.fake_ip_address_library.address_calls.size() - before;
  };
  EXPECT_EQ(polls_of_tick(15s), 1U);  // due 5, 10 and 15 seconds after the first
  EXPECT_EQ(polls_of_tick(0s), 1U);
  EXPECT_EQ(polls_of_tick(0s), 1U);
  EXPECT_EQ(polls_of_tick(0s), 0U);
  EXPECT_EQ(polls_of_tick(5s), 1U);
}

TEST_F(PolledTest, AddressResults) {
  struct Case {
    std::int32_t result;
    bool modification, absence;
    int expected;
  };
  for (const Case c :
       {Case{1, true, true, 1}, Case{2, true, true, 1}, Case{1, false, true, 0}, Case{2, true, false, 0},
        Case{0, true, true, 0}, Case{3, true, true, 0}, Case{-1, true, true, 0}}) {
    supervision.m_SuperviseIPAddress(7, 1, "def", "", c.modification, c.absence, 1'000);
    ground.fake_ip_address_library.address_result = c.result;
    ground.fake_timers.fire();
    EXPECT_EQ(drain(), c.expected) << c.result;
  }
}

TEST_F(PolledTest, InterfaceResults) {
  struct Case {
    std::int32_t result;
    bool activation, deactivation;
    int threshold, expected;
  };
  ground.fake_timers.fire();  // nothing runs yet
  supervision.m_SuperviseNetworkInterfaces(7, 9, "first", true, true, 1'000);
  ground.fake_timers.fire();  // the engine's first poll is silent
  for (const Case c : {Case{1, true, true, 1, 1}, Case{2, true, true, 1, 1}, Case{3, true, true, 2, 1},
                       Case{3, true, false, 2, 0}, Case{1, false, true, 1, 0}, Case{2, true, false, 1, 0},
                       Case{3, false, false, 0, 0}, Case{0, true, true, 1, 0}, Case{4, true, true, 1, 0}}) {
    supervision.m_SuperviseNetworkInterfaces(7, 1, "def", c.activation, c.deactivation, 1'000, 0,
                                             c.threshold);
    ground.fake_ip_address_library.interface_result = c.result;
    ground.fake_timers.fire();
    EXPECT_EQ(drain(), c.expected) << c.result;
  }
}

TEST_F(PolledTest, FirstTickOfAnEngineRecordsTheInterfacesSilently) {
  supervision.m_SuperviseNetworkInterfaces(7, 1, "def", true, true, 5);
  ground.fake_ip_address_library.interface_result = 3;
  tick_after(0s);
  EXPECT_EQ(ground.fake_ip_address_library.interface_calls, std::vector<std::string>{"def"});
  EXPECT_EQ(drain(), 0);
  tick_after(5s);
  EXPECT_EQ(drain(), 1);
}

TEST_F(PolledTest, FirstTickOfAnEngineReportsNoEndOfAGroup) {
  supervision.m_SuperviseNetworkInterfaces(7, 1, "def", true, true, 1, 1);
  tick_after(5s);
  EXPECT_EQ(drain(), 0);
  tick_after(1s);
  EXPECT_EQ(drain(), 1) << "without a threshold the end of a group is reported";
}

// Only records that exist at the engine's first tick are checked silently once.
TEST_F(PolledTest, InterfaceWatchAddedAfterTheFirstTickReportsAtOnce) {
  supervision.m_SuperviseWindow(7, 1, "Title");
  tick_after(0s);
  ground.fake_ip_address_library.interface_result = 1;
  supervision.m_SuperviseNetworkInterfaces(7, 2, "def");
  tick_after(0s);
  EXPECT_EQ(pop(supervision, 7), (Popped{2, ""}));
}

TEST_F(PolledTest, DeactivationIsOffByDefaultUnlikeEveryOtherFlag) {
  supervision.m_SuperviseNetworkInterfaces(7, 1, "def");
  tick_after(0s);
  ground.fake_ip_address_library.interface_result = 2;
  tick_after(5s);
  EXPECT_EQ(drain(), 0);
  ground.fake_ip_address_library.interface_result = 1;
  tick_after(5s);
  EXPECT_EQ(drain(), 1);
}

TEST_F(PolledTest, WatchOfAnEngineThatIsNotInitialisedStartsTheTimerAndIsNeverChecked) {
  supervision.m_Release();
  EXPECT_EQ(supervision.m_SuperviseIPAddress(7, 1, "def", ""), 0);
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{5'000});
  tick_after(5s);
  EXPECT_EQ(ground.fake_ip_address_library.address_calls.size(), 0U);
}

TEST_F(PolledTest, PolledWatchReportsItselfAndItsAbsence) {
  supervision.m_SuperviseWindow(7, 3, "Title", true, true, 5, 0, 0, true);
  open_window();
  tick_after(0s);
  EXPECT_EQ(drain(), 1);
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(drain(), 1);
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(drain(), 1);
}

TEST_F(PolledTest, PolledWatchSignalsTheAgentsEvent) {
  supervision.p_strSupervisionEventName("agent");
  supervision.m_SuperviseWindow(7, 3, "Title");
  open_window();
  tick_after(0s);
  EXPECT_EQ(ground.fake_named_events.signalled, std::vector<std::string>{"agent"});
}

TEST_F(PolledTest, EmptyNamesAndNegativeGroupsAreAccepted) {
  EXPECT_EQ(supervision.m_SuperviseWindow(7, 1, "", true, true, 5, -10, -1), 0);
  EXPECT_EQ(supervision.m_SuperviseIPAddress(7, 2, "", ""), 0);
  EXPECT_EQ(supervision.m_SuperviseNetworkInterfaces(7, 3, ""), 0);
}

TEST_F(PolledTest, PollingPeriodsBelowOneSecondAreRefusedAndLeaveNoRecord) {
  const auto refused = [&](const char* method, auto request) {
    for (const std::int32_t period : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
      const Error error = error_of([&] { request(period); });
      EXPECT_EQ(error.number(), kClassError);
      EXPECT_EQ(error.source(), "KVWMI" + tag(method));
      EXPECT_EQ(error.description(), "Invalid procedure call or argument");
    }
  };
  refused("m_SuperviseWindow",
          [&](std::int32_t p) { supervision.m_SuperviseWindow(7, 1, "Title", true, true, p, 0, 0, true); });
  refused("m_SuperviseIPAddress", [&](std::int32_t p) {
    supervision.m_SuperviseIPAddress(7, 1, "d", "", true, true, p, 0, 0, true);
  });
  refused("m_SuperviseNetworkInterfaces", [&](std::int32_t p) {
    supervision.m_SuperviseNetworkInterfaces(7, 1, "d", true, true, p, 0, 0, true);
  });
  EXPECT_EQ(ground.fake_timers.intervals(), Intervals{});

  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(drain(), 0);
  supervision.m_SuperviseWindow(7, 2, "other");
  tick_after(0s);
  EXPECT_EQ(ground.fake_ip_address_library.address_calls.size(), 0U);
  EXPECT_EQ(ground.fake_ip_address_library.interface_calls.size(), 0U);
}

// The record is in place before the timer is started, and stays there when that fails.
TEST_F(PolledTest, TimerThatCannotBeStartedFailsTheRequestAndLeavesTheRecord) {
  const Error error =
      error_of([&] { supervision.m_SuperviseIPAddress(7, 1, "far", "", true, true, 2'147'484); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(),
            "KVWMI\r\n\tKVWMI : SupervisionTimer.StartSupervisionPolling" + tag("m_SuperviseIPAddress"));
  EXPECT_EQ(error.description(), "Overflow");
  supervision.m_SuperviseIPAddress(7, 2, "near", "");
  tick_after(0s);
  EXPECT_EQ(ground.fake_ip_address_library.address_calls.size(), 2U);
}

TEST_F(PolledTest, FailedCheckEndsTheTickAndTheNextOneStartsAgain) {
  Diagnostics diagnostics;
  supervision.m_SuperviseWindow(7, 1, "Title", true, true, 5);
  supervision.m_SuperviseIPAddress(7, 2, "def", "", true, true, 5);
  supervision.m_SuperviseNetworkInterfaces(7, 3, "def", true, true, 5);
  ground.fake_ip_address_library.error = file_not_found("KVIPAddress.dll");
  open_window();
  tick_after(0s);
  EXPECT_EQ(pop(supervision, 7), (Popped{1, ""})) << "windows are checked first";
  ASSERT_EQ(diagnostics.errors.size(), 1U);
  EXPECT_EQ(diagnostics.errors[0].number(), 53);
  EXPECT_EQ(diagnostics.errors[0].source(), "KVWMI" + tag("SupervisionPolling_Timer") +
                                                "\r\n\tKVWMI : SupervisionTimer.SupervisionPolling_Timer");
  EXPECT_EQ(diagnostics.errors[0].description(), "File not found: KVIPAddress.dll");

  ground.fake_ip_address_library.error.reset();
  ground.fake_ip_address_library.address_result = 1;
  ground.fake_ip_address_library.interface_result = 1;
  tick_after(0s);
  EXPECT_EQ(pop(supervision, 7), (Popped{2, ""})) << "the failed record is still due";
  EXPECT_EQ(pop(supervision, 7), kNothing) << "this is the first tick that reached the interfaces";
}

TEST(PolledWatchesTest, EventCountThatOverflowsFailsTheTick) {
  FakeGround ground;
  PolledWatches watches;
  WindowRecord record;
  record.title = "Title";
  record.check_open = true;
  record.polling_period = 5;
  record.event_count = std::numeric_limits<std::int32_t>::max();
  watches.windows.push_back(record);
  ground.fake_windows.open["Title"] = 1;
  const Error error = error_of([&] { watches.tick(ground, [](auto, auto, auto&) { FAIL(); }); });
  EXPECT_EQ(error.number(), 6);
  EXPECT_EQ(watches.windows.front().event_count, std::numeric_limits<std::int32_t>::max());
}

}  // namespace
}  // namespace kvwmi::supervision
