#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvwmi {

/// A decimal number as it stands in a text: 0.DIGITS times ten to `exponent`.
struct Decimal {
  bool negative = false;
  std::string digits;  ///< without leading zeros; empty is zero
  int exponent = 0;
};

/// Reads blanks, a sign, digits with at most one point, and an exponent, in that order and nothing else;
/// nullopt for any other text. Locale plays no part.
[[nodiscard]] std::optional<Decimal> parse_decimal(std::string_view text);

/// The nearest double; nullopt where it is beyond a double's range. What is too small becomes 0.
[[nodiscard]] std::optional<double> to_double(const Decimal& decimal);

}  // namespace kvwmi
