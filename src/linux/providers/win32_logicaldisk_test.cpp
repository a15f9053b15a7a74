#include <sys/statvfs.h>

#include <atomic>
#include <future>

#include "frame/wmi_status.h"
#include "kvwmi/error.h"
#include "linux/providers/factories.h"
#include "linux/testing/no_descriptors.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using namespace testing;

class RecordedDisks : public ::testing::Test {
 protected:
  RecordedDisks() {
    machine.become_laptop();
    machine.write("/proc/sys/kernel/hostname", "host1\n");
    machine.volume_space = [this](const std::string& mount_point, VolumeSpace& space) {
      asked.push_back(mount_point.substr(machine.root.size()));
      space = {std::uint64_t{1} << 60U, std::uint64_t{1} << 59U, 255};
      return error;
    };
    provider = providers::make_win32_logicaldisk(machine);
  }
  std::shared_ptr<cim::Instance> disk(std::string letter) {
    Rows rows = rows_of(*provider, {equals(*provider, "DeviceID", cim::Value(std::move(letter)))});
    if (rows.size() != 1) throw std::runtime_error("not one row");
    return rows.front();
  }

  RecordedMachine machine;
  int error = 0;
  std::vector<std::string> asked;
  std::unique_ptr<embedded::Provider> provider;
};

TEST_F(RecordedDisks, ComeByTheirLetters) {
  EXPECT_EQ(texts_of(rows_of(*provider), "DeviceID"),
            (std::vector<std::string>{"C:", "D:", "E:", "F:", "G:", "H:", "I:"}));
  EXPECT_EQ(texts_of(rows_of(*provider), "Description"),
            (std::vector<std::string>{"Local Fixed Disk", "Local Fixed Disk", "Local Fixed Disk",
                                      "Removable Disk", "Network Connection", "CD-ROM Disc", "RAM Disk"}));
  EXPECT_TRUE(asked.empty()) << "no file system is asked for its sizes before somebody wants them";
}

TEST_F(RecordedDisks, RootDisk) {
  const auto row = disk("c:");
  EXPECT_EQ(text_of(*row, "DeviceID"), "C:");
  EXPECT_EQ(text_of(*row, "Name"), "C:");
  EXPECT_EQ(number_of(*row, "DriveType"), 3U);
  EXPECT_EQ(number_of(*row, "MediaType"), 12U);
  EXPECT_EQ(number_of(*row, "Access"), 3U);
  EXPECT_EQ(text_of(*row, "FileSystem"), "ext4");
  EXPECT_EQ(number_of(*row, "Size"), std::uint64_t{1} << 60U) << "more than 32 bits of blocks";
  EXPECT_EQ(number_of(*row, "FreeSpace"), std::uint64_t{1} << 59U);
  EXPECT_EQ(number_of(*row, "MaximumComponentLength"), 255U);
  EXPECT_EQ(text_of(*row, "Purpose"), "/");
  EXPECT_EQ(text_of(*row, "VolumeSerialNumber"), "89ABCDEF");
  EXPECT_TRUE(get(*row, "VolumeName").is_null());
  EXPECT_TRUE(get(*row, "ProviderName").is_null());
  EXPECT_EQ(text_of(*row, "SystemName"), "host1");
  EXPECT_EQ(asked, std::vector<std::string>{"/"}) << "asked once for all its sizes";
}

TEST_F(RecordedDisks, RemovableDiskWithItsLabel) {
  const auto row = disk("F:");
  EXPECT_EQ(text_of(*row, "FileSystem"), "FAT");
  EXPECT_EQ(text_of(*row, "VolumeName"), "MY STICK");
  EXPECT_EQ(text_of(*row, "VolumeSerialNumber"), "1A2B3C4D");
  EXPECT_EQ(number_of(*row, "DriveType"), 2U);
  EXPECT_EQ(number_of(*row, "MediaType"), 11U);
  EXPECT_EQ(number_of(*row, "Access"), 1U);
}

TEST_F(RecordedDisks, WithoutADeviceDatabaseTheFirstSectorTells) {
  machine.remove("/run/udev");
  std::string sector(512, '\0');
  sector.replace(82, 8, "FAT32   ");
  sector.replace(67, 4, "\x4D\x3C\x2B\x1A");
  machine.write("/dev/sdb1", sector);
  const auto row = disk("F:");
  EXPECT_EQ(text_of(*row, "FileSystem"), "FAT32");
  EXPECT_EQ(text_of(*row, "VolumeSerialNumber"), "1A2B3C4D");
}

TEST_F(RecordedDisks, FuseHidesTheKindThatTheSectorTells) {
  machine.write("/proc/self/mountinfo",
                "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n30 27 0:99 / /win rw - fuseblk /dev/sdc1 rw\n"
                "31 27 0:98 / /fat rw - fuse.vfat /dev/loop0 rw\n"
                "32 27 8:49 / /x rw - fuseblk.exfat /dev/sdd1 rw\n");
  std::string sector(512, '\0');
  sector.replace(3, 8, "NTFS    ");
  machine.write("/dev/sdc1", sector);
  provider = providers::make_win32_logicaldisk(machine);
  EXPECT_EQ(text_of(*disk("E:"), "FileSystem"), "NTFS");
  EXPECT_EQ(text_of(*disk("D:"), "FileSystem"), "FAT32");
  EXPECT_EQ(text_of(*disk("F:"), "FileSystem"), "exFAT");
}

