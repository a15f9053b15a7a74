#pragma once

#include <string>
#include <string_view>

namespace kvwmi::ground::parsers {

/// What the device database keeps of the file system on a block device. Empty texts where it says nothing.
struct VolumeRecord {
  std::string type;     ///< "vfat"
  std::string version;  ///< "FAT16"
  std::string label;
  std::string uuid;
};
/// The text of one file of /run/udev/data.
[[nodiscard]] VolumeRecord parse_volume_record(std::string_view text);

}  // namespace kvwmi::ground::parsers
