#pragma once

#include <optional>
#include <string>

#include "linux/parsers/mountinfo.h"
#include "linux/parsers/volume_record.h"

namespace kvwmi::ground::providers {

/// "8:1" of the block device that a mount's source names; that of the mount itself where it is none. Follows
/// the path of the source.
[[nodiscard]] std::string block_device(const std::string& root, const parsers::Mount& mount);

/// What the device database keeps of a block device; nullopt where it keeps nothing.
[[nodiscard]] std::optional<parsers::VolumeRecord> volume_record(const std::string& root,
                                                                 const std::string& device);

/// What a volume itself says of its file system. Empty texts where it says nothing.
struct VolumeFacts {
  std::string file_system;  ///< in Windows' spelling where Windows has the kind: "NTFS", "FAT32", "CDFS"
  std::string label;
  std::string serial;  ///< eight hexadecimal digits
};

/// From the device database where it runs, else from the volume's first sector where that may be read.
/// `root` stands before every path. Follows the path of the mount's source.
[[nodiscard]] VolumeFacts volume_facts(const std::string& root, const parsers::Mount& mount);

}  // namespace kvwmi::ground::providers
