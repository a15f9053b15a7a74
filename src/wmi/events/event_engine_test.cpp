#include "wmi/events/event_engine.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "wmi/events/testing/engine_fixture.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::seconds;
using testing::EventEngineTest;
using testing::kProcessStarts;
using testing::property;
using testing::text_of;
using testing::Texts;

TEST_F(EventEngineTest, WhatIsThereAtTheSubscriptionIsNoEvent) {
  add_process("1", "a");
  subscribe(kProcessStarts);
  pass(seconds(3));
  EXPECT_EQ(take(), Texts{});
  add_process("2", "a");
  EXPECT_EQ(take(), Texts{}) << "found at the next poll, not before";
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 2"});
  pass(seconds(3));
  EXPECT_EQ(take(), Texts{}) << "once";
}

TEST_F(EventEngineTest, AWatchOfOneOddNameSharesNoPollWithAWatchOfTwo) {
  const std::string starts =
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND ";
  subscribe(starts + "TargetInstance.Name='a\n0=sb'");
  subscribe(starts + "(TargetInstance.Name='a' OR TargetInstance.Name='b')");
  EXPECT_EQ(engine->polls(), 2U);
  add_service("b", "Running");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent b"});
}

TEST_F(EventEngineTest, WhatLivesWithinOnePeriodIsNotSeen) {
  subscribe(kProcessStarts);
  const auto row = add_process("1", "a");
  processes->remove(row);
  pass(seconds(2));
  EXPECT_EQ(take(), Texts{});
}

TEST_F(EventEngineTest, DeletionShowsTheInstanceAsItLastWas) {
  const auto row = add_process("1", "a");
  std::string working_set;
  sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        working_set = property(event, "TargetInstance", "WorkingSetSize");
        seen.push_back(described(event, {}));
      },
      loop);
  subscribe(
      "SELECT * FROM __InstanceDeletionEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
      "TargetInstance.Name='A'");
  processes->set(row, "WorkingSetSize", std::uint64_t{200});
  pass(seconds(1));
  processes->remove(row);
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceDeletionEvent 1"});
  EXPECT_EQ(working_set, "200");
}

TEST_F(EventEngineTest, ModificationShowsBothStates) {
  const auto row = add_service("spool", "Running");
  Texts states;
  sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        states.push_back(property(event, "PreviousInstance", "State") + " -> " +
                         property(event, "TargetInstance", "State"));
      },
      loop);
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Service'  AND "
      "TargetInstance.DisplayName='spool service' AND ((PreviousInstance.State<>'Running' AND "
      "TargetInstance.State='Running') OR (PreviousInstance.State<>'Stopped' AND "
      "TargetInstance.State='Stopped'))");
  services->set(row, "State", "Stopped");
  pass(seconds(5));
  EXPECT_EQ(std::exchange(states, {}), Texts{"Running -> Stopped"})
      << "the baseline counts for the first poll";
  pass(seconds(5));
  EXPECT_EQ(states, Texts{});
  services->set(row, "State", "Paused");
  pass(seconds(5));
  EXPECT_EQ(states, Texts{});
  services->set(row, "State", "Running");
  pass(seconds(5));
  EXPECT_EQ(states, Texts{"Paused -> Running"});
}

TEST_F(EventEngineTest, AnyPropertyMakesAModificationEvenOneThatTheConditionDoesNotName) {
  const auto row = add_service("spool", "Running");
  add_service("other", "Running");
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service'  AND "
      "TargetInstance.DisplayName='spool service'");
  pass(seconds(1));
  services->set(row, "ProcessId", std::uint64_t{77});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent spool"});
  pass(seconds(2));
  EXPECT_EQ(take(), Texts{});
}

TEST_F(EventEngineTest, AThresholdFiresAtEveryChangeWhileItHolds) {
  const auto row = add_process("1", "a");
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'  AND "
      "TargetInstance.Name='a' AND TargetInstance.WorkingSetSize>500");
  for (const std::uint64_t size : {400U, 600U, 700U, 700U, 300U, 800U}) {
    processes->set(row, "WorkingSetSize", size);
    pass(seconds(1));
    seen.push_back(std::to_string(size));
  }
  EXPECT_EQ(take(), (Texts{"400", "__InstanceModificationEvent 1", "600", "__InstanceModificationEvent 1",
                           "700", "700", "300", "__InstanceModificationEvent 1", "800"}));
}

