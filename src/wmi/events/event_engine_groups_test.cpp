#include "wmi/events/event_engine.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "wmi/events/testing/engine_fixture.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::seconds;
using testing::EventEngineTest;
using testing::Texts;

TEST_F(EventEngineTest, AGroupBeginsWithItsFirstEvent) {
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' GROUP WITHIN "
      "10",
      "ctx");
  pass(seconds(5));  // nothing happens: no group
  add_process("1", "a");
  pass(seconds(1));
  add_process("2", "a");
  add_process("3", "b");
  pass(seconds(8));
  EXPECT_EQ(take(), Texts{});
  pass(seconds(2));
  EXPECT_EQ(take(), Texts{"ctx __AggregateEvent x3 {__InstanceCreationEvent 1}"});
  pass(seconds(30));
  EXPECT_EQ(take(), Texts{}) << "no group without an event";
  add_process("4", "a");
  pass(seconds(11));
  EXPECT_EQ(take(), Texts{"ctx __AggregateEvent x1 {__InstanceCreationEvent 4}"});
}

TEST_F(EventEngineTest, HavingDiscardsSmallGroupsWithTheirCount) {
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' GROUP WITHIN "
      "5 "
      "HAVING NumberOfEvents>=2");
  add_process("1", "a");
  pass(seconds(8));
  EXPECT_EQ(take(), Texts{});
  add_process("2", "a");
  pass(seconds(8));
  EXPECT_EQ(take(), Texts{}) << "the discarded one does not count";
  add_process("3", "a");
  add_process("4", "a");
  pass(seconds(8));
  EXPECT_EQ(take(), Texts{"__AggregateEvent x2 {__InstanceCreationEvent 3}"});
}

TEST_F(EventEngineTest, ByMakesOneGroupForEachValue) {
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' GROUP WITHIN "
      "5 "
      "BY TargetInstance.Name");
  add_process("1", "a");
  add_process("2", "b");
  add_process("3", "A");  // texts are the same in any case
  pass(seconds(8));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"__AggregateEvent x2 {__InstanceCreationEvent 1}",
                                   "__AggregateEvent x1 {__InstanceCreationEvent 2}"}));
}

}  // namespace
}  // namespace kvwmi::embedded
