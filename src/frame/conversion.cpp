#include "frame/conversion.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>

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
  return Currency::from_text(text).to_double();
}
template <typename T>
requires std::is_arithmetic_v<T>
double number_of(T value) {
  return static_cast<double>(value);
}

template <typename T>
std::string shortest(T value) {
  std::array<char, 32> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  return {buffer.data(), end};
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
      return shortest(held);
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

std::int32_t round_to_long(double value) {
  const double whole = std::nearbyint(value);
  if (!(whole >= std::numeric_limits<std::int32_t>::min() &&
        whole <= std::numeric_limits<std::int32_t>::max())) {
    raise(RuntimeError::overflow);
  }
  return static_cast<std::int32_t>(whole);
}

}  // namespace kvwmi
