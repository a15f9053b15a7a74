#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using namespace testing;

class StateRequestsTest : public RequestTest {
 protected:
  /// The queries of the subscriptions made since the last call.
  Queries new_queries() {
    Queries queries;
    for (; seen < ground.wmi.subscriptions.size(); ++seen)
      queries.push_back(ground.wmi.subscriptions[seen].query);
    return queries;
  }
  /// The request fails with `refusal` as WMI gave it and registers nothing.
  void expect_refused(const std::string& method, const std::string& query, auto request) {
    const Error refusal = wmi::wmi_error(wmi::Status::unparsable_query, wmi::source::kServices);
    ground.wmi.errors.insert_or_assign(query, refusal);
    const Error error = error_of(request);
    EXPECT_EQ(error.number(), kClassError);
    EXPECT_EQ(error.source(), refusal.source() + tag(method));
    EXPECT_EQ(error.description(), refusal.description());
    expect_unregistered();
  }

  std::size_t seen = 0;
};

TEST_F(StateRequestsTest, SubscriptionIsAsynchronousOverCimv2WithTheWatchAsContext) {
  supervision.m_SuperviseService(7, 3, "Spooler Service");
  supervision.m_SupervisePowerSource(-1, 4);
  supervision.m_SuperviseProcess(7, 5, "a.exe", true, false);
  struct Expected {
    std::int32_t supervision, step;
    std::int16_t type;
  };
  const Expected expected[]{{3, 7, 18}, {4, -1, 42}, {5, 7, 20}};
  ASSERT_EQ(ground.wmi.subscriptions.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    const kvwmi::testing::Subscription& subscription = ground.wmi.subscriptions[i];
    EXPECT_FALSE(subscription.sink.expired());
    EXPECT_EQ(subscription.name_space, R"(root\CIMV2)");
    EXPECT_EQ(subscription.language, "WQL");
    EXPECT_EQ(subscription.flags, 0);
    EXPECT_FALSE(subscription.options);
    ASSERT_EQ(subscription.context.size(), 3U);
    EXPECT_EQ(subscription.context[0].name, "SupervisionId");
    EXPECT_EQ(subscription.context[0].value, wmi::Value(expected[i].supervision));
    EXPECT_EQ(subscription.context[1].name, "CurrentStepId");
    EXPECT_EQ(subscription.context[1].value, wmi::Value(expected[i].step));
    EXPECT_EQ(subscription.context[2].name, "SupervisionType");
    EXPECT_EQ(subscription.context[2].value, wmi::Value(expected[i].type));
  }
}

