#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "wmi/cim/schema.h"
#include "wmi/cim/value.h"

namespace kvwmi::cim {

/// One row of a class. A property is read when it is first asked for and then kept, so a query pays only for
/// what it uses and an object never contradicts itself. A property that can no longer be read (the process
/// has ended meanwhile) is NULL.
///
/// Providers derive from it, keep what identifies the row (a pid, a unit path) and offer one member function
/// per property. Used by one thread at a time.
class Instance {
 public:
  explicit Instance(const Class& schema) : schema_(&schema) {}
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  virtual ~Instance() = default;

  [[nodiscard]] const Class& schema() const noexcept { return *schema_; }

  /// The value of a column; the reference stays valid as long as the row.
  [[nodiscard]] const Value& get(std::size_t column) {
    std::optional<Value>& slot = slots()[column];
    if (!slot) slot = schema_->properties[column].read ? schema_->properties[column].read(*this) : Value();
    return *slot;
  }
  /// Gives a column its value without its reader.
  void set(std::size_t column, Value value) { slots()[column] = std::move(value); }

 private:
  std::vector<std::optional<Value>>& slots() {
    if (slots_.empty()) slots_.resize(schema_->properties.size());
    return slots_;
  }

  const Class* schema_;
  std::vector<std::optional<Value>> slots_;
};

}  // namespace kvwmi::cim
