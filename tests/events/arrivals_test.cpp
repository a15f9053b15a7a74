// What happens on this machine arrives at an agent: once each, with its exact detail, in time, and the named
// event is seen by another process. Services have theirs in tests/systemd.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <kvwmi/codes.h>
#include <kvwmi/message_loop.h>
#include <kvwmi/wmi_session.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "linux/providers/process_events.h"
#include "linux/testing/child.h"
#include "linux/testing/display.h"
#include "support/load_process.h"
#include "support/loop_disk.h"
#include "support/network_namespace.h"
#include "support/own_folder.h"
#include "support/watched_machine.h"

namespace kvwmi::tests {
namespace {

namespace fs = std::filesystem;

constexpr std::int32_t kStep = WatchedMachine::kStep;
constexpr std::int32_t kPeriod = WatchedMachine::kPeriod;
constexpr std::int32_t kFirst = 1;
constexpr std::int32_t kSecond = 2;

TEST(Arrivals, AProcessThatStartsAndEnds) {
  const std::string name = "kvw-arrives-" + std::to_string(getpid() % 1000);
  WatchedMachine machine;
  EXPECT_EQ(machine.supervision.m_SuperviseProcess(kStep, kFirst, name, true, false, kPeriod), 0);
  EXPECT_EQ(machine.supervision.m_SuperviseProcess(kStep, kSecond, name, false, true, kPeriod), 0);
  std::optional<LoadProcess> process;
  machine.expect_each_in_time({
      {"a process starts", [&] { process.emplace(name, 1, LoadProcess::Work::idle); }, kFirst},
      {"a process ends", [&] { process.reset(); }, kSecond},
  });
}

/// A shell that executes a program of that name when it is told to, long after its fork.
class LateProgram {
 public:
  explicit LateProgram(const std::string& name) {
    std::filesystem::create_symlink("/bin/sleep", folder_.path() / name);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    tell_ = ends[1];
    const std::string in = "/proc/self/fd/" + std::to_string(ends[0]);
    const std::string program = folder_.path() / name;
    shell_.emplace(std::vector<std::string>{"sh", "-c", "read x <" + in + "; exec " + program + " infinity"},
                   ends[0]);
    close(ends[0]);
  }
  ~LateProgram() { close(tell_); }
  LateProgram(const LateProgram&) = delete;
  LateProgram& operator=(const LateProgram&) = delete;

  void execute() const { EXPECT_EQ(write(tell_, "x\n", 2), 2); }
  void end() { shell_.reset(); }

