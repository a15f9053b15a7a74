// Mounts of this machine's own kernel that cover one another, in a private mount namespace: the tests stand
// in one program, for the whole process enters it.
#include <gtest/gtest.h>
#include <kvwmi/wmi_session.h>
#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>

#include "support/own_folder.h"

namespace kvwmi::tests {
namespace {

using Sizes = std::map<std::string, std::string>;

class CoveredMount : public ::testing::Test {
 protected:
  void SetUp() override {
    // Letters that are given here are nobody else's.
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("kvwmi-test", "/var/lib", "tmpfs", 0, nullptr) != 0) {
      GTEST_SKIP() << "no private mount namespace: " << std::generic_category().message(errno);
    }
    std::filesystem::create_directories(inner_);
  }
  void TearDown() override {
    for (const std::string& place : {outer_, outer_, inner_, inner_}) ::umount2(place.c_str(), MNT_DETACH);
  }

  static void mount_ram_disk(const std::string& place, const std::string& megabytes) {
    ASSERT_EQ(::mount("kvwmi-test", place.c_str(), "tmpfs", 0, ("size=" + megabytes + "M").c_str()), 0);
  }
  /// In megabytes, of the drives in the test's folder.
  [[nodiscard]] Sizes sizes() const {
    Sizes found;
    WmiSession session;
    for (const WmiObject& disk :
         session.query("SELECT Purpose, Size FROM Win32_LogicalDisk WHERE DriveType=6")) {
      std::map<std::string, std::string> texts;
      for (const WmiProperty& p : disk.properties) {
        if (const auto* text = p.value.get_if<std::string>()) texts[p.name] = *text;
      }
      if (texts["Purpose"].starts_with(outer_))
        found[texts["Purpose"]] = std::to_string(std::stoull(texts["Size"]) >> 20U);
    }
    return found;
  }

  OwnFolder folder_;
  const std::string outer_ = folder_.path() / "outer";
  const std::string inner_ = outer_ + "/inner";
};

TEST_F(CoveredMount, IsNoDriveAsLongAsItIsCovered) {
  mount_ram_disk(inner_, "4");
  EXPECT_EQ(sizes(), (Sizes{{inner_, "4"}}));
  mount_ram_disk(outer_, "8");
  EXPECT_EQ(sizes(), (Sizes{{outer_, "8"}}));
  std::filesystem::create_directory(inner_);
  EXPECT_EQ(sizes(), (Sizes{{outer_, "8"}})) << "a folder of that name is another folder";
  mount_ram_disk(inner_, "16");
  EXPECT_EQ(sizes(), (Sizes{{inner_, "16"}, {outer_, "8"}}));
  mount_ram_disk(inner_, "32");
  EXPECT_EQ(sizes(), (Sizes{{inner_, "32"}, {outer_, "8"}})) << "the last at one place";
  ASSERT_EQ(::umount2(outer_.c_str(), MNT_DETACH), 0);
  EXPECT_EQ(sizes(), (Sizes{{inner_, "4"}}));
}

TEST_F(CoveredMount, WhatIsMountedOverTheRootCoversNothing) {
  mount_ram_disk(inner_, "4");
  mount_ram_disk("/", "8");
  EXPECT_EQ(sizes(), (Sizes{{inner_, "4"}}));
}

}  // namespace
}  // namespace kvwmi::tests
