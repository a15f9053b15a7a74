// kvwmi watch of everything that can be made to happen here, as JSON: each change is one line with its exact
// detail. Services have theirs in tests/systemd.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "linux/testing/display.h"
#include "support/command.h"
#include "support/load_process.h"
#include "support/loop_disk.h"
#include "support/machine_figures.h"
#include "support/network_namespace.h"
#include "support/own_folder.h"
#include "support/running_agent.h"

namespace kvwmi::tests {
namespace {

namespace fs = std::filesystem;

/// `kvwmi watch` with these words; the time ends the agent, and the reading of its lines, where nothing
/// comes.
std::vector<std::string> watch(const std::vector<std::string>& words) {
  std::vector<std::string> command{KVWMI_AGENT, "watch"};
  command.insert(command.end(), words.begin(), words.end());
  command.insert(command.end(), {"--poll", "1", "--json", "--for", "60s"});
  return command;
}

void expect_disk_watch(const LoopDisk& disk, const std::string& name) {
  RunningAgent agent(watch({"disk", name, "--below", "16MB"}));
  ASSERT_TRUE(agent.watches());
  disk.fill(18);
  agent.expect_event("Value: " + std::to_string(disk.free_space()) + " Bytes");
  disk.empty();
  disk.fill(20);
  agent.expect_event("Value: " + std::to_string(disk.free_space()) + " Bytes");
  agent.expect_end();
  disk.empty();
}

TEST(WatchKinds, ADiskByItsMountPointAndByItsLetter) {
  const LoopDisk disk;
  if (!disk.mounted()) GTEST_SKIP() << "a loop device cannot be mounted here (needs root)";
  expect_disk_watch(disk, disk.mount_point());
  const auto answer = nlohmann::json::parse(
      run_shell(quoted(KVWMI_AGENT) +
                " query --json \"SELECT DeviceID FROM Win32_LogicalDisk WHERE Purpose='" +
                disk.mount_point().string() + "'\"")
          .out);
  expect_disk_watch(disk, answer.at(0).at("DeviceID"));

  const std::string folder = disk.mount_point() / "lost+found";
  const CommandResult refused =
      run_shell(quoted(KVWMI_AGENT) + " watch disk " + quoted(folder) + " --below 16MB 2>&1");
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.out, "kvwmi: " + folder + " is no drive of its own: its files are on " +
                             answer.at(0).at("DeviceID").get<std::string>() + "\n");
}

struct SizeCase {
  std::vector<std::string> words;
  std::vector<std::string> figures;  // of /proc/meminfo, their sum
};

TEST(WatchKinds, SizesOfMemoryAreTheMachines) {
  for (const SizeCase& c :
       {SizeCase{{"free-memory", "--above", "1KB"}, {"MemAvailable"}},
        SizeCase{{"free-virtual-memory", "--above", "1KB"}, {"MemAvailable", "SwapFree"}},
        SizeCase{{"free-paging", "--not-below", "0KB"}, {"SwapFree"}}}) {  // 0 where there is no swap
    SCOPED_TRACE(c.words.front());
    RunningAgent agent(watch(c.words));
    ASSERT_TRUE(agent.watches());
    // Something must change, and an idle machine may do nothing.
    const LoadProcess load("kvwmi-kinds-" + std::to_string(getpid()), 50, LoadProcess::Work::idle);
    expect_size(agent.detail(), c.figures);
    EXPECT_EQ(agent.stop(SIGINT), 0);
  }
}

TEST(WatchKinds, TheProcessorsLoadIsTheMachines) {
  RunningAgent agent(watch({"processor-load", "--not-below", "90%"}));
  ASSERT_TRUE(agent.watches());
  const BusyMachine busy("kvwmi-kinds-" + std::to_string(getpid()));
  if (!agent.has_line(std::chrono::seconds(10))) {
    const CommandResult load = run_shell(quoted(KVWMI_AGENT) + " check processor-load");
    ASSERT_EQ(load.out, "processor-load: 100 %\n") << "the load could change, but no change arrived";
    GTEST_SKIP() << "this machine was fully loaded all the time, so its load did not change";
  }
  busy.expect_load(agent.detail());
  EXPECT_EQ(agent.stop(SIGINT), 0);
}

TEST(WatchKinds, AWindow) {
  if (!testing::installed("Xvfb")) GTEST_SKIP() << "Xvfb is not installed";
  const testing::Display display;
  RunningAgent agent(watch({"window", "A watched window"}));
  ASSERT_TRUE(agent.watches());
  std::optional<testing::TestWindow> window("A watched window");
  agent.expect_event("");
  window.reset();
  agent.expect_event("");
  agent.expect_end();
}

TEST(WatchKinds, Addresses) {
  const NetworkNamespace network;
  if (!network.entered()) GTEST_SKIP() << "no network namespace can be made here (needs root)";
  const OwnFolder folder;
  const std::string definition = folder.path() / "definition";
  std::ofstream(definition) << "KVIPAddress definition 1\nnear 10.1.0.1\n";
  network.ip("address add 10.1.0.1/24 dev near");
  RunningAgent agent(watch({"ip-address", definition, "--filter", "near"}));
  ASSERT_TRUE(agent.watches());
  network.ip("address add 10.1.0.2/24 dev near");
  agent.expect_event("");
  network.ip("address del 10.1.0.1/24 dev near");
  agent.expect_event("");
  agent.expect_end();
}

TEST(WatchKinds, NetworkInterfaces) {
  const NetworkNamespace network;
  if (!network.entered()) GTEST_SKIP() << "no network namespace can be made here (needs root)";
  const OwnFolder folder;
  const fs::path state = folder.path() / "state";
  RunningAgent agent(watch({"network-interfaces", state}));
  std::error_code none;
  ASSERT_TRUE(testing::eventually([&] { return fs::file_size(state, none) > 0 && !none; }))
      << "the first look only records the state";
  network.ip("link set near up");
  agent.expect_event("");
  network.ip("link set near down");
  agent.expect_event("");
  agent.expect_end();
  EXPECT_FALSE(fs::exists(state));
}

// On a recorded laptop, whose power supplies the agent sees in place of the machine's.
TEST(WatchKinds, Power) {
  const fs::path recorded = fs::path(KVWMI_ROOT) / "src/linux/testdata/laptop/sys/class/power_supply";
  const std::string supplies = "/sys/class/power_supply";
  if (run_shell("unshare --mount mount --bind " + quoted(recorded) + " " + supplies + " 2>&1").status != 0) {
    GTEST_SKIP() << "nothing can be mounted on " << supplies
                 << " (needs root and a kernel with power supplies)";
  }
  const OwnFolder folder;
  const fs::path machine = folder.path() / "power_supply";
  fs::copy(recorded, machine, fs::copy_options::recursive);
  const auto plug = [&](const char* online) {
    std::ofstream(folder.path() / "online") << online << "\n";
    fs::rename(folder.path() / "online", machine / "AC/online");
  };
  plug("1");
  const auto on_the_laptop = [&](const std::vector<std::string>& command) {
    std::vector<std::string> result{
        "unshare", "--mount", "sh", "-c", "mount --bind \"$0\" " + supplies + " && exec \"$@\"", machine};
    result.insert(result.end(), command.begin(), command.end());
    return result;
  };
  RunningAgent both(on_the_laptop(watch({"power"})));
  ASSERT_TRUE(both.watches());
  plug("0");
  both.expect_event("");
  plug("1");
  both.expect_event("");
  both.expect_end();

  RunningAgent battery(on_the_laptop(watch({"power", "--battery"})));
  ASSERT_TRUE(battery.watches());
  plug("0");
  battery.expect_event("");
  battery.expect_end();
}

}  // namespace
}  // namespace kvwmi::tests
