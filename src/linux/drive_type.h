#pragma once

#include <cstdint>
#include <optional>

#include "linux/machine.h"
#include "linux/parsers/mountinfo.h"

namespace kvwmi::ground {

/// Win32_LogicalDisk.DriveType
enum class DriveType : std::uint8_t { removable = 2, fixed = 3, network = 4, optical = 5, memory = 6 };

/// What kind of drive a mount is; nullopt for what is none. A mount that may hang is not asked.
[[nodiscard]] std::optional<DriveType> drive_type(const Machine& machine, const parsers::Mount& mount,
                                                  bool may_hang);

/// Whether another machine or a process answers for the files of a mount.
[[nodiscard]] bool asks_others(const parsers::Mount& mount);

}  // namespace kvwmi::ground
