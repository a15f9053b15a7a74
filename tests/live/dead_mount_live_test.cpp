// A file system that nobody answers for any more: a mount of its own in a private mount namespace, so that
// nothing else on the machine sees it. The tests stand in one program and nothing is shared with others, for
// the whole process enters the namespace.
#include <gtest/gtest.h>
#include <kvwmi/error.h>
#include <kvwmi/wmi_session.h>
#include <sched.h>
#include <sys/mount.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "frame/testing/eventually.h"
#include "live/fuse_folder.h"
#include "support/further_polls.h"
#include "support/watching.h"

namespace kvwmi::tests {
namespace {

using namespace std::chrono_literals;

/// How long a file system is waited for, and room for a busy machine.
constexpr auto kAnswerLimit = 2s;
constexpr auto kAtOnce = 1500ms;

/// Ends a hang of the test itself, which then fails by its times.
class Watchdog {
 public:
  explicit Watchdog(std::string folder)
      : thread_([this, folder = std::move(folder)] {
          std::unique_lock lock(mutex_);
          if (!ended_.wait_for(lock, 60s, [&] { return done_; })) ::umount2(folder.c_str(), MNT_FORCE);
        }) {}
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog() {
    {
      const std::lock_guard lock(mutex_);
      done_ = true;
    }
    ended_.notify_all();
    thread_.join();
  }

 private:
  std::mutex mutex_;
  std::condition_variable ended_;
  bool done_ = false;
  std::thread thread_;
};

class DeadMount : public ::testing::Test {
 protected:
  void SetUp() override {
    static const std::string refused = enter_namespace();
    if (!refused.empty()) GTEST_SKIP() << "no private mount namespace: " << refused;
    for (const std::string& folder : {remote_, part_, disk_}) std::filesystem::create_directories(folder);
    try {
      fuse_.emplace(remote_);
    } catch (const std::system_error& failure) {
      GTEST_SKIP() << failure.what();
    }
    // A part of it, mounted by itself: whether that is a folder only the file system could tell.
    ASSERT_EQ(::mount((remote_ + "/sub").c_str(), part_.c_str(), nullptr, MS_BIND, nullptr), 0);
  }
  void TearDown() override {
    fuse_.reset();
    for (const std::string& folder : {part_, remote_, disk_}) ::umount2(folder.c_str(), MNT_DETACH);
    std::error_code ignored;
    std::filesystem::remove_all(base_, ignored);
  }

  /// Once for all tests; says why it failed.
  static std::string enter_namespace() {
    const bool entered = ::unshare(CLONE_NEWNS) == 0 &&
                         ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         // Letters that are given here are nobody else's.
                         ::mount("kvwmi-test", "/var/lib", "tmpfs", 0, nullptr) == 0;
    return entered ? "" : std::generic_category().message(errno);
  }

  static std::string text_of(const WmiObject& object, const std::string& property) {
    for (const WmiProperty& p : object.properties) {
      const auto* text = p.value.get_if<std::string>();
      if (p.name == property && text != nullptr) return *text;
    }
    return "";
  }
  /// One property of the drives by their mount points.
  static std::map<std::string, std::string> drives(const std::string& property) {
    std::map<std::string, std::string> found;
    WmiSession session;
    for (const WmiObject& disk : session.query("SELECT Purpose, " + property + " FROM Win32_LogicalDisk"))
      found[text_of(disk, "Purpose")] = text_of(disk, property);
    return found;
  }
  static std::string free_space(const std::string& letter) {
    WmiSession session;
    const auto disks =
        session.query("SELECT FreeSpace FROM Win32_LogicalDisk WHERE DeviceID='" + letter + "'");
    return text_of(disks.at(0), "FreeSpace");
  }
  template <typename Work>
  static std::chrono::milliseconds duration(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
  }
  /// How long it takes to learn that the drive does not answer.
  static std::chrono::milliseconds refusal(const std::string& letter) {
    return duration([&] {
      try {
        ADD_FAILURE() << "answered " << free_space(letter);
      } catch (const Error& error) {
        EXPECT_EQ(error.description(), "Provider failure ");
      }
    });
  }

  const std::string base_ =
      std::filesystem::temp_directory_path() / ("kvwmi-dead-" + std::to_string(::getpid()));
  const std::string remote_ = base_ + "/remote";
  const std::string part_ = base_ + "/some-of-it";
  const std::string disk_ = base_ + "/disk";
  std::optional<FuseFolder> fuse_;
};

/// A watch for less than 16 megabytes of free space.
class LowSpaceWatch {
 public:
  static constexpr std::uint64_t kLess = 14ULL << 20U;

  explicit LowSpaceWatch(const std::string& letter) {
    EXPECT_EQ(watching_.supervision.m_SuperviseDiskFreeSpace(Watching::kStep, 5, letter, 2,
                                                             Currency::from_integer(16), 2, 1),
              0);
  }

