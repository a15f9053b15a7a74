#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/vfs.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "kvwmi/message_loop.h"
#include "kvwmi/named_event.h"
#include "kvwmi/supervision.h"
#include "kvwmi/wmi_session.h"
#include "linux/testing/display.h"
#include "support/command.h"
#include "support/load_process.h"

namespace kvwmi {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using tests::LoadProcess;

// A watch with a period of one second has to arrive within that and 100 ms; on a machine that builds beside
// the tests, the loop and the polling thread may each wait for their turn.
constexpr milliseconds kPatience{1000 + 100 + 400};

struct WatchesTest : ::testing::Test {
  std::string event_name = "kvwmi-watches-" + std::to_string(::getpid());
  NamedEvent event{event_name, NamedEvent::Reset::automatic};
  Supervision engine;

  WatchesTest() {
    engine.p_strSupervisionEventName(event_name);
    engine.m_Initialize();
  }
  ~WatchesTest() override { engine.m_Release(); }

  struct Record {
    std::int32_t supervision = 0;
    std::string detail;
  };
  Record pop(std::int32_t step) {
    Record record;
    engine.m_PopEventInfos(step, record.supervision, record.detail);
    return record;
  }
  /// The next record of the step, which must have set the event.
  std::optional<Record> next(std::int32_t step, milliseconds patience = kPatience) {
    std::optional<Record> record;
    static_cast<void>(message_loop::run_until(
        [&] {
          if (Record popped = pop(step); popped.supervision != 0) record = popped;
          return record.has_value();
        },
        patience));
    if (record) {
      EXPECT_TRUE(event.wait(milliseconds(0))) << "the named event is set with the record";
    }
    return record;
  }
  bool quiet(std::int32_t step) {
    message_loop::run_for(milliseconds(1200));
    return pop(step).supervision == 0;
  }
};

TEST_F(WatchesTest, AProcessThatStartsAndEndsArrivesOnceEach) {
  const std::string name = "kvw-start-" + std::to_string(::getpid() % 10000);
  EXPECT_EQ(engine.m_SuperviseProcess(1, 10, name, true, false, 1), 0);
  EXPECT_EQ(engine.m_SuperviseProcess(1, 20, name, false, true, 1), 0);
  {
    const LoadProcess process(name, 1, LoadProcess::Work::idle);
    const auto started = next(1);
    ASSERT_TRUE(started);
    EXPECT_EQ(started->supervision, 10);
    EXPECT_EQ(started->detail, "");
    EXPECT_TRUE(quiet(1));
  }
  const auto ended = next(1);
  ASSERT_TRUE(ended);
  EXPECT_EQ(ended->supervision, 20);
  EXPECT_TRUE(quiet(1));
}

TEST_F(WatchesTest, AProcessThatRunsAlreadyIsNoStart) {
  const std::string name = "kvw-there-" + std::to_string(::getpid() % 10000);
  const LoadProcess process(name, 1, LoadProcess::Work::idle);
  EXPECT_EQ(engine.m_SuperviseProcess(1, 10, name, true, true, 1), 0);
  EXPECT_TRUE(quiet(1));
}

TEST_F(WatchesTest, AGroupCountsTheStarts) {
  const std::string name = "kvw-group-" + std::to_string(::getpid() % 10000);
  EXPECT_EQ(engine.m_SuperviseProcess(1, 10, name, true, false, 1, 2, 3), 0);
  {
    const LoadProcess one(name, 0, LoadProcess::Work::idle);
    EXPECT_FALSE(next(1, milliseconds(4000))) << "one is too few";
  }
  const LoadProcess one(name, 0, LoadProcess::Work::idle);
  const LoadProcess two(name, 0, LoadProcess::Work::idle);
  const LoadProcess three(name, 0, LoadProcess::Work::idle);
  const auto record = next(1, milliseconds(4500));
  ASSERT_TRUE(record);
  EXPECT_EQ(record->supervision, 10);
  EXPECT_TRUE(quiet(1));
}

TEST_F(WatchesTest, AProcessOverItsMemoryTellsItsSize) {
  const std::string name = "kvw-memory-" + std::to_string(::getpid() % 1000);
  EXPECT_EQ(engine.m_SuperviseProcessMemorySize(2, 7, name, 1, Currency::from_integer(10), 2, 1), 0);
  // Busy, so that its times change from poll to poll.
  const LoadProcess process(name, 20, LoadProcess::Work::busy);
  const auto record = next(2, milliseconds(2000) + kPatience);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->supervision, 7);
  ASSERT_TRUE(record->detail.starts_with("Value: ")) << record->detail;
  ASSERT_TRUE(record->detail.ends_with(" Bytes")) << record->detail;
  const double bytes = std::strtod(record->detail.c_str() + 7, nullptr);
  EXPECT_GT(bytes, 20.0 * 1024 * 1024);
  EXPECT_LT(bytes, 40.0 * 1024 * 1024);
}

