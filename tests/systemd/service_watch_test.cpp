// Watches of real units through the engine and the thread's loop. Runs inside a systemd of its own
// (in_systemd).
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/command.h"
#include "support/load_process.h"
#include "support/own_name.h"
#include "support/watched_machine.h"
#include "support/watching.h"

namespace kvwmi::tests {
namespace {

constexpr std::int32_t kStep = Watching::kStep;
constexpr std::int32_t kService = 1;
constexpr std::int32_t kProcess = 2;
constexpr const char* kDisplayName = "KVWMI Watched Service";

void run(const std::string& line) {
  ASSERT_EQ(run_shell(line).status, 0) << line;
}

/// A unit that does not run yet.
class ServiceWatch : public ::testing::Test {
 protected:
  void SetUp() override {
    std::ofstream("/run/systemd/system/kvwmi-watched.service")
        << "[Unit]\nDescription=" << kDisplayName << "\n[Service]\nExecStart=/bin/sleep infinity\n";
    run("systemctl daemon-reload");
  }
  void TearDown() override { run_shell("systemctl stop kvwmi-watched.service"); }
};

TEST_F(ServiceWatch, AUnitThatStartsAndStopsArrivesOnceEachInTime) {
  constexpr std::int32_t kStarts = 1, kStops = 2, kPeriod = WatchedMachine::kPeriod;
  WatchedMachine machine;
  Supervision& watches = machine.supervision;
  EXPECT_EQ(watches.m_SuperviseService(WatchedMachine::kStep, kStarts, kDisplayName, true, false, kPeriod),
            0);
  EXPECT_EQ(watches.m_SuperviseService(WatchedMachine::kStep, kStops, kDisplayName, false, true, kPeriod), 0);
  machine.expect_each_in_time({
      {"a unit starts", [] { run("systemctl start kvwmi-watched.service"); }, kStarts},
      {"a unit stops", [] { run("systemctl stop kvwmi-watched.service"); }, kStops},
  });
}

TEST_F(ServiceWatch, ARestartOfTheBusLeavesOtherWatchesWorkingAndItselfRecovers) {
  const std::string program = own_name("bus");
  Watching watching;
  // Two more looks must find nothing new.
  const auto expect_no_more_than = [&](const Records& expected) {
    watching.pass_polls();
    EXPECT_EQ(watching.records, expected);
  };
  EXPECT_EQ(watching.supervision.m_SuperviseService(kStep, kService, kDisplayName, true, true, 1), 0);
  EXPECT_EQ(watching.supervision.m_SuperviseProcess(kStep, kProcess, program, true, false, 1), 0);

  run("systemctl stop dbus.socket dbus.service");
  const LoadProcess process(program, 1, LoadProcess::Work::idle);
  ASSERT_TRUE(watching.next()) << "without a bus, processes are still seen";
  expect_no_more_than({{kProcess, ""}});

  run("systemctl start kvwmi-watched.service");  // over the service manager's own socket
  expect_no_more_than({{kProcess, ""}});
  run("systemctl start dbus.socket");
  ASSERT_TRUE(watching.next()) << "with the bus back, what changed meanwhile is told";
  expect_no_more_than({{kProcess, ""}, {kService, ""}});
  run("systemctl stop kvwmi-watched.service");
  ASSERT_TRUE(watching.next());
  expect_no_more_than({{kProcess, ""}, {kService, ""}, {kService, ""}});
}

}  // namespace
}  // namespace kvwmi::tests
