// kvwmi watch on this machine.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "support/command.h"
#include "support/load_process.h"
#include "support/own_name.h"
#include "support/running_agent.h"

namespace kvwmi::tests {
namespace {

using namespace std::chrono_literals;

TEST(WatchCli, EventsArriveAsTheyHappenAndCtrlCStopsCleanly) {
  const std::string name = own_name("process");
  // The limit ends the agent, and with it the reading of its lines, where nothing arrives.
  RunningAgent agent({KVWMI_AGENT, "watch", "process", name, "--poll", "1", "--for", "25s"});
  EXPECT_EQ(agent.line(), "Watching process \"" + name + "\"");
  LoadProcess process(name, 1, LoadProcess::Work::idle);
  EXPECT_EQ(agent.line().substr(8), "  process \"" + name + "\"");
  process.end();
  EXPECT_EQ(agent.line().substr(8), "  process \"" + name + "\"");
  EXPECT_EQ(agent.stop(SIGINT), 0);
  EXPECT_EQ(agent.line(), "");
}

TEST(WatchCli, StopsWhenItsTimeIsUp) {
  const auto begin = std::chrono::steady_clock::now();
  const CommandResult result = run_shell(quoted(KVWMI_AGENT) + " watch process " + own_name("never") +
                                         " --if-undetected --for 1s --poll 1");
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.out.find("has not fired"), std::string::npos) << result.out;
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(took, 1s);
  EXPECT_LT(took, 5s);
}

/// How often the main thread has gone to sleep and been woken, or been taken off its processor.
long switches_of(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  long sum = 0;
  for (std::string line; std::getline(file, line);) {
    if (const auto at = line.find("ctxt_switches:"); at != std::string::npos)
      sum += std::stol(line.substr(at + 14));
  }
  return sum;
}

TEST(WatchCli, SleepsWhileNothingHappens) {
  RunningAgent agent({KVWMI_AGENT, "watch", "process", own_name("never"), "--poll", "60", "--for", "60s"});
  ASSERT_TRUE(agent.watches());
  const long before = switches_of(agent.pid());
  ASSERT_GT(before, 0);
  std::this_thread::sleep_for(3s);
  EXPECT_LE(switches_of(agent.pid()) - before, 3);
  EXPECT_EQ(agent.stop(SIGINT), 0);
}

}  // namespace
}  // namespace kvwmi::tests
