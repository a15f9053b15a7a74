#pragma once

#include <windows.h>

#include <oaidl.h>

#include "frame/class_catalogue.h"
#include "windows/automation/owned_variant.h"

namespace kvwmi::com {

/// The variant type that a type of the interface travels as.
[[nodiscard]] VARTYPE vartype_of(const catalogue::Type& type) noexcept;

/// Follows references to variants to the one that holds the value; null for a reference to nowhere.
[[nodiscard]] VARIANT* dereferenced(VARIANT& variant) noexcept;

/// One argument of a late-bound call on its way to the declared type of its parameter and back.
class CoercedArgument {
 public:
  CoercedArgument() noexcept = default;

  /// From what the caller gave. What the member leaves in a by-reference parameter goes back to the caller
  /// where `writes_back`. A failure is an automation error about this argument.
  HRESULT set(const catalogue::Parameter& parameter, VARIANT& given, LCID locale, bool writes_back);
  /// From the parameter's default.
  void set_default(const catalogue::Parameter& parameter);

  /// To be passed on: exactly the parameter's type, or a reference to it.
  [[nodiscard]] VARIANT& actual() noexcept { return actual_; }
  /// After the call: what the member left goes to the place that the caller gave, if it gave one.
  HRESULT write_back(LCID locale);

 private:
  HRESULT convert(const catalogue::Type& type, VARIANT& source, LCID locale);
  void point_at_value(const catalogue::Parameter& parameter) noexcept;

  OwnedVariant value_;        // of the parameter's type
  VARIANT actual_{};          // borrows from value_ or from the caller
  VARIANT* place_ = nullptr;  // where value_ goes back to
};

/// Makes of a member's result what a late-bound client can use: an enumerator becomes an object to iterate
/// over.
void adapt_result(VARIANT& result) noexcept;

/// Replaces an array of strings by its element at `index`, counted as the array counts.
HRESULT take_element(VARIANT& array, VARIANT& index, LCID locale);

}  // namespace kvwmi::com