TEST_F(RecordedDisks, WithoutADescriptorAVolumeIsAFailureWhoeverAnswersForIt) {
  machine.write("/proc/self/mountinfo",
                "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n30 27 0:99 / /win rw - fuseblk /dev/sdc1 rw\n"
                "31 27 8:33 / /win2 rw - ntfs3 /dev/sdd1 rw\n");
  std::string sector(512, '\0');
  sector.replace(3, 8, "NTFS    ");
  machine.write("/dev/sdc1", sector);
  machine.write("/dev/sdd1", sector);
  provider = providers::make_win32_logicaldisk(machine);
  const auto fuse = disk("D:");
  const auto direct = disk("E:");
  {
    const NoDescriptors none;
    EXPECT_THROW(get(*fuse, "FileSystem"), Error);
    EXPECT_THROW(get(*direct, "FileSystem"), Error);
  }
  EXPECT_EQ(text_of(*fuse, "FileSystem"), "NTFS");
  EXPECT_EQ(text_of(*direct, "FileSystem"), "NTFS");
}

TEST_F(RecordedDisks, NetworkDriveNamesItsServer) {
  const auto row = disk("G:");
  EXPECT_EQ(number_of(*row, "DriveType"), 4U);
  EXPECT_EQ(text_of(*row, "ProviderName"), "//server/share");
  EXPECT_EQ(number_of(*row, "FreeSpace"), std::uint64_t{1} << 59U);
}

TEST_F(RecordedDisks, OpticalDiskInWindowsSpelling) {
  EXPECT_EQ(text_of(*disk("H:"), "FileSystem"), "CDFS");
}

TEST_F(RecordedDisks, SizesThatTheFileSystemRefusesAreNull) {
  error = EIO;
  EXPECT_TRUE(get(*disk("C:"), "Size").is_null());
}

TEST_F(RecordedDisks, OnlyWhatMountsDecideIsVouchedFor) {
  const auto token = [&](const char* property) {
    return provider->change_token(std::vector{column_of(provider->schema(), property)});
  };
  const auto before = token("DeviceID");
  ASSERT_TRUE(before);
  EXPECT_EQ(token("DriveType"), before);
  EXPECT_FALSE(token("FreeSpace"));
  EXPECT_FALSE(token("VolumeName"));
  machine.write("/proc/self/mountinfo", "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n");
  EXPECT_NE(token("DeviceID"), before);
}

TEST(Win32LogicalDisk, DeadNetworkDriveFailsInTimeAndHoldsUpNoOther) {
  RecordedMachine machine;
  machine.become_laptop();
  machine.write("/proc/self/mountinfo",
                "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n43 27 0:50 / /mnt/share rw - cifs //server/share rw\n"
                "44 43 254:3 / /mnt/share/in/it rw - xfs /dev/vda3 rw\n");
  auto release = std::make_shared<std::promise<void>>();
  const std::shared_future<void> released = release->get_future().share();
  const std::string dead = machine.root + "/mnt/share";
  machine.volume_space = [released, dead](const std::string& mount_point, VolumeSpace& space) {
    if (mount_point.starts_with(dead)) released.wait();
    space = {1000, 500, 255};
    return 0;
  };
  const auto provider = providers::make_win32_logicaldisk(machine);
  const Rows rows = rows_of(*provider);
  ASSERT_EQ(texts_of(rows, "Purpose"), (std::vector<std::string>{"/", "/mnt/share/in/it", "/mnt/share"}));
  for (const std::size_t hanging : {1U, 2U}) {
    try {
      get(*rows.at(hanging), "FreeSpace");
      ADD_FAILURE() << hanging;
    } catch (const Error& failure) {
      EXPECT_TRUE(wmi::is_status(failure, wmi::Status::provider_failure));
    }
  }
  EXPECT_EQ(number_of(*rows.at(0), "FreeSpace"), 500U);
  release->set_value();
}

TEST(Win32LogicalDisk, WhatIsMountedAnewAtTheDeadOnesPlaceAnswers) {
  RecordedMachine machine;
  machine.become_laptop();
  const auto mount_share = [&](const std::string& device) {
    machine.write("/proc/self/mountinfo", "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n43 27 " + device +
                                              " / /mnt/share rw - cifs //server/share rw\n");
  };
  auto release = std::make_shared<std::promise<void>>();
  const std::shared_future<void> released = release->get_future().share();
  auto dead = std::make_shared<std::atomic<bool>>(true);
  machine.volume_space = [released, dead](const std::string&, VolumeSpace& space) {
    if (*dead) released.wait();
    space = {1000, 500, 255};
    return 0;
  };
  const auto provider = providers::make_win32_logicaldisk(machine);
  const auto share = [&] { return rows_of(*provider, {equals(*provider, "DeviceID", "D:")}).at(0); };
  mount_share("0:50");
  EXPECT_THROW(get(*share(), "FreeSpace"), Error);
  *dead = false;  // only what was asked before hangs
  EXPECT_THROW(get(*share(), "FreeSpace"), Error) << "still the same mount";
  mount_share("0:51");
  EXPECT_EQ(number_of(*share(), "FreeSpace"), 500U);
  release->set_value();
}

TEST(Win32LogicalDisk, SizesAgreeWithStatvfs) {
  Machine machine;
  machine.state = "/dev/null";  // tests keep nothing
  const auto provider = providers::make_win32_logicaldisk(machine);
  const Rows rows = rows_of(*provider, {equals(*provider, "DeviceID", "C:")});
  ASSERT_EQ(rows.size(), 1U);
  struct statvfs expected {};
  ASSERT_EQ(statvfs("/", &expected), 0);
  EXPECT_EQ(number_of(*rows.front(), "Size"), std::uint64_t{expected.f_blocks} * expected.f_frsize);
  // Others write meanwhile.
  EXPECT_NEAR(static_cast<double>(number_of(*rows.front(), "FreeSpace")),
              static_cast<double>(expected.f_bavail) * static_cast<double>(expected.f_frsize), 256e6);
}

}  // namespace
}  // namespace kvwmi::ground
