#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "kvwmi/wmi_value.h"

namespace kvwmi::cim {

class Instance;

using wmi::CimType;

/// A property's value inside the embedded service, in the widest form of its kind: every signed type is an
/// int64, every unsigned one a uint64, both reals a double; datetime and reference are text. What a client
/// sees follows from the declared CIM type (to_automation). Monostate is NULL.
class Value {
 public:
  using Array = std::vector<Value>;
  using Storage = std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, Array,
                               std::shared_ptr<Instance>>;

  Value() noexcept = default;
  Value(bool value) noexcept : storage_(value) {}                    // NOLINT(google-explicit-constructor)
  Value(std::int64_t value) noexcept : storage_(value) {}            // NOLINT(google-explicit-constructor)
  Value(std::uint64_t value) noexcept : storage_(value) {}           // NOLINT(google-explicit-constructor)
  Value(double value) noexcept : storage_(value) {}                  // NOLINT(google-explicit-constructor)
  Value(std::string value) noexcept : storage_(std::move(value)) {}  // NOLINT(google-explicit-constructor)
  Value(const char* value) : storage_(std::string(value)) {}         // NOLINT(google-explicit-constructor)
  Value(Array value) noexcept : storage_(std::move(value)) {}        // NOLINT(google-explicit-constructor)
  // NOLINTNEXTLINE(google-explicit-constructor)
  Value(std::shared_ptr<Instance> value) noexcept : storage_(std::move(value)) {}

  [[nodiscard]] bool is_null() const noexcept { return std::holds_alternative<std::monostate>(storage_); }
  template <typename T>
  [[nodiscard]] const T* get_if() const noexcept {
    return std::get_if<T>(&storage_);
  }
  [[nodiscard]] const Storage& storage() const noexcept { return storage_; }

  friend bool operator==(const Value&, const Value&) = default;

 private:
  Storage storage_;
};

}  // namespace kvwmi::cim
