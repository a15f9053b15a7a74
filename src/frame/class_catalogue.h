#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

/// The component's automation interface as data: the type library, its classes, their members. Whatever needs
/// to know the interface at run time reads it here; the type library itself is held against it by a test.
namespace kvwmi::catalogue {

enum class Kind : std::uint8_t {
  none,          ///< no result
  long_integer,  ///< 32-bit signed
  boolean,       ///< 16 bits, True is -1
  currency,
  string,
  string_array,
  object,     ///< a reference to an object of one of the classes
  enumerator  ///< an automation enumerator of variants
};

struct Type {
  Kind kind = Kind::none;
  std::string_view class_name;  ///< of an object

  friend constexpr bool operator==(const Type&, const Type&) = default;
};

enum class Passing : std::uint8_t { by_value, by_reference };

/// What an optional parameter holds when the caller leaves it out.
using Default = std::variant<std::int32_t, bool, std::string_view>;

struct Parameter {
  std::string_view name;
  Type type;
  Passing passing = Passing::by_value;
  std::optional<Default> default_value = std::nullopt;  ///< present: the parameter is optional
};

enum class MemberKind : std::uint8_t { method, property_get, property_let };

struct Member {
  std::uint32_t dispatch_id;  ///< the two accessors of a property share one
  MemberKind kind;
  std::string_view name;
  Type result;
  std::span<const Parameter> parameters;  ///< the value of a property_let is its last one
};

struct Class {
  std::string_view name;
  std::string_view class_id;        ///< "{8-4-4-4-12}", upper case
  std::string_view interface_name;  ///< the default interface
  std::string_view interface_id;
  std::optional<std::int32_t> error_number;  ///< of every failure, where the class has one
  std::string_view role;
  std::span<const Member> members;  ///< in interface order
};

struct TypeLibrary {
  std::string_view name;
  std::string_view id;
  std::uint16_t major_version;
  std::uint16_t minor_version;
  std::string_view help_string;
  std::span<const Class> classes;
};

extern const TypeLibrary kTypeLibrary;

/// The class of that name, or null.
[[nodiscard]] const Class* find_class(std::string_view name) noexcept;

}  // namespace kvwmi::catalogue
