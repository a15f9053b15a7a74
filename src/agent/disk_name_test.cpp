#include "agent/disk_name.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "agent/usage_error.h"
#include "frame/testing/local_ground.h"

namespace kvwmi::agent {
namespace {

using testing::fake_local_ground;
using testing::FakeObject;
using testing::FakeWmi;

std::shared_ptr<FakeObject> disk(const char* letter, const char* mount_point, const char* kind,
                                 std::int32_t type) {
  return std::make_shared<FakeObject>(wmi::NamedValues{{"Description", wmi::Value(kind)},
                                                       {"DeviceID", wmi::Value(letter)},
                                                       {"DriveType", wmi::Value(type)},
                                                       {"Purpose", wmi::Value(mount_point)}});
}

class DiskName : public ::testing::Test {
 protected:
  DiskName() {
    fake_local_ground().wmi = FakeWmi();
    fake_local_ground().wmi.answer(
        "SELECT DeviceID, Purpose, Description, DriveType FROM Win32_LogicalDisk",
        {disk("C:", "/", "Local Fixed Disk", 3), disk("D:", "/home", "Local Fixed Disk", 3),
         disk("E:", "/media/stick", "Removable Disk", 2)});
  }
  static std::string complaint(const std::string& written) {
    try {
      return "taken for " + disk_name(written);
    } catch (const UsageError& error) {
      return error.what();
    }
  }
};

TEST_F(DiskName, ADriveStaysAsItIs) {
  for (const char* name : {"C:", "q:", "D", "C:\\Windows"}) EXPECT_EQ(disk_name(name), name);
  EXPECT_TRUE(fake_local_ground().wmi.queries.empty());
}

TEST_F(DiskName, WhatIsNeitherDriveNorPathIsRefused) {
  for (const std::string name : {"home", "home/", "./home", "", "1:", "\\\\server\\share", "é:"}) {
    EXPECT_EQ(complaint(name), "\"" + name + "\" is neither a drive such as C: nor a path such as /home");
  }
}

TEST_F(DiskName, AMountPointIsItsLetter) {
  EXPECT_EQ(disk_name("/"), "C:");
  EXPECT_EQ(disk_name("//"), "C:");
  EXPECT_EQ(disk_name("/home"), "D:");
  EXPECT_EQ(disk_name("/home/"), "D:");
  EXPECT_EQ(disk_name("/./home//."), "D:");
  EXPECT_EQ(disk_name("/var/../home"), "D:");
}

TEST_F(DiskName, WhatIsNoMountPointIsRefusedWithTheNearest) {
  EXPECT_EQ(complaint("/hoem"), "no local disk is mounted at \"/hoem\"; nearest: /home");
  EXPECT_EQ(complaint("/home/somebody-who-is-not-there"),
            "no local disk is mounted at \"/home/somebody-who-is-not-there\"; nearest: /home");
}

#ifndef _WIN32
TEST_F(DiskName, AFolderIsToldTheDriveOfItsFiles) {
  namespace fs = std::filesystem;
  const fs::path folder = fs::canonical(".");
  const auto device = [](const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_dev;
  };
  fs::path top = folder;  // of the file system
  while (top.has_relative_path() && device(top.parent_path()) == device(folder)) top = top.parent_path();
  ASSERT_NE(top, folder);
  fake_local_ground().wmi = FakeWmi();
  fake_local_ground().wmi.answer(
      "SELECT DeviceID, Purpose, Description, DriveType FROM Win32_LogicalDisk",
      {disk("E:", "/proc", "Local Fixed Disk", 3), disk("F:", top.c_str(), "Local Fixed Disk", 3)});
  EXPECT_EQ(complaint(folder), folder.string() + " is no drive of its own: its files are on F:");
  EXPECT_EQ(complaint("/proc/self"), "/proc/self is no drive of its own: its files are on E:");
  EXPECT_EQ(complaint("/sys/kernel").substr(0, 41), "no local disk is mounted at \"/sys/kernel\"");
}
#endif

TEST_F(DiskName, WhatIsNoLocalFixedDiskIsRefusedWithItsKind) {
  EXPECT_EQ(complaint("/media/stick"),
            "what is mounted at \"/media/stick\" is no local disk but a Removable Disk");
}

TEST_F(DiskName, AMachineWithoutDisksHasNoneNear) {
  fake_local_ground().wmi = FakeWmi();
  EXPECT_EQ(complaint("/home"), "no local disk is mounted at \"/home\"");
}

}  // namespace
}  // namespace kvwmi::agent
