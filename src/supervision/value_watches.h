#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "kvwmi/codes.h"
#include "supervision/supervision_type.h"

namespace kvwmi::supervision {

/// A watch of a quantity, which is a property of the target instance.
struct ValueWatch {
  SupervisionType type;
  std::string_view property;
  std::int32_t unit;  ///< of the property and of the detail, whatever the client's threshold is in
  std::string_view capacity = {};  ///< property that a percentage is a percentage of
  std::int32_t capacity_unit = 0;
};

inline constexpr ValueWatch kDiskFreeSpace{SupervisionType::disk_free_space, "FreeSpace", unit::kBytes,
                                           "Size", unit::kBytes};
/// A percentage of the paging files, not of the physical memory.
inline constexpr ValueWatch kProcessMemorySize{SupervisionType::process_memory_size, "WorkingSetSize",
                                               unit::kBytes, "SizeStoredInPagingFiles", unit::kKilobytes};
inline constexpr ValueWatch kFreePhysicalMemorySize{SupervisionType::free_physical_memory_size,
                                                    "FreePhysicalMemory", unit::kKilobytes,
                                                    "TotalVisibleMemorySize", unit::kKilobytes};
inline constexpr ValueWatch kFreeVirtualMemorySize{SupervisionType::free_virtual_memory_size,
                                                   "FreeVirtualMemory", unit::kKilobytes,
                                                   "TotalVirtualMemorySize", unit::kKilobytes};
inline constexpr ValueWatch kFreePagingFilesSize{SupervisionType::free_paging_files_size,
                                                 "FreeSpaceInPagingFiles", unit::kKilobytes,
                                                 "SizeStoredInPagingFiles", unit::kKilobytes};
inline constexpr ValueWatch kProcessorLoadPercentage{SupervisionType::processor_load_percentage,
                                                     "LoadPercentage", unit::kPercent};

inline constexpr std::array kValueWatches{kDiskFreeSpace,          kProcessMemorySize,
                                          kFreePhysicalMemorySize, kFreeVirtualMemorySize,
                                          kFreePagingFilesSize,    kProcessorLoadPercentage};

}  // namespace kvwmi::supervision
