#pragma once

#include <algorithm>
#include <chrono>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "frame/text.h"
#include "linux/machine.h"
#include "wmi/cim/datetime.h"
#include "wmi/cim/schema.h"
#include "wmi/provider.h"

/// What the property tables of the providers are written with.
namespace kvwmi::ground::providers {

using cim::CimType;
using cim::Cost;
using cim::Property;
using cim::Value;

/// Description of a property that the class has and this system has no source for.
inline constexpr std::string_view kNotKept = "Not kept on this system: always NULL.";

/// A property of the class that is always NULL here.
[[nodiscard]] constexpr Property not_kept(std::string_view name, CimType type,
                                          std::uint8_t flags = cim::kPlain) {
  return {name, type, flags, Cost::free, kNotKept, nullptr};
}

/// A text that a table holds as a template argument.
template <std::size_t size>
struct Constant {
  constexpr Constant(const char (&text)[size]) { std::copy_n(text, size, characters); }  // NOLINT
  char characters[size];
};

/// Reader of a property that is the same text in every row.
template <Constant text>
constexpr auto always = +[](cim::Instance&) -> Value { return Value(text.characters); };

/// Reader of a property that is the same number in every row.
template <std::uint64_t number>
constexpr auto always_number = +[](cim::Instance&) -> Value { return Value(number); };

template <std::unsigned_integral Number>
[[nodiscard]] Value number(Number value) {
  return Value(std::uint64_t{value});
}
template <typename T>
[[nodiscard]] Value or_null(std::optional<T> value) {
  if (!value) return {};
  if constexpr (std::unsigned_integral<T>) {
    return number(*value);
  } else {
    return Value(std::string(*std::move(value)));
  }
}

/// Reader of a property that is false in every row.
inline constexpr auto always_false = +[](cim::Instance&) -> Value { return Value(false); };

/// Index of a property in a table, for code that must name a column; a name that the table lacks does not
/// compile.
template <std::size_t size>
[[nodiscard]] consteval std::size_t column(const Property (&table)[size], std::string_view name) {
  for (std::size_t i = 0; i < size; ++i) {
    if (table[i].name == name) return i;
  }
  throw "no such property";
}

/// A moment in UTC as the machine's local time with its offset.
[[nodiscard]] inline Value datetime(const Machine& machine, std::chrono::microseconds since_1970) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since_1970);
  return cim::DateTime::instant(cim::DateTime::Instant(since_1970), machine.utc_offset(seconds.count()))
      .text();
}

/// Whether a row in which all of `columns` have the text `value` may satisfy one of the equalities, or there
/// are none. Equalities on other columns are left to the engine.
[[nodiscard]] inline bool admits(const embedded::Request& request, std::initializer_list<std::size_t> columns,
                                 std::string_view value) {
  return request.any_of.empty() ||
         std::any_of(request.any_of.begin(), request.any_of.end(), [&](const embedded::Equality& equality) {
           const bool about_it = std::find(columns.begin(), columns.end(), equality.column) != columns.end();
           const auto* text = equality.constant.get_if<std::string>();
           return !about_it || text == nullptr || equals_ignoring_case(*text, value);
         });
}

}  // namespace kvwmi::ground::providers
