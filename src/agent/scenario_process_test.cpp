#include "agent/scenario_process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace kvwmi::agent {
namespace {

using namespace std::chrono_literals;

#ifdef SIGCHLD
TEST(ScenarioProcessTest, OneThatTheSystemHasWaitedForHasEnded) {
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  {
    ScenarioProcess process({"true"});
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (!process.has_ended() && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(10ms);
    EXPECT_TRUE(process.has_ended());
  }
  std::signal(SIGCHLD, before);
}
#endif

}  // namespace
}  // namespace kvwmi::agent
