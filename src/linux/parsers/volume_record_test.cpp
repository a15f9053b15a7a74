#include "linux/parsers/volume_record.h"

#include <gtest/gtest.h>

namespace kvwmi::ground::parsers {
namespace {

TEST(VolumeRecord, TakesTheFileSystemsLines) {
  const VolumeRecord record = parse_volume_record(
      "S:disk/by-label/MY\\x20STICK\nI:123\nE:ID_FS_TYPE=vfat\nE:ID_FS_VERSION=FAT16\n"
      "E:ID_FS_LABEL=MY_STICK\nE:ID_FS_LABEL_ENC=MY\\x20STICK\nE:ID_FS_UUID=1A2B-3C4D\nG:systemd\n");
  EXPECT_EQ(record.type, "vfat");
  EXPECT_EQ(record.version, "FAT16");
  EXPECT_EQ(record.label, "MY STICK");
  EXPECT_EQ(record.uuid, "1A2B-3C4D");
}

TEST(VolumeRecord, SaysNothingWhereTheDatabaseDoesNot) {
  const VolumeRecord record = parse_volume_record("E:ID_FS_TYPE\nID_FS_UUID=1\n\nE:ID_FS_LABEL_ENC=");
  EXPECT_EQ(record.type, "");
  EXPECT_EQ(record.version, "");
  EXPECT_EQ(record.label, "");
  EXPECT_EQ(record.uuid, "");
}

TEST(VolumeRecord, KeepsWhatIsNoEscape) {
  const auto label = [](const std::string& text) {
    return parse_volume_record("E:ID_FS_LABEL_ENC=" + text).label;
  };
  EXPECT_EQ(label("a\\x2fb"), "a/b");
  EXPECT_EQ(label("a\\x2"), "a\\x2") << "cut";
  EXPECT_EQ(label("a\\xzz"), "a\\xzz");
  EXPECT_EQ(label("\\x41=\\x42"), "A=B") << "the value goes to the end of the line";
}

}  // namespace
}  // namespace kvwmi::ground::parsers