  /// The detail of the next record within `limit`; empty where none comes.
  std::string next_detail(std::chrono::milliseconds limit) {
    const auto record = watching_.next(limit);
    return record ? record->second : "";
  }
  static std::string expected_detail() { return "Value: " + std::to_string(kLess) + " Bytes"; }

 private:
  Watching watching_;
};

TEST_F(DeadMount, HoldsUpNothingElseAndRecoversWhenItIsMountedAgain) {
  const std::string dead = drives("DeviceID").at(remote_);
  ASSERT_EQ(free_space(dead), std::to_string(FuseFolder::kFree)) << "as long as it lives, it answers";

  fuse_->fall_silent();
  const Watchdog watchdog(remote_);
  // A new mount makes the whole table be read again while the dead one is there.
  FuseFolder other(disk_);
  std::string disk;
  EXPECT_LT(duration([&] { disk = drives("DeviceID").at(disk_); }), kAtOnce);
  EXPECT_EQ(drives("DeviceID").at(remote_), dead) << "it is there still, under its letter";

  EXPECT_LT(duration([&] { EXPECT_NE(free_space("C:"), ""); }), kAtOnce);
  EXPECT_LT(refusal(dead), kAnswerLimit + kAtOnce);
  EXPECT_LT(refusal(dead), kAtOnce) << "who asks again while the first question hangs is told at once";
  EXPECT_LT(duration([&] { EXPECT_NE(free_space("C:"), ""); }), kAtOnce);
  EXPECT_LT(duration([&] {
              WmiSession session;
              const auto me = session.query("SELECT ExecutablePath FROM Win32_Process WHERE ProcessId=" +
                                            std::to_string(::getpid()));
              ASSERT_EQ(me.size(), 1U);
            }),
            kAtOnce)
      << "paths of programs need the drives";

  // A watch of another disk arrives in its time: a period of one second, and room for a busy machine.
  LowSpaceWatch watch(disk);
  other.set_free(LowSpaceWatch::kLess);
  EXPECT_EQ(watch.next_detail(1s + kAtOnce), LowSpaceWatch::expected_detail());

  // Unmounted by force, who waits is told, and the drive is gone.
  ASSERT_TRUE(
      testing::eventually([&] { return ::umount2(part_.c_str(), MNT_FORCE) == 0 || errno == EINVAL; }));
  ASSERT_TRUE(
      testing::eventually([&] { return ::umount2(remote_.c_str(), MNT_FORCE) == 0 || errno == EINVAL; }));
  EXPECT_FALSE(drives("DeviceID").contains(remote_));

  // Mounted again it has its letter and answers.
  fuse_.reset();
  fuse_.emplace(remote_);
  EXPECT_EQ(drives("DeviceID").at(remote_), dead);
  EXPECT_EQ(free_space(dead), std::to_string(FuseFolder::kFree));
  EXPECT_EQ(drives("FreeSpace").at(remote_), std::to_string(FuseFolder::kFree));
}

TEST_F(DeadMount, AWatchOfItIsSilentAndRecoversByItself) {
  LowSpaceWatch watch(drives("DeviceID").at(remote_));
  FurtherPolls other_watches;
  other_watches.pass();

  fuse_->fall_silent();
  const Watchdog watchdog(remote_);
  fuse_->set_free(LowSpaceWatch::kLess);
  other_watches.pass(4);  // beyond the time for which the drive is waited for
  EXPECT_EQ(watch.next_detail(0ms), "");
  fuse_->answer_again();
  EXPECT_EQ(watch.next_detail(1s + kAtOnce), LowSpaceWatch::expected_detail());

  // Mounted anew it is the same drive, once it has been seen with more than that.
  ASSERT_TRUE(testing::eventually([&] { return ::umount2(part_.c_str(), 0) == 0 || errno == EINVAL; }));
  ASSERT_TRUE(testing::eventually([&] { return ::umount2(remote_.c_str(), 0) == 0 || errno == EINVAL; }));
  fuse_.reset();
  other_watches.pass();
  fuse_.emplace(remote_);
  other_watches.pass();
  EXPECT_EQ(watch.next_detail(0ms), "");
  fuse_->set_free(LowSpaceWatch::kLess);
  EXPECT_EQ(watch.next_detail(1s + kAtOnce), LowSpaceWatch::expected_detail());
  other_watches.pass();
  EXPECT_EQ(watch.next_detail(0ms), "") << "each once";

  // One that has not answered yet since it was mounted counts from its first answer on.
  ASSERT_TRUE(testing::eventually([&] { return ::umount2(remote_.c_str(), 0) == 0 || errno == EINVAL; }));
  fuse_.reset();
  other_watches.pass();
  fuse_.emplace(remote_);
  fuse_->fall_silent();
  other_watches.pass(4);
  fuse_->answer_again();
  other_watches.pass();
  EXPECT_EQ(watch.next_detail(0ms), "");
  fuse_->set_free(LowSpaceWatch::kLess);
  EXPECT_EQ(watch.next_detail(1s + kAtOnce), LowSpaceWatch::expected_detail());
}

}  // namespace
}  // namespace kvwmi::tests
