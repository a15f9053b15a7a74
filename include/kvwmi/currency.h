#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

#include "kvwmi/export.h"

namespace kvwmi {

/// The automation currency type: a 64-bit fixed-point number with four decimals, used for sizes and
/// thresholds.
///
/// Range -922,337,203,685,477.5808 to 922,337,203,685,477.5807. Arithmetic and conversions round half to
/// even; what does not fit raises Error 6 "Overflow".
class KVWMI_API Currency {
 public:
  static constexpr std::int64_t kScale = 10'000;

  constexpr Currency() noexcept = default;
  [[nodiscard]] static constexpr Currency from_scaled(std::int64_t scaled) noexcept {
    Currency result;
    result.scaled_ = scaled;
    return result;
  }
  [[nodiscard]] static Currency from_integer(std::int64_t whole);
  [[nodiscard]] static Currency from_double(double value);
  /// Decimal text with an optional sign, fraction and exponent; anything else raises Error 13 "Type
  /// mismatch".
  [[nodiscard]] static Currency from_text(std::string_view text);

  /// The value times 10,000.
  [[nodiscard]] constexpr std::int64_t scaled() const noexcept { return scaled_; }
  [[nodiscard]] double to_double() const noexcept;
  /// The nearest whole number, halves to the even neighbour.
  [[nodiscard]] std::int64_t rounded() const noexcept;
  /// Plain digits, a leading minus where negative, up to four decimals without trailing zeros.
  [[nodiscard]] std::string to_text() const;

  friend Currency operator+(Currency a, Currency b);
  friend Currency operator-(Currency a, Currency b);
  friend Currency operator*(Currency a, Currency b);
  Currency& operator+=(Currency other) { return *this = *this + other; }
  // NOLINTNEXTLINE(modernize-use-nullptr): what the compiler writes here holds a 0
  friend constexpr auto operator<=>(Currency, Currency) noexcept = default;

 private:
  std::int64_t scaled_ = 0;
};

KVWMI_API Currency operator+(Currency a, Currency b);
KVWMI_API Currency operator-(Currency a, Currency b);
KVWMI_API Currency operator*(Currency a, Currency b);

}  // namespace kvwmi
