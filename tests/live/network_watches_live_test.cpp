// Watches of addresses and links through the engine, the thread's timer and the companion library, in a
// network namespace of each test's own.
#include <gtest/gtest.h>
#include <kvwmi/message_loop.h>
#include <kvwmi/named_event.h>
#include <kvwmi/supervision.h>
#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "support/command.h"

namespace kvwmi::tests {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr std::int32_t kStep = 3;

void ip(const std::string& arguments) {
  ASSERT_EQ(run_shell("ip " + arguments).status, 0) << "ip " << arguments;
}

class NetworkWatches : public ::testing::Test {
 protected:
  using Records = std::vector<std::pair<std::int32_t, std::string>>;

  fs::path folder;
  std::string file;
  std::string event_name = "kvwmi-network-watches-" + std::to_string(::getpid());
  NamedEvent event{event_name, NamedEvent::Reset::automatic};
  Records records;

  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root for a network namespace";
    if (::unshare(CLONE_NEWNET) != 0) GTEST_SKIP() << "no network namespace can be made here";
    std::string name = fs::temp_directory_path() / ("kvwmi-network-" + std::string(6, 'X'));
    ASSERT_NE(::mkdtemp(name.data()), nullptr);
    folder = name;
    file = folder / "file";
    ip("link add here type veth peer name there");
    ip("link set here up");
  }
  void TearDown() override {
    if (!folder.empty()) fs::remove_all(folder);
  }

  void drain(Supervision& supervision) {
    for (;;) {
      std::pair<std::int32_t, std::string> record;
      supervision.m_PopEventInfos(kStep, record.first, record.second);
      if (record.first == 0) return;
      records.push_back(record);
    }
  }
  /// Exactly `expected` is there in all: its last arrives with the event set, and then nothing more.
  void expect_records(Supervision& supervision, const Records& expected) {
    // The period, 100 ms, and room for a machine that has other things to do.
    EXPECT_TRUE(message_loop::run_until(
        [&] {
          if (event.wait(0ms)) drain(supervision);
          return records.size() >= expected.size();
        },
        1s + 100ms + 400ms));
    // Two more looks. What the test does next happens well between two, so that both ends of the pair change
    // before the same one.
    message_loop::run_for(2200ms);
    drain(supervision);
    EXPECT_EQ(records, expected);
  }
};

TEST_F(NetworkWatches, AnAddressThatComesAndOneThatGoesArriveOnceEach) {
  ip("address add 10.1.0.1/24 dev here");
  std::ofstream(file) << "KVIPAddress definition 1\nhere 10.1.0.1\n";
  Supervision supervision;
  supervision.p_strSupervisionEventName(event_name);
  supervision.m_Initialize();
  // Two watches of one file and filter would share what has been reported.
  EXPECT_EQ(supervision.m_SuperviseIPAddress(kStep, 1, file, "", true, false, 1), 0);
  EXPECT_EQ(supervision.m_SuperviseIPAddress(kStep, 2, file, "here", false, true, 1), 0);
  expect_records(supervision, {});
  ip("address add 10.1.0.2/24 dev here");
  expect_records(supervision, {{1, ""}});
  ip("address del 10.1.0.2/24 dev here");
  expect_records(supervision, {{1, ""}});
  ip("address del 10.1.0.1/24 dev here");
  expect_records(supervision, {{1, ""}, {2, ""}});
  supervision.m_Release();
}

TEST_F(NetworkWatches, ALinkThatGoesUpAndDownArrivesOnceEach) {
  {
    Supervision supervision;
    supervision.p_strSupervisionEventName(event_name);
    supervision.m_Initialize();
    const std::string other = folder / "other";
    EXPECT_EQ(supervision.m_SuperviseNetworkInterfaces(kStep, 1, file, true, false, 1), 0);
    EXPECT_EQ(supervision.m_SuperviseNetworkInterfaces(kStep, 2, other, false, true, 1), 0);
    expect_records(supervision, {});
    ip("link set there up");
    // Both ends of the pair become active, and between two looks that is one activation.
    expect_records(supervision, {{1, ""}});
    EXPECT_TRUE(fs::exists(file));
    ip("link set there down");
    expect_records(supervision, {{1, ""}, {2, ""}});
    supervision.m_Release();
  }
  EXPECT_FALSE(fs::exists(file)) << "the engine's end deletes its records";
  EXPECT_FALSE(fs::exists(folder / "other"));
}

}  // namespace
}  // namespace kvwmi::tests
