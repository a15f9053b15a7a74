#include "frame/runtime_error.h"

#include <gtest/gtest.h>

#include "frame/testing/raises.h"

namespace kvwmi {
namespace {

using testing::Raised;
using testing::raised;

TEST(RuntimeErrors, NumbersAndTexts) {
  const std::vector<std::pair<RuntimeError, Raised>> cases{
      {RuntimeError::invalid_procedure_call, {5, "KVWMI", "Invalid procedure call or argument"}},
      {RuntimeError::overflow, {6, "KVWMI", "Overflow"}},
      {RuntimeError::out_of_memory, {7, "KVWMI", "Out of memory"}},
      {RuntimeError::subscript_out_of_range, {9, "KVWMI", "Subscript out of range"}},
      {RuntimeError::division_by_zero, {11, "KVWMI", "Division by zero"}},
      {RuntimeError::type_mismatch, {13, "KVWMI", "Type mismatch"}},
      {RuntimeError::internal_error, {51, "KVWMI", "Internal error"}},
      {RuntimeError::object_variable_not_set,
       {91, "KVWMI", "Object variable or With block variable not set"}},
      {RuntimeError::invalid_use_of_null, {94, "KVWMI", "Invalid use of Null"}},
      {RuntimeError::cannot_create_object, {429, "KVWMI", "ActiveX component can't create object"}},
      {RuntimeError::duplicate_key,
       {457, "KVWMI", "This key is already associated with an element of this collection"}},
  };
  for (const auto& [number, expected] : cases) EXPECT_EQ(raised(runtime_error(number)), expected);
}

TEST(RuntimeErrors, ANumberWithoutATextHasTheGeneralOne) {
  EXPECT_EQ(raised(runtime_error(static_cast<RuntimeError>(999))),
            (Raised{999, "KVWMI", "Application-defined or object-defined error"}));
}

TEST(RuntimeErrors, MissingFileIsNamed) {
  EXPECT_EQ(raised(file_not_found("KVIPAddress.dll")),
            (Raised{53, "KVWMI", "File not found: KVIPAddress.dll"}));
}

TEST(RuntimeErrors, MissingEntryPointIsNamedWithItsLibrary) {
  EXPECT_EQ(raised(dll_entry_point_not_found("iCheckIPAddress", "KVIPAddress.dll")),
            (Raised{453, "KVWMI", "Can't find DLL entry point iCheckIPAddress in KVIPAddress.dll"}));
}

}  // namespace
}  // namespace kvwmi
