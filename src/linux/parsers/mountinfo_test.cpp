#include "linux/parsers/mountinfo.h"

#include <gtest/gtest.h>

namespace kvwmi::ground::parsers {
namespace {

TEST(Mountinfo, TakesTheFieldsOnBothSidesOfTheDash) {
  const auto mounts = parse_mountinfo(
      "36 35 98:0 /mnt1 /mnt/my\\040disk rw,noatime master:1 shared:2 - ext3 /dev/root ro,errors=continue\n"
      "27 1 254:0 / / rw,relatime - ext4 /dev/vda rw\n");
  ASSERT_EQ(mounts.size(), 2U);
  EXPECT_EQ(mounts[0].device, "98:0");
  EXPECT_EQ(mounts[0].root, "/mnt1");
  EXPECT_EQ(mounts[0].mount_point, "/mnt/my disk");
  EXPECT_EQ(mounts[0].type, "ext3");
  EXPECT_EQ(mounts[0].source, "/dev/root");
  EXPECT_TRUE(mounts[0].read_only) << "the file system is";
  EXPECT_FALSE(mounts[1].read_only);
}

TEST(Mountinfo, MountReadOnlyOfAWritableFileSystem) {
  const auto mounts = parse_mountinfo("27 1 254:0 / /a ro,relatime - ext4 /dev/vda rw\n");
  ASSERT_EQ(mounts.size(), 1U);
  EXPECT_TRUE(mounts[0].read_only);
}

TEST(Mountinfo, LeavesOutLinesThatAreCut) {
  EXPECT_TRUE(parse_mountinfo("").empty());
  EXPECT_TRUE(parse_mountinfo("36 35 98:0 /mnt1 /mnt2 rw,noatime master:1").empty());
  EXPECT_TRUE(parse_mountinfo("36 35 98:0 / /mnt2 rw -").empty());
  EXPECT_EQ(parse_mountinfo("36 35 98:0 / /end\\040 rw - ext4 s rw").at(0).mount_point, "/end ");
  EXPECT_EQ(parse_mountinfo("36 35 98:0 / /no\\08x rw - ext4 s rw").at(0).mount_point, "/no\\08x");
  EXPECT_EQ(parse_mountinfo("36 35 98:0 / /end\\04 rw - ext4 s rw").at(0).mount_point, "/end\\04");
}

std::string sector_with(std::size_t at, std::string_view mark, std::size_t serial_at) {
  std::string sector(512, '\0');
  sector.replace(at, mark.size(), mark);
  sector.replace(serial_at, 4, "\x4D\x3C\x2B\x1A");
  return sector;
}

TEST(BootSector, TellsTheKindsAndTheirSerialNumbers) {
  EXPECT_EQ(parse_boot_sector(sector_with(3, "NTFS    ", 72)).type, "NTFS");
  EXPECT_EQ(parse_boot_sector(sector_with(3, "NTFS    ", 72)).serial, 0x1A2B3C4DU);
  EXPECT_EQ(parse_boot_sector(sector_with(3, "EXFAT   ", 100)).type, "exFAT");
  EXPECT_EQ(parse_boot_sector(sector_with(3, "EXFAT   ", 100)).serial, 0x1A2B3C4DU);
  EXPECT_EQ(parse_boot_sector(sector_with(82, "FAT32   ", 67)).type, "FAT32");
  EXPECT_EQ(parse_boot_sector(sector_with(82, "FAT32   ", 67)).serial, 0x1A2B3C4DU);
  EXPECT_EQ(parse_boot_sector(sector_with(54, "FAT16   ", 39)).type, "FAT");
  EXPECT_EQ(parse_boot_sector(sector_with(54, "FAT16   ", 39)).serial, 0x1A2B3C4DU);
  EXPECT_EQ(parse_boot_sector(std::string(512, '\0')).type, "");
  EXPECT_EQ(parse_boot_sector(sector_with(3, "NTFS    ", 72).substr(0, 511)).type, "") << "cut";
}

}  // namespace
}  // namespace kvwmi::ground::parsers
