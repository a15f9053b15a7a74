#include "frame/conversion.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>

#include "frame/decimal.h"
#include "frame/runtime_error.h"
#include "frame/text.h"

namespace kvwmi {
namespace {

[[noreturn]] void raise(RuntimeError number) {
  throw runtime_error(number);
}

/// Runs `convert` on the held scalar; Null, arrays and objects have none.
template <typename Convert>
auto on_scalar(const wmi::Value& value, Convert convert) {
  using Result = std::invoke_result_t<Convert, bool>;
  return std::visit(
      [&](const auto& held) -> Result {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::monostate>) {
          raise(RuntimeError::invalid_use_of_null);
        } else if constexpr (std::is_arithmetic_v<Held> || std::is_same_v<Held, std::string>) {
          return convert(held);
        } else {
          raise(RuntimeError::type_mismatch);
        }
      },
      value.storage());
}

/// "True" or "False" in any case.
std::optional<bool> boolean_word(std::string_view text) {
  if (equals_ignoring_case(text, "true")) return true;
  if (equals_ignoring_case(text, "false")) return false;
  return std::nullopt;
}

double number_of(bool value) {
  return value ? -1.0 : 0.0;
}
double number_of(const std::string& text) {
  const std::optional<Decimal> decimal = parse_decimal(text);
  if (!decimal) raise(RuntimeError::type_mismatch);
  const std::optional<double> value = to_double(*decimal);
  if (!value) raise(RuntimeError::overflow);
  return *value;
}
template <typename T>
requires std::is_arithmetic_v<T>
double number_of(T value) {
  return static_cast<double>(value);
}

template <typename T>
std::string digits_of(T value) {
  std::array<char, 32> buffer{};
  char* const begin = buffer.data();
  char* const end = begin + buffer.size();
  if constexpr (std::is_floating_point_v<T>) {
    if (value == 0) return "0";  // the negative zero too
    constexpr int kSignificant = std::is_same_v<T, float> ? 7 : 15;
    std::string text(begin, std::to_chars(begin, end, value, std::chars_format::general, kSignificant).ptr);
    std::replace(text.begin(), text.end(), 'e', 'E');
    return text;
  } else {
    return {begin, std::to_chars(begin, end, value).ptr};
  }
}

}  // namespace

std::string to_text(const wmi::Value& value) {
  return on_scalar(value, [](const auto& held) -> std::string {
    using Held = std::decay_t<decltype(held)>;
    if constexpr (std::is_same_v<Held, bool>) {
      return held ? "True" : "False";
    } else if constexpr (std::is_same_v<Held, std::string>) {
      return held;
    } else {
      return digits_of(held);
    }
  });
}

std::int32_t to_long(const wmi::Value& value) {
  return on_scalar(value, [](const auto& held) { return round_to_long(number_of(held)); });
}

Currency to_currency(const wmi::Value& value) {
  return on_scalar(value, [](const auto& held) {
    using Held = std::decay_t<decltype(held)>;
    if constexpr (std::is_same_v<Held, std::string>) {
      return Currency::from_text(held);
    } else {
      return Currency::from_double(number_of(held));
    }
  });
}

double to_double(const wmi::Value& value) {
  return on_scalar(value, [](const auto& held) { return number_of(held); });
}

bool to_boolean(const wmi::Value& value) {
  return on_scalar(value, [](const auto& held) {
    if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::string>) {
      if (const auto word = boolean_word(held)) return *word;
    }
    return number_of(held) != 0.0;
  });
}

std::int32_t checked_add(std::int32_t a, std::int32_t b) {
  const std::int64_t sum = std::int64_t{a} + b;
  if (sum != static_cast<std::int32_t>(sum)) raise(RuntimeError::overflow);
  return static_cast<std::int32_t>(sum);
}

double divide(double dividend, double divisor) {
  if (divisor == 0.0) raise(dividend == 0.0 ? RuntimeError::overflow : RuntimeError::division_by_zero);
  return dividend / divisor;
}

std::int32_t round_to_long(double value) {
  const double whole = std::nearbyint(value);
  if (!(whole >= std::numeric_limits<std::int32_t>::min() &&
        whole <= std::numeric_limits<std::int32_t>::max())) {
    raise(RuntimeError::overflow);
  }
  return static_cast<std::int32_t>(whole);
}

}  // namespace kvwmi
