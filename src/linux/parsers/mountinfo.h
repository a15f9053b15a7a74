#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::ground::parsers {

/// One line of /proc/self/mountinfo.
struct Mount {
  std::uint64_t number = 0;
  std::uint64_t parent = 0;  ///< the mount that this one was mounted in or over
  std::string device;        ///< "8:1"
  std::string root;          ///< the part of the file system that is mounted; "/" for all of it
  std::string mount_point;
  bool read_only = false;
  std::string type;
  std::string source;

  bool operator==(const Mount&) const = default;
};
/// In the order of mounting. Lines that are cut or no mounts are left out.
[[nodiscard]] std::vector<Mount> parse_mountinfo(std::string_view text);

/// What the first sector of a FAT, exFAT or NTFS volume says of it.
struct BootSector {
  std::string_view type;     ///< in Windows' spelling: "FAT", "FAT32", "exFAT", "NTFS"; empty for all others
  std::uint32_t serial = 0;  ///< volume serial number
};
[[nodiscard]] BootSector parse_boot_sector(std::string_view sector);

}  // namespace kvwmi::ground::parsers
