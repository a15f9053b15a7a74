// kvwmi watch and kvwmi run on this machine.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "support/command.h"
#include "support/load_process.h"
#include "support/running_agent.h"

namespace kvwmi::tests {
namespace {

using Json = nlohmann::ordered_json;
using namespace std::chrono_literals;

std::string own_name(const std::string& purpose) {
  return "kvwmi-cli-" + purpose + "-" + std::to_string(getpid());
}

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
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 1s);
}

TEST(RunCli, TheShippedScenarioMakesEveryEventArriveInTime) {
  const auto begin = std::chrono::steady_clock::now();
  const CommandResult result = run_shell(quoted(KVWMI_AGENT) + " run --json " +
                                         quoted(KVWMI_ROOT "/samples/scenario/first_look.json"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 20s);
  EXPECT_EQ(result.status, 0) << result.out;
  std::vector<std::pair<int, int>> arrived;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);) {
    const Json json = Json::parse(line);
    if (json.contains("supervision")) arrived.emplace_back(json["step"], json["supervision"]);
  }
  for (const std::pair<int, int>& expected :
       {std::pair{1, 1}, std::pair{1, 2}, std::pair{2, 1}, std::pair{3, 1}, std::pair{4, 1}}) {
    EXPECT_NE(std::find(arrived.begin(), arrived.end(), expected), arrived.end())
        << expected.first << "." << expected.second << "\n"
        << result.out;
  }
}

}  // namespace
}  // namespace kvwmi::tests
