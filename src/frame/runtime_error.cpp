#include "frame/runtime_error.h"

#include <algorithm>
#include <array>
#include <utility>

namespace kvwmi {
namespace {

constexpr std::array kTexts{
    std::pair{RuntimeError::invalid_procedure_call, "Invalid procedure call or argument"},
    std::pair{RuntimeError::overflow, "Overflow"},
    std::pair{RuntimeError::out_of_memory, "Out of memory"},
    std::pair{RuntimeError::subscript_out_of_range, "Subscript out of range"},
    std::pair{RuntimeError::division_by_zero, "Division by zero"},
    std::pair{RuntimeError::type_mismatch, "Type mismatch"},
    std::pair{RuntimeError::internal_error, "Internal error"},
    std::pair{RuntimeError::path_not_found, "Path not found"},
    std::pair{RuntimeError::object_variable_not_set, "Object variable or With block variable not set"},
    std::pair{RuntimeError::invalid_use_of_null, "Invalid use of Null"},
    std::pair{RuntimeError::cannot_create_object, "ActiveX component can't create object"},
    std::pair{RuntimeError::duplicate_key,
              "This key is already associated with an element of this collection"},
};

Error numbered(RuntimeError number, std::string text) {
  return Error(static_cast<std::int32_t>(number), kComponentName, std::move(text));
}

}  // namespace

Error runtime_error(RuntimeError number) {
  const auto* entry =
      std::find_if(kTexts.begin(), kTexts.end(), [&](auto& row) { return row.first == number; });
  return numbered(number, entry == kTexts.end() ? kNoDescription : entry->second);
}

Error file_not_found(const std::string& name) {
  return numbered(RuntimeError::file_not_found, "File not found: " + name);
}

Error dll_entry_point_not_found(const std::string& entry_point, const std::string& library) {
  return numbered(RuntimeError::dll_entry_point_not_found,
                  "Can't find DLL entry point " + entry_point + " in " + library);
}

}  // namespace kvwmi
