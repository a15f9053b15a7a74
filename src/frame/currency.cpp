#include "kvwmi/currency.h"

#include <array>
#include <cmath>
#include <limits>
#include <optional>

#include "frame/decimal.h"
#include "frame/runtime_error.h"

namespace kvwmi {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr int kDecimals = 4;

[[noreturn]] void overflow() {
  throw runtime_error(RuntimeError::overflow);
}

constexpr std::uint64_t magnitude(std::int64_t value) {
  return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

std::int64_t with_sign(std::uint64_t magnitude, bool negative) {
  const auto limit = static_cast<std::uint64_t>(kMax) + (negative ? 1 : 0);
  if (magnitude > limit) overflow();
  return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

/// quotient of value / divisor, halves to the even neighbour
constexpr std::uint64_t divide_half_even(std::uint64_t value, std::uint64_t divisor) {
  const std::uint64_t quotient = value / divisor;
  const std::uint64_t twice = (value % divisor) * 2;
  return quotient + (twice > divisor || (twice == divisor && quotient % 2 == 1) ? 1 : 0);
}

}  // namespace

Currency Currency::from_integer(std::int64_t whole) {
  if (whole > kMax / kScale || whole < kMin / kScale) overflow();
  return from_scaled(whole * kScale);
}

Currency Currency::from_double(double value) {
  const double scaled = std::nearbyint(value * static_cast<double>(kScale));
  // 2^63 is exact as a double; the largest int64 is not.
  constexpr double kLimit = 9223372036854775808.0;
  if (!(scaled >= -kLimit && scaled < kLimit)) overflow();
  return from_scaled(static_cast<std::int64_t>(scaled));
}

Currency Currency::from_text(std::string_view text) {
  const std::optional<Decimal> decimal = parse_decimal(text);
  if (!decimal) throw runtime_error(RuntimeError::type_mismatch);
  if (decimal->digits.empty()) return {};

  // The first `kept` digits are the scaled value, the next one and what follows decide the rounding.
  const std::string& digits = decimal->digits;
  const int places = decimal->exponent + kDecimals;
  if (places < 0) return {};
  if (places > std::numeric_limits<std::uint64_t>::digits10) overflow();
  const auto kept = static_cast<std::size_t>(places);
  std::uint64_t units = 0;
  for (std::size_t i = 0; i < kept; ++i) {
    units = units * 10 + (i < digits.size() ? static_cast<std::uint64_t>(digits[i] - '0') : 0);
  }
  if (digits.size() > kept) {
    const bool half = digits[kept] == '5' && digits.find_first_not_of('0', kept + 1) == std::string::npos;
    if (half ? units % 2 == 1 : digits[kept] >= '5') ++units;
  }
  return from_scaled(with_sign(units, decimal->negative));
}

double Currency::to_double() const noexcept {
  return static_cast<double>(scaled_) / static_cast<double>(kScale);
}

std::int64_t Currency::rounded() const noexcept {
  const auto whole = static_cast<std::int64_t>(divide_half_even(magnitude(scaled_), kScale));
  return scaled_ < 0 ? -whole : whole;
}

std::string Currency::to_text() const {
  const std::uint64_t units = magnitude(scaled_);
  std::string text = scaled_ < 0 ? "-" : "";
  text += std::to_string(units / kScale);
  if (const std::uint64_t fraction = units % kScale; fraction != 0) {
    const std::string digits =
        std::to_string(kScale + static_cast<std::int64_t>(fraction));  // keeps leading zeros
    text += "." + digits.substr(1, digits.find_last_not_of('0'));
  }
  return text;
}

Currency operator+(Currency a, Currency b) {
  const std::int64_t x = a.scaled();
  const std::int64_t y = b.scaled();
  if (y < 0 ? x < kMin - y : x > kMax - y) overflow();
  return Currency::from_scaled(x + y);
}

Currency operator-(Currency a, Currency b) {
  const std::int64_t x = a.scaled();
  const std::int64_t y = b.scaled();
  if (y < 0 ? x > kMax + y : x < kMin + y) overflow();
  return Currency::from_scaled(x - y);
}

Currency operator*(Currency a, Currency b) {
  // |a| * |b| as four 32-bit limbs, then long division by the scale: 128-bit integers do not exist
  // everywhere.
  const std::uint64_t x = magnitude(a.scaled());
  const std::uint64_t y = magnitude(b.scaled());
  const std::uint64_t low = (x & 0xFFFFFFFF) * (y & 0xFFFFFFFF);
  const std::uint64_t middle1 = (x >> 32) * (y & 0xFFFFFFFF) + (low >> 32);
  const std::uint64_t middle2 = (x & 0xFFFFFFFF) * (y >> 32) + (middle1 & 0xFFFFFFFF);
  const std::uint64_t high = (x >> 32) * (y >> 32) + (middle1 >> 32) + (middle2 >> 32);
  const std::array<std::uint64_t, 4> limbs{high >> 32, high & 0xFFFFFFFF, middle2 & 0xFFFFFFFF,
                                           low & 0xFFFFFFFF};

  std::uint64_t remainder = 0;
  std::uint64_t quotient = 0;
  for (const std::uint64_t limb : limbs) {
    const std::uint64_t part = (remainder << 32) | limb;
    if (quotient >> 32 != 0) overflow();
    quotient = (quotient << 32) | (part / Currency::kScale);
    remainder = part % Currency::kScale;
  }
  const std::uint64_t twice = remainder * 2;
  if (twice > Currency::kScale || (twice == Currency::kScale && quotient % 2 == 1)) {
    if (++quotient == 0) overflow();
  }
  return Currency::from_scaled(with_sign(quotient, (a.scaled() < 0) != (b.scaled() < 0)));
}

}  // namespace kvwmi
