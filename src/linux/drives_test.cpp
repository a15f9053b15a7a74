#include "linux/drives.h"

#include "kvwmi/diagnostics.h"
#include "kvwmi/error.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using namespace testing;
using Texts = std::vector<std::string>;

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

TEST_F(RecordedDrives, LettersOutliveTheProcess) {
  const std::string root = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  const std::string zz = "40 27 0:60 / /mnt/zz rw - tmpfs none rw\n";
  const std::string aa = "41 27 0:61 / /mnt/aa rw - tmpfs none rw\n";
  mounts(root + zz);
  EXPECT_EQ(lettered(*Drives(machine).table()), (std::vector<std::string>{"C: 3 /", "D: 6 /mnt/zz"}));
  mounts(root + aa + zz);
  EXPECT_EQ(lettered(*Drives(machine).table()),
            (std::vector<std::string>{"C: 3 /", "D: 6 /mnt/zz", "E: 6 /mnt/aa"}));
  mounts(root + aa);
  EXPECT_EQ(lettered(*Drives(machine).table()), (std::vector<std::string>{"C: 3 /", "E: 6 /mnt/aa"}));
}

TEST_F(RecordedDrives, AVolumeWithAUuidKeepsItsLetterAtAnotherPlace) {
  const std::string root = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  machine.write("/run/udev/data/b8:17", "E:ID_FS_UUID=1111-2222\n");
  machine.write("/run/udev/data/b8:33", "E:ID_FS_UUID=1111-2222\n");
  mounts(root + "40 27 8:17 / /media/stick rw - vfat /dev/sdb1 rw\n");
  EXPECT_EQ(Drives(machine).table()->find('D')->mount.mount_point, "/media/stick");
  mounts(root + "39 27 8:65 / /a rw - ext4 /dev/sde rw\n40 27 8:33 / /mnt rw - vfat /dev/sdc1 rw\n");
  EXPECT_EQ(lettered(*Drives(machine).table()), (std::vector<std::string>{"C: 3 /", "D: 3 /mnt", "E: 3 /a"}))
      << "plugged in elsewhere";
}

TEST_F(RecordedDrives, ACopyTakesNoLetterFromTheVolumeBesideIt) {
  const std::string root = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  const std::string data = "40 27 254:2 / /data rw - ext4 /dev/vda2 rw\n";
  const std::string copy = "41 27 254:3 / /copy rw - ext4 /dev/vda3 rw\n";
  machine.write("/run/udev/data/b254:2", "E:ID_FS_UUID=one\n");
  machine.write("/run/udev/data/b254:3", "E:ID_FS_UUID=one\n");
  mounts(root + data);
  Drives drives(machine);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /data"}));
  mounts(root + data + copy);
  EXPECT_EQ(lettered(*Drives(machine).table()),
            (std::vector<std::string>{"C: 3 /", "D: 3 /data", "E: 3 /copy"}))
      << "for who sees both at once too";
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /data", "E: 3 /copy"}));
  mounts(root + copy);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "E: 3 /copy"}))
      << "nor from a volume that went";
  mounts(root + data + copy);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /data", "E: 3 /copy"}));
}

TEST_F(RecordedDrives, TheFirstOfTwoNewCopiesComesFirst) {
  machine.write("/run/udev/data/b254:2", "E:ID_FS_UUID=one\n");
  machine.write("/run/udev/data/b254:3", "E:ID_FS_UUID=one\n");
  mounts(
      "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n40 27 254:2 / /data rw - ext4 /dev/vda2 rw\n"
      "41 27 254:3 / /copy rw - ext4 /dev/vda3 rw\n");
  EXPECT_EQ(lettered(*Drives(machine).table()),
            (std::vector<std::string>{"C: 3 /", "D: 3 /copy", "E: 3 /data"}));
}

TEST_F(RecordedDrives, AUuidThatIsKnownLaterLeavesTheLetterAndTakesItAlong) {
  const std::string root = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  const std::string stick = "40 27 8:33 / /media/stick rw - vfat /dev/sdb1 rw\n";
  const std::string other = "41 27 254:9 / /a rw - ext4 /dev/vda9 rw\n";
  mounts(root + stick);
  Drives drives(machine);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /media/stick"}));
  machine.write("/run/udev/data/b8:33", "E:ID_FS_UUID=1111-2222\n");
  mounts(root + stick + other);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 3 /media/stick", "E: 3 /a"}));
  mounts(root + other + "40 27 8:33 / /mnt rw - vfat /dev/sdb1 rw\n");
  EXPECT_EQ(lettered(*Drives(machine).table()), (std::vector<std::string>{"C: 3 /", "D: 3 /mnt", "E: 3 /a"}));
}

TEST_F(RecordedDrives, WhereNothingCanBeKeptLettersLastAsLongAsTheProcess) {
  machine.state = machine.root + "/nowhere/kvwmi";
  const std::string root = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  const std::string zz = "40 27 0:60 / /mnt/zz rw - tmpfs none rw\n";
  const std::string aa = "41 27 0:61 / /mnt/aa rw - tmpfs none rw\n";
  mounts(root + zz);
  Drives drives(machine);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 6 /mnt/zz"}));
  mounts(root + aa + zz);
  EXPECT_EQ(lettered(*drives.table()), (std::vector<std::string>{"C: 3 /", "D: 6 /mnt/zz", "E: 6 /mnt/aa"}));
  EXPECT_EQ(lettered(*Drives(machine).table()),
            (std::vector<std::string>{"C: 3 /", "D: 6 /mnt/aa", "E: 6 /mnt/zz"}));
  EXPECT_FALSE(std::filesystem::exists(machine.root + "/nowhere"));
}

