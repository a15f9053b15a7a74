// What the tests of running agents stand on.
#include "support/running_agent.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace kvwmi::tests {
namespace {

using namespace std::chrono_literals;

TEST(RunningAgent, GivesLinesAndAnEmptyOneAtTheEnd) {
  RunningAgent agent({"printf", "one\\n\\ntwo\\nrest"});
  for (const char* expected : {"one", "", "two", "rest", ""}) EXPECT_EQ(agent.line(), expected);
}

TEST(RunningAgent, FailsWhereNoLineComes) {
  RunningAgent agent({"sleep", "60"});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_NONFATAL_FAILURE(agent.line(50ms), "no line came in time");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
}

TEST(RunningAgent, ItsOutputIsNotHandedOn) {
  const auto descriptors = [] { return RunningAgent({"sh", "-c", "ls /proc/self/fd | wc -l"}).line(); };
  const std::string before = descriptors();
  const RunningAgent agent({"sleep", "60"});
  EXPECT_EQ(descriptors(), before);
}

}  // namespace
}  // namespace kvwmi::tests