TEST_F(EventEngineTest, ChangingIntoTheConditionIsAModificationNotACreation) {
  const auto row = add_service("spool", "Stopped");
  subscribe(
      "SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
      "TargetInstance.State='Running'");
  services->set(row, "State", "Running");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent spool"});
}

constexpr const char* kComesToRun =
    "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
    "TargetInstance.State='Running'";

TEST_F(EventEngineTest, AConditionMayAskWhatAnInstanceWasBeforeItsLookUpFoundIt) {
  const auto seven = services->add({{"Name", "a"}, {"State", "Stopped"}, {"ProcessId", std::uint64_t{7}}});
  const auto eight = services->add({{"Name", "b"}, {"State", "Stopped"}, {"ProcessId", std::uint64_t{8}}});
  subscribe(kComesToRun + std::string(" AND PreviousInstance.ProcessId=7"));
  for (const auto row : {seven, eight}) services->set(row, "State", "Running");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent a"});
}

TEST_F(EventEngineTest, GroupsMayBeMadeByWhatAnInstanceWasBeforeItsLookUpFoundIt) {
  const auto seven = services->add({{"Name", "a"}, {"State", "Stopped"}, {"ProcessId", std::uint64_t{7}}});
  const auto eight = services->add({{"Name", "b"}, {"State", "Stopped"}, {"ProcessId", std::uint64_t{8}}});
  subscribe(kComesToRun + std::string(" GROUP WITHIN 5 BY PreviousInstance.ProcessId"));
  for (const auto row : {seven, eight}) services->set(row, "State", "Running");
  pass(seconds(10));
  EXPECT_EQ(take(), (Texts{"__AggregateEvent x1 {__InstanceModificationEvent a}",
                           "__AggregateEvent x1 {__InstanceModificationEvent b}"}));
}

TEST_F(EventEngineTest, NothingIsReadOfInstancesThatCanNeverComeIntoTheCondition) {
  add_process("1", "a");
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
      "TargetInstance.Name='b' AND PreviousInstance.WorkingSetSize<500");
  EXPECT_EQ(processes->last_columns(), (std::vector<std::size_t>{0, 1})) << "another name is another process";
}

TEST_F(EventEngineTest, OperationEventsAreAllThreeKinds) {
  subscribe("SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service'");
  const auto row = add_service("spool", "Running");
  pass(seconds(1));
  services->set(row, "State", "Stopped");
  pass(seconds(1));
  services->remove(row);
  pass(seconds(1));
  EXPECT_EQ(take(), (Texts{"__InstanceCreationEvent spool", "__InstanceModificationEvent spool",
                           "__InstanceDeletionEvent spool"}));
}

TEST_F(EventEngineTest, AnOperationQueryMayAskForTheKind) {
  subscribe(
      "SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
      "__CLASS='__InstanceDeletionEvent'");
  const auto row = add_service("spool", "Running");
  pass(seconds(1));
  services->remove(row);
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceDeletionEvent spool"});
}

TEST_F(EventEngineTest, ASuperclassCoversAllItsClasses) {
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'CIM_LogicalElement'");
  add_process("1", "a");
  threads->add({{"Handle", "9"}});
  add_service("spool", "Running");  // no logical element here
  pass(seconds(1));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"__InstanceCreationEvent 1", "__InstanceCreationEvent 9"}));
  EXPECT_EQ(engine->polls(), 2U);
}

TEST_F(EventEngineTest, TheConditionMayLeaveOutTheClassInOneWayOnly) {
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE (TargetInstance ISA 'Win32_Process' AND "
      "TargetInstance.Name='a') OR (TargetInstance ISA 'Win32_Service' AND TargetInstance.State='Running')");
  EXPECT_EQ(engine->polls(), 2U);
  add_process("1", "a");
  add_process("2", "b");
  add_service("spool", "Running");
  add_service("other", "Stopped");
  pass(seconds(1));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"__InstanceCreationEvent 1", "__InstanceCreationEvent spool"}));
}

TEST_F(EventEngineTest, EachContextComesBackWithItsEvents) {
  subscribe(kProcessStarts, "one");
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
      "(TargetInstance.Name='b' OR TargetInstance.Name='A')",
      "two");
  add_process("1", "a");
  pass(seconds(1));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"one __InstanceCreationEvent 1", "two __InstanceCreationEvent 1"}));
  EXPECT_EQ(events.size(), 2U);
}

