#pragma once

#include <cstdint>
#include <string>

#include "kvwmi/currency.h"
#include "kvwmi/wmi_value.h"

namespace kvwmi {

/// The standard variant conversions. Each raises 94 "Invalid use of Null" for Null, 13 "Type mismatch" for
/// what has no such form (an array, an object, text that is no number) and 6 "Overflow" for what does not
/// fit.

/// "True"/"False" for a boolean, decimal digits for a number, text as it is.
[[nodiscard]] std::string to_text(const wmi::Value& value);
/// 32-bit signed; fractions round half to even, True is -1.
[[nodiscard]] std::int32_t to_long(const wmi::Value& value);
[[nodiscard]] Currency to_currency(const wmi::Value& value);
[[nodiscard]] double to_double(const wmi::Value& value);
/// Any number but 0 is true; the texts "True" and "False" are taken in any case.
[[nodiscard]] bool to_boolean(const wmi::Value& value);

/// A double as a 32-bit integer, halves to the even neighbour. What does not fit, infinities and 0/0
/// included, raises 6 "Overflow".
[[nodiscard]] std::int32_t round_to_long(double value);

}  // namespace kvwmi
