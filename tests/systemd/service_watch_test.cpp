// Watches of real units through the engine and the thread's loop. Runs inside a systemd of its own
// (in_systemd).
#include <gtest/gtest.h>
#include <kvwmi/message_loop.h>
#include <kvwmi/named_event.h>
#include <kvwmi/supervision.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "support/command.h"
#include "support/further_polls.h"
#include "support/load_process.h"
#include "support/watched_machine.h"

namespace kvwmi::tests {
namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kStep = 4;
constexpr std::int32_t kService = 1;
constexpr std::int32_t kProcess = 2;
constexpr const char* kDisplayName = "KVWMI Watched Service";

void run(const std::string& line) {
  ASSERT_EQ(run_shell(line).status, 0) << line;
}

/// An initialised engine over a unit that does not run yet.
class ServiceWatch : public ::testing::Test {
 protected:
  using Records = std::vector<std::pair<std::int32_t, std::string>>;

  std::string event_name = "kvwmi-service-watch-" + std::to_string(::getpid());
  NamedEvent event{event_name, NamedEvent::Reset::automatic};
  Supervision supervision;
  Records records;

  void SetUp() override {
    std::ofstream("/run/systemd/system/kvwmi-watched.service")
        << "[Unit]\nDescription=" << kDisplayName << "\n[Service]\nExecStart=/bin/sleep infinity\n";
    run("systemctl daemon-reload");
    supervision.p_strSupervisionEventName(event_name);
    supervision.m_Initialize();
  }
  void TearDown() override {
    supervision.m_Release();
    run_shell("systemctl stop kvwmi-watched.service");
  }

  void drain() {
    for (;;) {
      std::pair<std::int32_t, std::string> record;
      supervision.m_PopEventInfos(kStep, record.first, record.second);
      if (record.first == 0) return;
      records.push_back(record);
    }
  }
  /// Whether so many records in all have arrived, each with the event set.
  [[nodiscard]] bool wait_for_records(std::size_t count, std::chrono::milliseconds limit = 10s) {
    return message_loop::run_until(
        [&] {
          if (event.wait(0ms)) drain();
          return records.size() >= count;
        },
        limit);
  }
  /// Two more looks must find nothing new.
  void expect_no_more_than(const Records& expected) {
    FurtherPolls().pass();
    drain();
    EXPECT_EQ(records, expected);
  }
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
  const std::string program = "kvw-bus-" + std::to_string(::getpid() % 10000);
  EXPECT_EQ(supervision.m_SuperviseService(kStep, kService, kDisplayName, true, true, 1), 0);
  EXPECT_EQ(supervision.m_SuperviseProcess(kStep, kProcess, program, true, false, 1), 0);

  run("systemctl stop dbus.socket dbus.service");
  const LoadProcess process(program, 1, LoadProcess::Work::idle);
  ASSERT_TRUE(wait_for_records(1)) << "without a bus, processes are still seen";
  expect_no_more_than({{kProcess, ""}});

  run("systemctl start kvwmi-watched.service");  // over the service manager's own socket
  expect_no_more_than({{kProcess, ""}});
  run("systemctl start dbus.socket");
  ASSERT_TRUE(wait_for_records(2, 20s)) << "with the bus back, what changed meanwhile is told";
  expect_no_more_than({{kProcess, ""}, {kService, ""}});
  run("systemctl stop kvwmi-watched.service");
  ASSERT_TRUE(wait_for_records(3, 20s));
  expect_no_more_than({{kProcess, ""}, {kService, ""}, {kService, ""}});
}

}  // namespace
}  // namespace kvwmi::tests
