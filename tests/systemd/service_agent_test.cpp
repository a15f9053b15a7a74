// kvwmi watch service on a real unit. Runs inside a systemd of its own (in_systemd).
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/command.h"
#include "support/running_agent.h"

namespace kvwmi::tests {
namespace {

void run(const std::string& line) {
  ASSERT_EQ(run_shell(line).status, 0) << line;
}

TEST(ServiceAgent, AUnitThatStartsAndStopsIsOneLineEach) {
  std::ofstream("/run/systemd/system/kvwmi-told.service")
      << "[Unit]\nDescription=KVWMI Told Service\n[Service]\nExecStart=/bin/sleep infinity\n";
  run("systemctl daemon-reload");
  const auto watch = [](const std::vector<std::string>& options) {
    std::vector<std::string> command{KVWMI_AGENT, "watch", "service", "KVWMI Told Service", "--poll", "1",
                                     "--json",    "--for", "60s"};
    command.insert(command.end(), options.begin(), options.end());
    return command;
  };
  RunningAgent both(watch({}));
  ASSERT_TRUE(both.watches());
  run("systemctl start kvwmi-told.service");
  both.expect_event("");
  run("systemctl stop kvwmi-told.service");
  both.expect_event("");
  run("systemctl start kvwmi-told.service");
  both.expect_event("");
  both.expect_end();

  RunningAgent stop(watch({"--stop"}));
  ASSERT_TRUE(stop.watches());
  run("systemctl stop kvwmi-told.service");
  stop.expect_event("");
  stop.expect_end();
}

}  // namespace
}  // namespace kvwmi::tests
