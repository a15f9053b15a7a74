#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "wmi/cim/value.h"

/// Class schemas as data. A provider's file holds one table in which each property stands with its reader, so
/// that what is declared and what is read cannot drift apart.
namespace kvwmi::cim {

class Instance;

/// What reading a property costs, for the engine and for people choosing what to select.
enum class Cost : std::uint8_t {
  free,  ///< known once the row exists
  read,  ///< one small read of a system file
  slow,  ///< a call to another process, or a walk
};

/// Property flags.
enum : std::uint8_t {
  kPlain = 0,
  kKey = 1,      ///< part of the object path
  kNarrows = 2,  ///< the provider can take `property = constant` and enumerate less for it
  kArray = 4,
  /// Like a key without being part of the path: a row in which it changes has ended, and another one has
  /// begun under the same keys.
  kIdentifies = 8,
};

struct Property {
  std::string_view name;
  CimType type;
  std::uint8_t flags;
  Cost cost;
  std::string_view description;   ///< one sentence: unit, range, origin
  Value (*read)(Instance& self);  ///< null for properties that the row is made with (see Instance::set)

  [[nodiscard]] constexpr bool is_key() const { return (flags & kKey) != 0; }
  [[nodiscard]] constexpr bool identifies() const { return (flags & kIdentifies) != 0; }
  [[nodiscard]] constexpr bool narrows() const { return (flags & kNarrows) != 0; }
  [[nodiscard]] constexpr bool is_array() const { return (flags & kArray) != 0; }
};

struct Parameter {
  std::string_view name;
  CimType type;
};

struct Method {
  std::string_view name;
  std::span<const Parameter> in;
  std::string_view description;
  /// `arguments` follow `in`, one for one, already of the declared types; an omitted one is NULL. Gives the
  /// method's ReturnValue; a failure of the provider itself raises.
  std::uint32_t (*call)(Instance& self, std::span<const Value> arguments);
};

struct Class {
  std::string_view name;
  std::span<const std::string_view> superclasses;  ///< nearest first
  std::string_view description;
  std::span<const Property> properties;
  std::span<const Method> methods;
  std::string_view name_space = R"(root\CIMV2)";
  bool is_abstract = false;

  /// Index of the property of that name in any case.
  [[nodiscard]] std::optional<std::size_t> find_property(std::string_view wanted) const;
  [[nodiscard]] const Method* find_method(std::string_view wanted) const;
  /// Whether this class is `wanted` or derives from it, in any case.
  [[nodiscard]] bool is_a(std::string_view wanted) const;
};

/// Reader of a property through a member function of the provider's row type:
///     {"Name", CimType::string, kNarrows, Cost::read, "...", reader<&ProcessRow::name>}
/// Not inline: rows of several files have one name, and the linker would take the reader of one for all.
// NOLINTBEGIN(misc-definitions-in-headers): each file has its own
template <auto member>
constexpr auto reader = nullptr;
template <typename Row, typename Result, Result (Row::*member)()>
constexpr auto reader<member> = +[](Instance& self) -> Value { return (static_cast<Row&>(self).*member)(); };

/// The same for a method: std::uint32_t (Row::*)(std::span<const Value>).
template <auto member>
constexpr auto caller = nullptr;
template <typename Row, std::uint32_t (Row::*member)(std::span<const Value>)>
constexpr auto caller<member> = +[](Instance& self, std::span<const Value> arguments) -> std::uint32_t {
  return (static_cast<Row&>(self).*member)(arguments);
};
// NOLINTEND(misc-definitions-in-headers)

}  // namespace kvwmi::cim
