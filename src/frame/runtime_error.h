#pragma once

#include <cstdint>
#include <string>

#include "kvwmi/error.h"

namespace kvwmi {

/// The automation run-time's own failures. Their numbers travel over COM as 0x800A0000 + number.
enum class RuntimeError : std::int32_t {
  invalid_procedure_call = 5,
  overflow = 6,  // also 0/0
  out_of_memory = 7,
  subscript_out_of_range = 9,
  division_by_zero = 11,
  type_mismatch = 13,
  internal_error = 51,
  file_not_found = 53,
  path_not_found = 76,
  object_variable_not_set = 91,
  invalid_use_of_null = 94,
  cannot_create_object = 429,
  dll_entry_point_not_found = 453,
  duplicate_key = 457,
};

/// Source of every error that no other layer names itself in.
inline constexpr const char* kComponentName = "KVWMI";

/// Text of a raise that gives none.
inline constexpr const char* kNoDescription = "Application-defined or object-defined error";

/// The error with its standard English text.
[[nodiscard]] Error runtime_error(RuntimeError number);

/// 53: `name` is the missing file.
[[nodiscard]] Error file_not_found(const std::string& name);

/// 453: `library` was loaded and does not export `entry_point`.
[[nodiscard]] Error dll_entry_point_not_found(const std::string& entry_point, const std::string& library);

}  // namespace kvwmi
