#include "agent/scenario_process.h"

#include <gtest/gtest.h>

#include <csignal>

#include "frame/testing/eventually.h"

namespace kvwmi::agent {
namespace {

#ifdef SIGCHLD
TEST(ScenarioProcessTest, OneThatTheSystemHasWaitedForHasEnded) {
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  {
    ScenarioProcess process({"true"});
    EXPECT_TRUE(testing::eventually([&] { return process.has_ended(); }));
  }
  std::signal(SIGCHLD, before);
}
#endif

}  // namespace
}  // namespace kvwmi::agent
