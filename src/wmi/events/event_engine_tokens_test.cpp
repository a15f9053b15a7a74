#include "wmi/events/event_engine.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "wmi/events/testing/engine_fixture.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::seconds;
using testing::EventEngineTest;
using testing::kProcessStarts;
using testing::Texts;

/// Looks at processes for a subscription, counted.
struct TokenTest : EventEngineTest {
  /// How many of the next polls, one a second, enumerate.
  std::size_t looks(int polls) {
    const std::size_t before = processes->enumerations();
    pass(seconds(polls));
    return processes->enumerations() - before;
  }
  /// For a look at everything there is, and the two that may follow it.
  void settle() { static_cast<void>(looks(3)); }
};

TEST_F(TokenTest, WithEverythingVouchedForNoPollLooksUntilSomethingChanges) {
  const auto row = add_process("1", "a");
  subscribe(kProcessStarts);
  settle();
  EXPECT_EQ(looks(30), 0U);
  processes->set(row, "WorkingSetSize", std::uint64_t{200});
  EXPECT_EQ(looks(10), 0U) << "nobody asks for that";
  add_process("2", "a");
  EXPECT_EQ(looks(1), 1U);
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 2"});
}

TEST_F(TokenTest, ANewNameThatIsVouchedForIsFoundAtTheNextPoll) {
  const auto row = add_process("1", "sh");
  subscribe(kProcessStarts);
  settle();
  EXPECT_EQ(looks(30), 0U);
  processes->set(row, "Name", "a");
  EXPECT_EQ(looks(1), 1U);
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
}

TEST_F(TokenTest, WhatGotItsNameBeforeASubscriptionIsNotNewToIt) {
  const auto row = add_process("1", "sh");
  subscribe(kProcessStarts, "first");
  settle();
  subscribe(kProcessStarts, "second");
  processes->set(row, "Name", "a");
  subscribe(kProcessStarts, "late");
  pass(seconds(3));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"first __InstanceCreationEvent 1", "second __InstanceCreationEvent 1"}));
}

TEST_F(TokenTest, WhereOnlyTheRowsAreVouchedForEveryTenthPollLooksForNewNames) {
  const auto row = add_process("1", "sh");
  processes->vouch_only_for({"Handle"});
  subscribe(kProcessStarts);
  settle();
  for (int polls = 0; looks(1) == 0; ++polls) ASSERT_LT(polls, 10);
  EXPECT_EQ(looks(9), 0U);
  EXPECT_EQ(looks(1), 1U);
  processes->set(row, "Name", "a");
  EXPECT_EQ(looks(9), 0U);
  EXPECT_EQ(take(), Texts{});
  EXPECT_EQ(looks(1), 1U);
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
}

TEST_F(TokenTest, TwoPollsAfterANewcomerLookForItsName) {
  for (const std::vector<std::string>& vouched : {Texts{"Handle"}, Texts{"Handle", "Name"}}) {
    processes->vouch_only_for(vouched);
    sink = make_sink();
    subscribe(kProcessStarts);
    settle();
    const auto row = add_process(vouched.back(), "sh");
    EXPECT_EQ(looks(1), 1U) << "it has come";
    EXPECT_EQ(looks(2), 2U);
    EXPECT_EQ(looks(1), 0U);
    processes->remove(row);
    settle();
  }
}

TEST_F(TokenTest, ACommonTokenOfRowsIsNotEnoughForOtherProperties) {
  const auto row = add_process("1", "a");
  processes->vouch_only_for({"Handle"});
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
      "TargetInstance.WorkingSetSize>500");
  settle();
  EXPECT_EQ(looks(5), 5U);
  processes->set(row, "WorkingSetSize", std::uint64_t{600});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent 1"});
}

}  // namespace
}  // namespace kvwmi::embedded