TEST_F(EventEngineTest, SubscriptionsOnOneClassAndPeriodShareThePoll) {
  for (int i = 0; i < 100; ++i) {
    subscribe(
        "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
        "TargetInstance.Name='p" +
        std::to_string(i) + "'");
  }
  EXPECT_EQ(engine->polls(), 1U);
  const std::size_t before = processes->enumerations();
  add_process("1", "p7");
  pass(seconds(1));
  EXPECT_EQ(processes->enumerations(), before + 1);
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 2 WHERE TargetInstance ISA 'Win32_Process'");
  EXPECT_EQ(engine->polls(), 2U);
}

TEST_F(EventEngineTest, ARowThatEndsWhileItIsReadGivesItsDeletionAlone) {
  const auto row = add_process("1", "a");
  subscribe("SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'");
  processes->set(row, "Name", cim::Value());
  const auto brief = processes->add({{"Handle", "2"}});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceDeletionEvent 1"});
  processes->remove(row);
  processes->remove(brief);
  pass(seconds(2));
  EXPECT_EQ(take(), Texts{});
}

TEST_F(EventEngineTest, AKeyNarrowsTheEnumeration) {
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
      "TargetInstance.Name='Spool'");
  ASSERT_EQ(services->last_equalities().size(), 1U);
  EXPECT_EQ(*services->last_equalities()[0].constant.get_if<std::string>(), "Spool");
  const auto row = add_service("spool", "Running");
  const auto other = add_service("other", "Running");
  pass(seconds(1));
  services->set(row, "State", "Stopped");
  services->set(other, "State", "Stopped");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent spool"});
}

TEST_F(EventEngineTest, AnotherIdentityUnderTheSameKeyIsAnEndAndABeginning) {
  const auto row = add_process("1", "sh");
  subscribe("SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'");
  processes->set(row, "Name", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), (Texts{"__InstanceDeletionEvent 1", "__InstanceCreationEvent 1"}));
}

TEST_F(EventEngineTest, NullComparesAsUnknown) {
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
      "PreviousInstance.ProcessId<>5");
  const auto row = add_service("spool", "Running");
  pass(seconds(1));
  services->set(row, "ProcessId", std::uint64_t{6});  // from NULL: not different from 5
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{});
  services->set(row, "ProcessId", std::uint64_t{7});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent spool"});
}

TEST_F(EventEngineTest, EventsLookLikeWmis) {
  sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        for (const wmi::Property& p : event.properties()) seen.push_back(p.name);
        seen.push_back(text_of(event.get("__CLASS")) + ' ' + text_of(event.get("__SUPERCLASS")));
        seen.push_back("path " + text_of(event.get("__PATH")));
        seen.push_back("time " + text_of(event.get("TIME_CREATED")));
        seen.push_back("security " + text_of(event.get("SECURITY_DESCRIPTOR")));
        const wmi::Value target = event.get("targetinstance");
        const auto& instance = *target.get_if<std::shared_ptr<wmi::Object>>();
        try {
          instance->call("StartService", {});
        } catch (const Error& error) {
          seen.push_back(error.description());
        }
      },
      loop);
  subscribe("SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service'");
  const auto row = add_service("spool", "Running");
  pass(seconds(1));
  services->set(row, "State", "Stopped");
  pass(seconds(1));
  EXPECT_EQ(take(), (Texts{"PreviousInstance", "SECURITY_DESCRIPTOR", "TargetInstance", "TIME_CREATED",
                           "__InstanceModificationEvent __InstanceOperationEvent", "path Null",
                           "time 133000000000000000", "security Null", "Invalid method "}));
}

TEST_F(EventEngineTest, OnlySelectedPropertiesAreThere) {
  sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        seen.push_back(property(event, "TargetInstance", "State"));  // a dotted name brings the whole object
        try {
          static_cast<void>(event.get("TIME_CREATED"));
        } catch (const Error& error) {
          seen.push_back(error.description());
        }
      },
      loop);
  subscribe(
      "SELECT TargetInstance.Name FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA "
      "'Win32_Service'");
  add_service("spool", "Running");
  pass(seconds(1));
  EXPECT_EQ(take(), (Texts{"Running", "Not found "}));
}

}  // namespace
}  // namespace kvwmi::embedded
