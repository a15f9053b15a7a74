#include "frame/decimal.h"

#include <charconv>
#include <cmath>

namespace kvwmi {
namespace {

/// Beyond this an exponent changes nothing any more, and sums of it stay small.
constexpr int kExponentLimit = 1'000'000;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view without_blanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool take_sign(std::string_view& text) {
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  return negative;
}

/// Digits of an exponent with its sign, to the end of the text.
std::optional<int> parse_exponent(std::string_view text) {
  const bool negative = take_sign(text);
  if (text.empty()) return std::nullopt;
  int value = 0;
  for (const char c : text) {
    if (!is_digit(c)) return std::nullopt;
    if (value < kExponentLimit) value = value * 10 + (c - '0');
  }
  return negative ? -value : value;
}

}  // namespace

std::optional<Decimal> parse_decimal(std::string_view text) {
  text = without_blanks(text);
  Decimal result;
  result.negative = take_sign(text);

  bool any_digit = false;
  bool point = false;
  while (!text.empty() && (is_digit(text.front()) || (text.front() == '.' && !point))) {
    const char c = text.front();
    text.remove_prefix(1);
    if (c == '.') {
      point = true;
      continue;
    }
    any_digit = true;
    const bool leading_zero = c == '0' && result.digits.empty();
    if (!leading_zero) result.digits.push_back(c);
    // A digit before the point moves the point right, a zero just behind it moves it left.
    if (!point && !leading_zero) ++result.exponent;
    if (point && leading_zero) --result.exponent;
  }
  if (!any_digit) return std::nullopt;
  if (text.empty()) return result;

  if (text.front() != 'e' && text.front() != 'E') return std::nullopt;
  const std::optional<int> exponent = parse_exponent(text.substr(1));
  if (!exponent) return std::nullopt;
  result.exponent += *exponent;
  return result;
}

std::optional<double> to_double(const Decimal& decimal) {
  if (decimal.digits.empty()) return decimal.negative ? -0.0 : 0.0;
  const std::string text = std::string(decimal.negative ? "-" : "") + "0." + decimal.digits + "e" +
                           std::to_string(decimal.exponent);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range) {
    if (decimal.exponent > 0) return std::nullopt;
    return 0.0;
  }
  return value;
}

}  // namespace kvwmi