 private:
  OwnFolder folder_;
  int tell_ = -1;
  std::optional<testing::Child> shell_;
};

// For which nothing is forked. On a machine that does nothing else the polls do not look then.
TEST(Arrivals, AProgramThatAnOldProcessExecutes) {
  const ground::Machine local;
  if (!ground::providers::ProcessEvents(local).count())
    GTEST_SKIP() << "the kernel tells this process of no process events";
  const std::string name = "kvw-l-" + std::to_string(getpid());
  WatchedMachine machine;
  std::deque<LateProgram> programs;
  constexpr int kTimes = 3;
  for (int i = 0; i < kTimes; ++i) programs.emplace_back(name);
  EXPECT_EQ(machine.supervision.m_SuperviseProcess(kStep, kFirst, name, true, false, kPeriod), 0);
  EXPECT_EQ(machine.supervision.m_SuperviseProcess(kStep, kSecond, name, false, true, kPeriod), 0);
  WatchedMachine::Clock::duration best = std::chrono::hours(1);
  while (!programs.empty()) {
    // The polls after a newcomer look in any case.
    message_loop::run_for(std::chrono::seconds(4));
    const auto took =
        machine.expect_once({"a program is executed", [&] { programs.front().execute(); }, kFirst});
    ASSERT_TRUE(took);
    EXPECT_LE(*took, WatchedMachine::kEachAtMost);
    best = std::min(best, *took);
    ASSERT_TRUE(machine.expect_once({"it ends", [&] { programs.pop_front(); }, kSecond}));
  }
  EXPECT_LE(best, WatchedMachine::kBestAtMost);
}

TEST(Arrivals, ADiskThatFillsUpAndIsEmptied) {
  const LoopDisk disk;
  if (!disk.mounted()) GTEST_SKIP() << "a loop device cannot be mounted here (needs root)";
  WmiSession session;
  const auto found = session.query("SELECT DeviceID FROM Win32_LogicalDisk WHERE Purpose='" +
                                   disk.mount_point().string() + "'");
  ASSERT_EQ(found.size(), 1U);
  const auto letter = *found[0].properties[0].value.get_if<std::string>();

  WatchedMachine machine;
  using namespace condition;
  using namespace unit;
  const Currency threshold = Currency::from_integer(16);
  EXPECT_EQ(machine.supervision.m_SuperviseDiskFreeSpace(kStep, kFirst, letter, kLess, threshold, kMegabytes,
                                                         kPeriod),
            0);
  EXPECT_EQ(machine.supervision.m_SuperviseDiskFreeSpace(kStep, kSecond, letter, kGreater, threshold,
                                                         kMegabytes, kPeriod),
            0);
  const auto free_space = [&] { return "Value: " + std::to_string(disk.free_space()) + " Bytes"; };
  machine.expect_each_in_time({
      {"a disk fills up", [&] { disk.fill(18); }, kFirst, free_space},
      {"a disk is emptied", [&] { disk.empty(); }, kSecond, free_space},
  });
}

TEST(Arrivals, AWindowThatOpensAndCloses) {
  if (!testing::installed("Xvfb")) GTEST_SKIP() << "Xvfb is not installed";
  const testing::Display display;
  WatchedMachine machine;
  const std::string title = "An arriving window";
  EXPECT_EQ(machine.supervision.m_SuperviseWindow(kStep, kFirst, title, true, false, kPeriod), 0);
  EXPECT_EQ(machine.supervision.m_SuperviseWindow(kStep, kSecond, title, false, true, kPeriod), 0);
  std::optional<testing::TestWindow> window;
  machine.expect_each_in_time({
      {"a window opens", [&] { window.emplace(title); }, kFirst},
      {"a window closes", [&] { window.reset(); }, kSecond},
  });
}

TEST(Arrivals, AnAddressThatComesAndGoes) {
  const NetworkNamespace network;
  if (!network.entered()) GTEST_SKIP() << "no network namespace can be made here (needs root)";
  const OwnFolder folder;
  const std::string nothing = folder.path() / "nothing";
  const std::string wanted = folder.path() / "wanted";
  std::ofstream(nothing) << "KVIPAddress definition 1\n";
  std::ofstream(wanted) << "KVIPAddress definition 1\nnear 10.1.0.1\n";
  WatchedMachine machine;
  Supervision& supervision = machine.supervision;
  EXPECT_EQ(supervision.m_SuperviseIPAddress(kStep, kFirst, nothing, "", true, false, kPeriod), 0);
  ASSERT_TRUE(machine.expect_once(
      {"an address is absent from the beginning",
       [&] {
         EXPECT_EQ(supervision.m_SuperviseIPAddress(kStep, kSecond, wanted, "", false, true, kPeriod), 0);
       },
       kSecond}));
  machine.expect_each_in_time({
      {"an address is added", [&] { network.ip("address add 10.1.0.1/24 dev near"); }, kFirst},
      {"an address is removed", [&] { network.ip("address del 10.1.0.1/24 dev near"); }, kSecond},
  });
}

TEST(Arrivals, ALinkThatGoesUpAndDown) {
  const NetworkNamespace network;
  if (!network.entered()) GTEST_SKIP() << "no network namespace can be made here (needs root)";
  const OwnFolder folder;
  const fs::path up = folder.path() / "up";
  const fs::path down = folder.path() / "down";
  {
    WatchedMachine machine;
    Supervision& supervision = machine.supervision;
    EXPECT_EQ(supervision.m_SuperviseNetworkInterfaces(kStep, kFirst, up, true, false, kPeriod), 0);
    EXPECT_EQ(supervision.m_SuperviseNetworkInterfaces(kStep, kSecond, down, false, true, kPeriod), 0);
    // The first look only records the state that there is.
    ASSERT_TRUE(WatchedMachine::run_until([&] { return fs::exists(up) && fs::exists(down); }));
    machine.expect_each_in_time({
        {"a link goes up", [&] { network.ip("link set near up"); }, kFirst},
        {"a link goes down", [&] { network.ip("link set near down"); }, kSecond},
    });
  }
  EXPECT_FALSE(fs::exists(up)) << "the engine's end deletes its records";
  EXPECT_FALSE(fs::exists(down));
}

}  // namespace
}  // namespace kvwmi::tests