TEST_F(WatchesTest, TheMachinesFreeMemoryIsBelowAllOfIt) {
  EXPECT_EQ(engine.m_SuperviseFreePhysicalMemorySize(3, 1, 2, Currency::from_integer(100), 4, 1), 0);
  const auto record = next(3, milliseconds(2000) + kPatience);
  ASSERT_TRUE(record);
  EXPECT_TRUE(record->detail.starts_with("Value: ") && record->detail.ends_with(" Kilobytes"))
      << record->detail;
}

/// A file system of its own in a file.
class Disk {
 public:
  Disk() {
    folder_ = std::filesystem::temp_directory_path() / ("kvwmi-disk-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder_ / "mount");
    const std::string image = (folder_ / "image").string();
    const std::string line = "truncate -s 32M " + image + " && mkfs.ext4 -q -F " + image +
                             " && mount -o loop " + image + " " + mount().string() + " 2>/dev/null";
    mounted_ = tests::run_shell(line).status == 0;
  }
  ~Disk() {
    if (mounted_) ::umount2(mount().c_str(), MNT_DETACH);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Disk(const Disk&) = delete;
  Disk& operator=(const Disk&) = delete;

  [[nodiscard]] bool mounted() const noexcept { return mounted_; }
  [[nodiscard]] std::filesystem::path mount() const { return folder_ / "mount"; }

 private:
  std::filesystem::path folder_;
  bool mounted_ = false;
};

TEST_F(WatchesTest, ADiskThatFillsUpTellsItsFreeSpace) {
  WmiSession session;
  const auto letters = [&] {
    std::vector<std::string> result;
    for (const WmiObject& disk : session.query("SELECT DeviceID FROM Win32_LogicalDisk WHERE DriveType=3")) {
      for (const WmiProperty& p : disk.properties) {
        if (p.name == "DeviceID") result.push_back(*p.value.get_if<std::string>());
      }
    }
    return result;
  };
  const auto before = letters();
  const Disk disk;
  if (!disk.mounted()) GTEST_SKIP() << "a loop device cannot be mounted here (needs root)";
  std::string letter;
  for (const std::string& candidate : letters()) {
    if (std::find(before.begin(), before.end(), candidate) == before.end()) letter = candidate;
  }
  ASSERT_FALSE(letter.empty());
  EXPECT_EQ(engine.m_SuperviseDiskFreeSpace(4, 5, letter, 2, Currency::from_integer(16), 2, 1), 0);
  EXPECT_TRUE(quiet(4)) << "there is more space yet";
  {
    std::ofstream file(disk.mount() / "data");
    const std::string megabyte(1U << 20U, 'x');
    for (int i = 0; i < 18; ++i) file << megabyte;
  }
  ::sync();
  const auto record = next(4, milliseconds(1000) + kPatience);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->supervision, 5);
  struct statfs state {};
  ASSERT_EQ(::statfs(disk.mount().c_str(), &state), 0);
  const double free = std::strtod(record->detail.c_str() + 7, nullptr);
  EXPECT_LT(free, 16.0 * 1024 * 1024);
  EXPECT_NEAR(free, static_cast<double>(state.f_bavail) * static_cast<double>(state.f_frsize),
              4.0 * 1024 * 1024);
}

TEST_F(WatchesTest, AWindowThatOpensAndCloses) {
  if (!testing::installed("Xvfb")) GTEST_SKIP() << "Xvfb is not installed";
  const testing::Display display;
  EXPECT_EQ(engine.m_SuperviseWindow(5, 3, "watched window", true, true, 1), 0);
  {
    const testing::TestWindow window("watched window");
    const auto opened = next(5, milliseconds(1000) + kPatience);
    ASSERT_TRUE(opened);
    EXPECT_EQ(opened->supervision, 3);
  }
  const auto closed = next(5, milliseconds(1000) + kPatience);
  ASSERT_TRUE(closed);
  EXPECT_EQ(closed->supervision, 3);
}

TEST_F(WatchesTest, AfterTheReleaseNothingArrivesAndTheQueueStays) {
  const std::string name = "kvw-release-" + std::to_string(::getpid() % 1000);
  EXPECT_EQ(engine.m_SuperviseProcess(1, 10, name, true, true, 1), 0);
  const LoadProcess first(name, 0, LoadProcess::Work::idle);
  EXPECT_TRUE(event.wait(milliseconds(0)) ||
              message_loop::run_until([&] { return event.wait(milliseconds(0)); }, kPatience));
  const LoadProcess second(name, 0, LoadProcess::Work::idle);
  engine.m_Release();
  message_loop::run_for(milliseconds(1200));
  EXPECT_EQ(pop(1).supervision, 10);
  EXPECT_EQ(pop(1).supervision, 0);
  engine.m_Initialize();
}

TEST_F(WatchesTest, EnginesComeAndGoAThousandTimes) {
  for (int i = 0; i < 1000; ++i) {
    Supervision other;
    other.m_Initialize();
    if (i % 10 == 0) {
      EXPECT_EQ(other.m_SuperviseProcess(1, 1, "nobody", true, true, 1), 0);
    }
    other.m_Release();
  }
}

}  // namespace
}  // namespace kvwmi
