#pragma once

#include <string>

#include "linux/drives.h"
#include "linux/machine.h"

namespace kvwmi::ground::providers {

/// What a volume itself says of its file system. Empty texts where it says nothing.
struct VolumeFacts {
  std::string file_system;  ///< in Windows' spelling where Windows has the kind: "NTFS", "FAT32", "CDFS"
  std::string label;
  std::string serial;  ///< eight hexadecimal digits
};

/// From the device database where it runs, else from the volume's first sector where that may be read.
[[nodiscard]] VolumeFacts volume_facts(const Machine& machine, const parsers::Mount& mount);

}  // namespace kvwmi::ground::providers
