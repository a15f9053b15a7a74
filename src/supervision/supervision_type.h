#pragma once

#include <cstdint>

namespace kvwmi::supervision {

/// The kind of a watch, as its asynchronous context carries it. Numbers in between are not used.
enum class SupervisionType : std::int16_t {
  disk_free_space = 2,
  registry_key = 15,
  registry_value = 16,
  service = 18,
  process = 20,
  process_memory_size = 21,
  free_physical_memory_size = 23,
  file = 25,
  event_log = 26,
  processor_load_percentage = 27,
  free_virtual_memory_size = 28,
  registry_tree = 29,
  directory = 30,
  free_paging_files_size = 31,
  file_in_directory = 32,
  power_source = 42,
};

/// Keys of the asynchronous context.
namespace context {
inline constexpr const char* kSupervisionId = "SupervisionId";
inline constexpr const char* kCurrentStepId = "CurrentStepId";
inline constexpr const char* kSupervisionType = "SupervisionType";
inline constexpr const char* kFileName = "FileName";
}  // namespace context

}  // namespace kvwmi::supervision
