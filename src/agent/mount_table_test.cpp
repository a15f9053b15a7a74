#include "agent/mount_table.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kvwmi::agent {
namespace {

constexpr const char* kMounts =
    "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n"
    "30 27 0:5 / /dev rw - devtmpfs devtmpfs rw\n"
    "41 27 254:2 /@home /home rw - btrfs /dev/vda2 rw\n"
    "42 27 254:2 /@srv /srv/my\\040files rw - btrfs /dev/vda2 rw\n"
    "43 41 0:44 / /home/covered rw - tmpfs tmpfs rw\n"
    "44 43 0:45 / /home/covered rw - tmpfs tmpfs rw\n";

std::string number(std::string_view path, const std::string& table = kMounts) {
  std::istringstream mounts(table);
  return file_system_of(path, mounts);
}

TEST(MountTableTest, TheDeepestMountHoldsAPath) {
  EXPECT_EQ(number("/"), "254:1");
  EXPECT_EQ(number("/etc/fstab"), "254:1");
  EXPECT_EQ(number("/home"), "254:2");
  EXPECT_EQ(number("/home/somebody"), "254:2");
  EXPECT_EQ(number("/homes"), "254:1");
  EXPECT_EQ(number("/dev/null"), "0:5");
}

TEST(MountTableTest, OfOnePointTheLastMountCovers) {
  EXPECT_EQ(number("/home/covered/file"), "0:45");
}

TEST(MountTableTest, BlanksInThePointAreEscaped) {
  EXPECT_EQ(number("/srv/my files/one"), "254:2");
  EXPECT_EQ(number("/srv/my"), "254:1");
}

TEST(MountTableTest, WhatIsNoEscapeStandsAsItIs) {
  for (const char* point : {"/a\\abc", "/a\\08x", "/a\\777", "/a\\-12", "/a\\+12", "/a\\04", "/a\\"}) {
    EXPECT_EQ(number(point, "1 1 8:1 / " + std::string(point) + " rw - ext4 /dev/sda1 rw\n"), "8:1") << point;
  }
}

TEST(MountTableTest, WhatIsNoTableTellsNothing) {
  for (const char* table : {"", "\n", "1 1 8:1\n", "1 1 8:1 /\n"})
    EXPECT_EQ(number("/a", table), "") << table;
}

}  // namespace
}  // namespace kvwmi::agent
