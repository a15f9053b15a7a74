#pragma once

#include <cstdint>
#include <string>

#include "kvwmi/currency.h"
#include "kvwmi/wmi_value.h"

namespace kvwmi {

/// The standard variant conversions. Each raises 94 "Invalid use of Null" for Null, 13 "Type mismatch" for
/// what has no such form (an array, an object, text that is no number) and 6 "Overflow" for what does not
/// fit.

/// "True"/"False" for a boolean, decimal digits for an integer, at most 7 (float) or 15 (double) significant
/// digits with an exponent such as "1E+15" where that is shorter, text as it is.
[[nodiscard]] std::string to_text(const wmi::Value& value);
/// 32-bit signed; fractions round half to even, True is -1.
[[nodiscard]] std::int32_t to_long(const wmi::Value& value);
[[nodiscard]] Currency to_currency(const wmi::Value& value);
[[nodiscard]] double to_double(const wmi::Value& value);
/// Any number but 0 is true; the texts "True" and "False" are taken in any case.
[[nodiscard]] bool to_boolean(const wmi::Value& value);

/// The 32-bit sum; what does not fit raises 6 "Overflow".
[[nodiscard]] std::int32_t checked_add(std::int32_t a, std::int32_t b);

/// Floating-point division as the automation run-time does it: 0/0 raises 6 "Overflow", any other division by
/// 0 raises 11 "Division by zero".
[[nodiscard]] double divide(double dividend, double divisor);

/// A double as a 32-bit integer, halves to the even neighbour. What does not fit, infinities and 0/0
/// included, raises 6 "Overflow".
[[nodiscard]] std::int32_t round_to_long(double value);

}  // namespace kvwmi