TEST_F(RecordedDrives, AllWhoLookAtAMachineShareOneTable) {
  EXPECT_EQ(&machine.drives(), &machine.drives());
  EXPECT_NE(machine.drives().table()->find('C'), nullptr);
}

TEST_F(RecordedDrives, AVolumeWithoutALetterIsToldOf) {
  std::string text = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  for (int i = 100; i < 124; ++i) {
    const std::string number = std::to_string(i);
    text += "9 27 8:" + number + " / /d" + number + " rw - ext4 /dev/x rw\n";
  }
  mounts(text);
  std::vector<std::string> told;
  Drives drives(machine);
  set_diagnostic_hook([&](const Error& error) {
    told.push_back(error.description());
    static_cast<void>(drives.table());  // who is told may ask
  });
  EXPECT_EQ(drives.table()->drives().size(), 24U) << "C: to Z:";
  EXPECT_EQ(told, Texts{"No drive letter is left for /d123"});
  mounts(text + "8 27 0:70 / /run/lock rw - tmpfs none rw\n");
  static_cast<void>(drives.table());
  EXPECT_EQ(told.size(), 1U) << "as long as it lasts, once";
  mounts(text.substr(0, text.rfind("9 27")));
  static_cast<void>(drives.table());
  mounts(text);
  static_cast<void>(drives.table());
  EXPECT_EQ(told.size(), 2U) << "it was gone and is there again";
  set_diagnostic_hook({});
}

TEST_F(RecordedDrives, TheMountThatShowsAllOfAVolumeCounts) {
  mounts(
      "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n28 27 254:2 /me /a rw - ext4 /dev/vda2 rw\n"
      "29 27 254:2 / /home rw - ext4 /dev/vda2 rw\n30 27 254:2 / /b rw - ext4 /dev/vda2 rw\n");
  std::filesystem::create_directories(machine.root + "/a");
  EXPECT_EQ(lettered(*Drives(machine).table()), (std::vector<std::string>{"C: 3 /", "D: 3 /home"}));
}

/// Who asks finds files at the mount points and takes none of them for a drive.
TEST_F(RecordedDrives, WhatMayHangIsNotAskedWhetherItIsAFolder) {
  mounts(
      "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n28 27 0:50 /sub /dead rw - fuse daemon rw\n"
      "29 28 254:3 /part /dead/inside rw - ext4 /dev/vda3 rw\n"
      "30 27 254:4 /file /deadline rw - ext4 /dev/vda4 rw\n");
  machine.write("/deadline", "");
  machine.write("/dead", "");
  const auto table = Drives(machine).table();
  EXPECT_EQ(lettered(*table), (std::vector<std::string>{"C: 3 /", "D: 3 /dead/inside", "E: 4 /dead"}));
  EXPECT_FALSE(table->find('C')->may_hang);
  EXPECT_TRUE(table->find('D')->may_hang) << "its mount point lies in one that may";
  EXPECT_TRUE(table->find('E')->may_hang);
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

TEST_F(RecordedDrives, UnreadableTableIsAFailureAsLongAsItLasts) {
  machine.remove("/proc/self/mountinfo");
  Drives drives(machine);
  EXPECT_THROW(static_cast<void>(drives.table()), Error);
  mounts("27 1 254:1 / / rw - ext4 /dev/vda1 rw\n");
  EXPECT_EQ(lettered(*drives.table()), Texts{"C: 3 /"});
  const std::uint64_t before = drives.generation();
  machine.remove("/proc/self/mountinfo");
  EXPECT_THROW(static_cast<void>(drives.generation()), Error);
  mounts("27 1 254:1 / / rw - ext4 /dev/vda1 rw\n");
  EXPECT_EQ(drives.generation(), before) << "the same drives again";
}

TEST_F(RecordedDrives, WhatAnotherMountCoversIsNone) {
  const std::string table =
      "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n40 27 8:1 / /mnt/a rw - ext4 /dev/sda1 rw\n"
      "41 27 8:33 / /mnt rw - ext4 /dev/sdb1 rw\n";
  mounts(table);
  Drives drives(machine);
  EXPECT_EQ(lettered(*drives.table()), (Texts{"C: 3 /", "D: 3 /mnt"}));
  mounts(table + "42 41 8:1 / /mnt/a rw - ext4 /dev/sda1 rw\n");
  EXPECT_EQ(lettered(*drives.table()), (Texts{"C: 3 /", "D: 3 /mnt", "E: 3 /mnt/a"}));
}

TEST_F(RecordedDrives, OnlyChangesOfDrivesCount) {
  const std::string root = "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n";
  const std::string data = "40 27 254:2 / /data rw - ext4 /dev/vda2 rw\n";
  mounts(root + data);
  Drives drives(machine);
  const auto table = drives.table();
  const std::uint64_t before = drives.generation();
  mounts(root + data + "41 27 0:70 / /var/lib/docker/overlay2/1/merged rw - overlay overlay rw\n");
  EXPECT_EQ(drives.generation(), before) << "a container started";
  EXPECT_EQ(drives.table(), table);
  mounts(root + "40 27 254:2 / /data ro - ext4 /dev/vda2 ro\n");
  EXPECT_NE(drives.generation(), before) << "it can be read only from now on";
}

TEST(Drives, ThisMachineHasARootAndTellsChangesCheaply) {
  Machine machine;
  machine.state = "/dev/null";  // tests keep nothing
  Drives drives(machine);
  const auto table = drives.table();
  ASSERT_NE(table->find('c'), nullptr);
  EXPECT_EQ(table->find('C')->mount.mount_point, "/");
  EXPECT_EQ(drives.table(), table) << "nothing was mounted, so it is the very same table";
}

}  // namespace
}  // namespace kvwmi::ground
