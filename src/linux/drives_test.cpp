#include "linux/drives.h"

#include "kvwmi/error.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using namespace testing;

std::vector<std::string> lettered(const DriveTable& table) {
  std::vector<std::string> lines;
  for (const Drive& drive : table.drives()) {
    lines.push_back(drive.name() + " " + std::to_string(static_cast<int>(drive.type)) + " " +
                    drive.mount.mount_point);
  }
  return lines;
}

class RecordedDrives : public ::testing::Test {
 protected:
  RecordedDrives() { machine.become_laptop(); }
  void mounts(std::string_view text) { machine.write("/proc/self/mountinfo", text); }

  RecordedMachine machine;
};

TEST_F(RecordedDrives, RootIsCAndTheOthersFollowByKindAndPlace) {
  Drives drives(machine);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{
                                           "C: 3 /",
                                           "D: 3 /data",  // the disk that hides the network share below it
                                           "E: 3 /home",
                                           "F: 2 /media/usb stick",
                                           "G: 4 /mnt/share",
                                           "H: 5 /media/cd",
                                           "I: 6 /tmp",
                                       }));
}

TEST_F(RecordedDrives, AVolumeKeepsItsLetterWhateverIsMountedLater) {
  const std::string root = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  const std::string home = "40 27 254:2 / /home rw - ext4 /dev/vda2 rw\n";
  const std::string backup = "41 27 254:3 / /backup rw - ext4 /dev/vda3 rw\n";
  mounts(root + home);
  Drives drives(machine);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /home"}));
  const std::uint64_t before = drives.generation();
  EXPECT_EQ(drives.generation(), before);
  mounts(root + home + backup);
  EXPECT_NE(drives.generation(), before);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /home", "E: 3 /backup"}));
  mounts(root + backup);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "E: 3 /backup"}));
  mounts(root + home + backup);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /home", "E: 3 /backup"}));
}

TEST_F(RecordedDrives, LettersOfAbsentVolumesAreGivenOutLast) {
  const std::string root = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  const auto disks = [&](int from, int to) {
    std::string text = root;
    for (int i = from; i < to; ++i) {
      const std::string number = std::to_string(100 + i);
      text += "9 27 8:" + number + " / /d" + number + " rw - ext4 /dev/x rw\n";
    }
    return text;
  };
  mounts(disks(0, 30));
  Drives drives(machine);
  EXPECT_EQ(drives.table()->drives().size(), 24U) << "C: to Z:";
  EXPECT_EQ(drives.table()->drives().back().mount.mount_point, "/d122");
  mounts(disks(22, 24));
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /d123", "Z: 3 /d122"}));
}

TEST_F(RecordedDrives, ContainerWithFilesMountedIntoIt) {
  mounts(
      "27 1 0:40 / / rw - overlay overlay rw\n28 27 254:1 /c/hosts /etc/hosts rw - ext4 /dev/vda1 rw\n"
      "29 27 254:1 /c/vol /data rw - ext4 /dev/vda1 rw\n");
  machine.write("/etc/hosts", "");
  std::filesystem::create_directories(machine.root + "/data");
  Drives drives(machine);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /data"}));
}

TEST_F(RecordedDrives, PathsGoToTheInnermostDriveAndBack) {
  Drives drives(machine);
  const auto table = drives.table();
  EXPECT_EQ(table->to_windows("/usr/bin/ls"), R"(C:\usr\bin\ls)");
  EXPECT_EQ(table->to_windows("/home/me/x"), R"(E:\me\x)");
  EXPECT_EQ(table->to_windows("/home"), "E:\\");
  EXPECT_EQ(table->to_windows("/homes/x"), R"(C:\homes\x)");
  EXPECT_EQ(table->to_windows("/"), "C:\\");
  EXPECT_EQ(table->to_native(R"(e:\me\x)"), "/home/me/x");
  EXPECT_EQ(table->to_native("E:"), "/home");
  EXPECT_EQ(table->to_native("E:\\"), "/home");
  EXPECT_EQ(table->to_native("C:/usr"), "/usr");
  EXPECT_EQ(table->to_native("C:"), "/");
  EXPECT_EQ(table->to_native("Q:\\x"), std::nullopt);
  EXPECT_EQ(table->to_native("/usr"), std::nullopt);
  EXPECT_EQ(table->to_native(""), std::nullopt);
  for (const char* path : {"/home/a\\b", "/media/usb stick/x.", "/data", "/", "/tmp/ "}) {
    EXPECT_EQ(table->to_native(table->to_windows(path)), path);
  }
}

TEST_F(RecordedDrives, UnreadableTableIsAFailure) {
  machine.remove("/proc/self/mountinfo");
  Drives drives(machine);
  EXPECT_THROW(static_cast<void>(drives.table()), Error);
}

TEST(Drives, ThisMachineHasARootAndTellsChangesCheaply) {
  const Machine machine;
  Drives drives(machine);
  const auto table = drives.table();
  ASSERT_NE(table->find('c'), nullptr);
  EXPECT_EQ(table->find('C')->mount.mount_point, "/");
  EXPECT_EQ(drives.table(), table) << "nothing was mounted, so it is the very same table";
}

}  // namespace
}  // namespace kvwmi::ground