// Two blanks before the first AND, one before the second.
TEST_F(StateRequestsTest, ServiceQueries) {
  struct Case {
    bool start, stop;
    std::int32_t period, group_period, group_threshold;
    const char* expected;
  };
  const Case cases[]{
      {true, true, 5, 0, 0,
       "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Service'  AND "
       "TargetInstance.DisplayName='Spooler Service' AND ((PreviousInstance.State<>'Running' AND "
       "TargetInstance.State='Running') OR (PreviousInstance.State<>'Stopped' AND "
       "TargetInstance.State='Stopped'))"},
      {true, false, 5, 0, 0,
       "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Service'  AND "
       "TargetInstance.DisplayName='Spooler Service' AND ((PreviousInstance.State<>'Running' AND "
       "TargetInstance.State='Running'))"},
      {false, true, 30, 60, 0,
       "SELECT * FROM __InstanceModificationEvent WITHIN 30 WHERE TargetInstance ISA 'Win32_Service'  AND "
       "TargetInstance.DisplayName='Spooler Service' AND ((PreviousInstance.State<>'Stopped' AND "
       "TargetInstance.State='Stopped')) GROUP WITHIN 60"},
      // Without a transition every change of the instance is reported.
      {false, false, -1, 60, 3,
       "SELECT * FROM __InstanceModificationEvent WITHIN -1 WHERE TargetInstance ISA 'Win32_Service'  AND "
       "TargetInstance.DisplayName='Spooler Service' GROUP WITHIN 60 HAVING NumberOfEvents>=3"},
      {false, false, 5, 0, 3,
       "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Service'  AND "
       "TargetInstance.DisplayName='Spooler Service'"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(supervision.m_SuperviseService(7, 3, "Spooler Service", c.start, c.stop, c.period,
                                             c.group_period, c.group_threshold),
              0);
    EXPECT_EQ(new_queries(), Queries{c.expected});
  }
}

TEST_F(StateRequestsTest, EveryServiceTransitionWithEveryGrouping) {
  const std::string head =
      "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Service'  AND "
      "TargetInstance.DisplayName='Spooler Service'";
  struct Transitions {
    bool start, stop;
    const char* clause;
  };
  const Transitions every[]{
      {false, false, ""},
      {true, false, " AND ((PreviousInstance.State<>'Running' AND TargetInstance.State='Running'))"},
      {false, true, " AND ((PreviousInstance.State<>'Stopped' AND TargetInstance.State='Stopped'))"},
      {true, true,
       " AND ((PreviousInstance.State<>'Running' AND TargetInstance.State='Running') OR "
       "(PreviousInstance.State<>'Stopped' AND TargetInstance.State='Stopped'))"},
  };
  for (const Transitions& t : every) {
    for (const Grouping& grouping : kGroupings) {
      supervision.m_SuperviseService(7, 3, "Spooler Service", t.start, t.stop, 5, grouping.period,
                                     grouping.threshold);
      EXPECT_EQ(new_queries(), Queries{head + t.clause + grouping.clause});
    }
  }
}

TEST_F(StateRequestsTest, EveryPowerSourceWithEveryGrouping) {
  const std::string head =
      "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Battery' AND (";
  const std::pair<std::int32_t, const char*> sources[]{
      {25, "(PreviousInstance.BatteryStatus<>2 AND TargetInstance.BatteryStatus=2))"},
      {26, "(PreviousInstance.BatteryStatus=2 AND TargetInstance.BatteryStatus<>2))"},
  };
  for (const auto& [source, clause] : sources) {
    for (const Grouping& grouping : kGroupings) {
      supervision.m_SupervisePowerSource(7, 3, source, 5, grouping.period, grouping.threshold);
      EXPECT_EQ(new_queries(), Queries{head + clause + grouping.clause});
    }
  }
}

TEST_F(StateRequestsTest, EveryProcessChangeWithEveryGrouping) {
  const std::string tail =
      " WITHIN 5 WHERE TargetInstance ISA 'Win32_Process'   AND TargetInstance.Name='a.exe'";
  for (const bool start : {true, false}) {
    for (const bool end : {true, false}) {
      for (const Grouping& grouping : kGroupings) {
        supervision.m_SuperviseProcess(7, 3, "a.exe", start, end, 5, grouping.period, grouping.threshold);
        Queries expected;
        if (start) expected.push_back("SELECT * FROM __InstanceCreationEvent" + tail + grouping.clause);
        if (end) expected.push_back("SELECT * FROM __InstanceDeletionEvent" + tail + grouping.clause);
        EXPECT_EQ(new_queries(), expected);
      }
    }
  }
}

TEST_F(StateRequestsTest, PowerSourceQueries) {
  const std::string head =
      "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Battery' AND (";
  const std::string to_mains = "(PreviousInstance.BatteryStatus<>2 AND TargetInstance.BatteryStatus=2))";
  const std::string to_battery = "(PreviousInstance.BatteryStatus=2 AND TargetInstance.BatteryStatus<>2))";
  supervision.m_SupervisePowerSource(7, 3);
  EXPECT_EQ(new_queries(), Queries{head + to_mains});
  supervision.m_SupervisePowerSource(7, 3, 25);
  EXPECT_EQ(new_queries(), Queries{head + to_mains});
  for (const std::int32_t state : {26, 0, -1}) {
    supervision.m_SupervisePowerSource(7, 3, state);
    EXPECT_EQ(new_queries(), Queries{head + to_battery});
  }
  supervision.m_SupervisePowerSource(7, 3, 26, 5, 60, 3);
  EXPECT_EQ(new_queries(), Queries{head + to_battery + " GROUP WITHIN 60 HAVING NumberOfEvents>=3"});
}

// Three blanks before AND, here alone.
TEST_F(StateRequestsTest, ProcessQueries) {
  const std::string creation = "SELECT * FROM __InstanceCreationEvent ";
  const std::string deletion = "SELECT * FROM __InstanceDeletionEvent ";
  const std::string tail =
      "WITHIN 5 WHERE TargetInstance ISA 'Win32_Process'   AND TargetInstance.Name='a.exe'";
  supervision.m_SuperviseProcess(7, 3, "a.exe");
  EXPECT_EQ(new_queries(), (Queries{creation + tail, deletion + tail}));
  supervision.m_SuperviseProcess(7, 3, "a.exe", true, false);
  EXPECT_EQ(new_queries(), Queries{creation + tail});
  supervision.m_SuperviseProcess(7, 3, "a.exe", false, true);
  EXPECT_EQ(new_queries(), Queries{deletion + tail});
  supervision.m_SuperviseProcess(7, 3, "a.exe", true, true, 5, 10);
  EXPECT_EQ(new_queries(),
            (Queries{creation + tail + " GROUP WITHIN 10", deletion + tail + " GROUP WITHIN 10"}));
  supervision.m_SuperviseProcess(7, 3, "a.exe", false, true, 5, 10, 2);
  EXPECT_EQ(new_queries(), Queries{deletion + tail + " GROUP WITHIN 10 HAVING NumberOfEvents>=2"});
}

TEST_F(StateRequestsTest, ProcessWatchOfNothingIsRegisteredAllTheSame) {
  EXPECT_EQ(supervision.m_SuperviseProcess(7, 3, "a.exe", false, false, 5, 0, 0, true), 0);
  EXPECT_EQ(new_queries(), Queries{});
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

TEST_F(StateRequestsTest, NamesGoIntoTheQueryAsGiven) {
  supervision.m_SuperviseProcess(7, 3, "it's", true, false);
  EXPECT_EQ(new_queries(), Queries{"SELECT * FROM __InstanceCreationEvent WITHIN 5 WHERE TargetInstance ISA "
                                   "'Win32_Process'   AND TargetInstance.Name='it's'"});
}

TEST_F(StateRequestsTest, RefusedServiceWatchIsNotRegistered) {
  expect_refused("m_SuperviseService",
                 "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA "
                 "'Win32_Service'  AND TargetInstance.DisplayName='it's'",
                 [&] { supervision.m_SuperviseService(7, 3, "it's", false, false, 5, 0, 0, true); });
}

TEST_F(StateRequestsTest, RefusedPowerSourceWatchIsNotRegistered) {
  expect_refused("m_SupervisePowerSource",
                 "SELECT * FROM __InstanceModificationEvent WITHIN 0 WHERE TargetInstance ISA "
                 "'Win32_Battery' AND ((PreviousInstance.BatteryStatus<>2 AND "
                 "TargetInstance.BatteryStatus=2))",
                 [&] { supervision.m_SupervisePowerSource(7, 3, 25, 0, 0, 0, true); });
}

// The first subscription stays, but its key is not registered, so its events are dropped.
TEST_F(StateRequestsTest, RefusedDeletionLeavesTheCreationSubscribedAndUnregistered) {
  const std::string tail =
      " WITHIN 5 WHERE TargetInstance ISA 'Win32_Process'   AND TargetInstance.Name='a.exe'";
  expect_refused("m_SuperviseProcess", "SELECT * FROM __InstanceDeletionEvent" + tail,
                 [&] { supervision.m_SuperviseProcess(7, 3, "a.exe", true, true, 5, 0, 0, true); });
  FakeObject event = instance_event({});
  EXPECT_EQ(ground.wmi.fire("SELECT * FROM __InstanceCreationEvent" + tail, event), 1);
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

}  // namespace
}  // namespace kvwmi::supervision
