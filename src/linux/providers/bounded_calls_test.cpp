#include "linux/providers/bounded_calls.h"

#include <gtest/gtest.h>

#include <future>

#include "frame/testing/eventually.h"
#include "kvwmi/error.h"

namespace kvwmi::ground::providers {
namespace {

using namespace std::chrono_literals;

TEST(BoundedCalls, GiveWhatTheWorkGives) {
  BoundedCalls<int> calls(20s);
  EXPECT_EQ(calls.call("a", [] { return 7; }), 7);
  EXPECT_EQ(calls.call("a", [] { return 8; }), 8) << "asked again";
}

TEST(BoundedCalls, RaiseWhatTheWorkRaises) {
  BoundedCalls<int> calls(20s);
  const auto answer = [&](const std::function<int()>& work) {
    try {
      return std::to_string(calls.call("a", work));
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
  };
  EXPECT_EQ(answer([]() -> int { throw std::runtime_error("no descriptor"); }), "no descriptor");
  EXPECT_EQ(answer([] { return 7; }), "7") << "asked again";
}

TEST(BoundedCalls, WhatHangsFailsAndIsNotStartedTwice) {
  BoundedCalls<int> calls(20ms);
  auto release = std::make_shared<std::promise<void>>();
  auto finished = std::make_shared<std::promise<void>>();
  const std::shared_future<void> released = release->get_future().share();
  EXPECT_THROW(calls.call("dead",
                          [released, finished] {
                            released.wait();
                            finished->set_value();
                            return 1;
                          }),
               Error);
  EXPECT_THROW(calls.call("dead", [] { return 2; }), Error) << "the first one still hangs";
  release->set_value();
  ASSERT_EQ(finished->get_future().wait_for(20s), std::future_status::ready);
  // The hanging call has come back; its answer, late as it is, or a new one is given.
  EXPECT_TRUE(kvwmi::testing::eventually([&] {
    try {
      return calls.call("dead", [] { return 3; }) == 3;
    } catch (const Error&) {
      return false;
    }
  }));
}

TEST(BoundedCalls, OthersGoOnMeanwhile) {
  BoundedCalls<int> calls(20s);
  auto release = std::make_shared<std::promise<void>>();
  const std::shared_future<void> released = release->get_future().share();
  auto first = std::async(std::launch::async, [&] {
    return calls.call("slow", [released] {
      released.wait();
      return 1;
    });
  });
  EXPECT_EQ(calls.call("quick", [] { return 2; }), 2);
  release->set_value();
  EXPECT_EQ(first.get(), 1);
}

TEST(BoundedCalls, AnAnsweredCallIsKeptNoLongerThanToTheNextOne) {
  BoundedCalls<std::shared_ptr<int>> calls(20s);
  const auto answer = calls.call("gone for good", [] { return std::make_shared<int>(1); });
  calls.call("another", [] { return std::make_shared<int>(2); });
  EXPECT_TRUE(kvwmi::testing::eventually([&] { return answer.use_count() == 1; }));
}

}  // namespace
}  // namespace kvwmi::ground::providers
