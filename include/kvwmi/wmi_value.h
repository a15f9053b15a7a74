#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "kvwmi/export.h"

namespace kvwmi::wmi {

class Object;

/// The CIM types under WMI's own numbers (wbemCimtypeEnum).
enum class CimType : std::uint8_t {
  sint16 = 2,
  sint32 = 3,
  real32 = 4,
  real64 = 5,
  string = 8,
  boolean = 11,
  object = 13,
  sint8 = 16,
  uint8 = 17,
  uint16 = 18,
  uint32 = 19,
  sint64 = 20,
  uint64 = 21,
  datetime = 101,
  reference = 102,
  char16 = 103,
};

/// The type's name in schemas: "uint32", "ref" for a reference. Empty for a number that is no type.
[[nodiscard]] KVWMI_API std::string_view type_name(CimType type);

/// A property's value as WMI's scripting layer hands it to automation clients.
///
/// 64-bit integers, datetimes and references arrive as text, uint16 and uint32 as a 32-bit signed integer
/// (bit pattern), sint8 as 16 bits. Null is a value of its own and no zero. An array holds values of one
/// type.
class Value {
 public:
  using Array = std::vector<Value>;
  using Storage = std::variant<std::monostate, bool, std::uint8_t, std::int16_t, std::int32_t, float, double,
                               std::string, Array, std::shared_ptr<Object>>;

  Value() noexcept = default;  ///< Null
  template <typename T>
  requires(std::same_as<T, bool> || std::same_as<T, std::uint8_t> || std::same_as<T, std::int16_t> ||
           std::same_as<T, std::int32_t> || std::same_as<T, float> ||
           std::same_as<T, double>) explicit Value(T value) noexcept
      : storage_(value) {}
  explicit Value(std::string text) noexcept : storage_(std::move(text)) {}
  explicit Value(std::string_view text) : storage_(std::string(text)) {}
  explicit Value(const char* text) : storage_(std::string(text)) {}
  explicit Value(Array elements) noexcept : storage_(std::move(elements)) {}
  explicit Value(std::shared_ptr<Object> object) noexcept : storage_(std::move(object)) {}

  [[nodiscard]] bool is_null() const noexcept { return std::holds_alternative<std::monostate>(storage_); }
  /// The held T, or nullptr when the value is of another type.
  template <typename T>
  [[nodiscard]] const T* get_if() const noexcept {
    return std::get_if<T>(&storage_);
  }
  [[nodiscard]] const Storage& storage() const noexcept { return storage_; }

  friend bool operator==(const Value&, const Value&) = default;

 private:
  Storage storage_;
};

}  // namespace kvwmi::wmi
