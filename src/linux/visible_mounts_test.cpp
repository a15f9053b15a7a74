#include "linux/visible_mounts.h"

#include <gtest/gtest.h>

#include <string>

namespace kvwmi::ground {
namespace {

using Texts = std::vector<std::string>;

/// Source and place of each, and "?" for one that may hang.
Texts visible(const std::string& table) {
  const std::vector<parsers::Mount> mounts = parsers::parse_mountinfo(table);
  Texts texts;
  for (const auto& [mount, may_hang] : visible_mounts(mounts))
    texts.push_back(mount->source + " " + mount->mount_point + (may_hang ? "?" : ""));
  return texts;
}

std::string line(int number, int parent, const std::string& source, const std::string& place,
                 const std::string& type = "ext4") {
  return std::to_string(number) + " " + std::to_string(parent) + " 8:" + std::to_string(number) + " / " +
         place + " rw - " + type + " " + source + " rw\n";
}
const std::string kRoot = line(27, 1, "root", "/");

TEST(VisibleMounts, ComeInTheirOrder) {
  EXPECT_EQ(visible(kRoot + line(40, 27, "z", "/z") + line(41, 27, "a", "/a") + line(42, 40, "in", "/z/in")),
            (Texts{"root /", "z /z", "a /a", "in /z/in"}));
}

TEST(VisibleMounts, TheLastAtOnePlaceCoversTheOthers) {
  const std::string one = line(40, 27, "one", "/a");
  const std::string two = line(41, 40, "two", "/a");
  const std::string three = line(42, 41, "three", "/a");
  EXPECT_EQ(visible(kRoot + one + two + three), (Texts{"root /", "three /a"}));
  EXPECT_EQ(visible(kRoot + three + two + one), (Texts{"root /", "three /a"}))
      << "one that was moved there keeps its line";
}

TEST(VisibleMounts, AMountCoversAllThatLayInItsFolder) {
  const std::string below = line(40, 27, "below", "/mnt/a") + line(41, 40, "deep", "/mnt/a/b/c");
  const std::string cover = line(42, 27, "cover", "/mnt");
  EXPECT_EQ(visible(kRoot + below + cover), (Texts{"root /", "cover /mnt"}));
  EXPECT_EQ(visible(kRoot + below + cover + line(43, 42, "new", "/mnt/a")),
            (Texts{"root /", "cover /mnt", "new /mnt/a"}))
      << "what was mounted there afterwards is seen";
  EXPECT_EQ(visible(kRoot + below + line(42, 27, "beside", "/mn") + line(43, 27, "too", "/mnt/ab")),
            (Texts{"root /", "below /mnt/a", "deep /mnt/a/b/c", "beside /mn", "too /mnt/ab"}))
      << "a folder whose name only begins like that";
}

TEST(VisibleMounts, WhatIsMountedOverTheRootIsNotSeen) {
  EXPECT_EQ(visible(kRoot + line(40, 27, "home", "/home") + line(41, 27, "over", "/") +
                    line(42, 41, "lost", "/lost")),
            (Texts{"root /", "home /home"}));
}

TEST(VisibleMounts, InAChangedRootFolderTheRootIsNotListed) {
  EXPECT_EQ(visible(line(40, 27, "proc", "/proc") + line(41, 27, "a", "/a") + line(42, 41, "b", "/a/b")),
            (Texts{"proc /proc", "a /a", "b /a/b"}));
}

TEST(VisibleMounts, WhatLiesInOneThatMayHangMayHang) {
  EXPECT_EQ(visible(kRoot + line(40, 27, "far", "/far", "nfs4") + line(41, 40, "in", "/far/x/in") +
                    line(42, 41, "deep", "/far/x/in/deep") + line(43, 27, "farther", "/farther")),
            (Texts{"root /", "far /far?", "in /far/x/in?", "deep /far/x/in/deep?", "farther /farther"}));
  EXPECT_EQ(visible(kRoot + line(40, 27, "far", "/far", "fuse.sshfs") + line(41, 40, "near", "/far") +
                    line(42, 41, "in", "/far/in")),
            (Texts{"root /", "near /far", "in /far/in"}))
      << "no path leads through what is covered";
  EXPECT_EQ(visible(line(27, 1, "far", "/", "nfs") + line(40, 27, "a", "/a")), (Texts{"far /", "a /a"}));
}

TEST(VisibleMounts, ATableThatNamesItselfEnds) {
  EXPECT_EQ(visible(line(1, 1, "root", "/") + line(5, 6, "a", "/a") + line(6, 5, "b", "/a")),
            Texts{"root /"});
  EXPECT_EQ(visible(line(5, 6, "a", "/a") + line(6, 5, "b", "/a")), Texts{"a /a"});
  EXPECT_EQ(visible(line(1, 1, "root", "/") + line(2, 1, "a", "/a") + line(2, 2, "b", "/a")),
            (Texts{"root /", "b /a"}));
}

}  // namespace
}  // namespace kvwmi::ground
