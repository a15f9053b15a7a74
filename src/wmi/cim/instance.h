#pragma once

#include <cstddef>
#include <forward_list>
#include <memory>
#include <utility>

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
    if (const Known* known = find(column)) return known->value;
    Value value = schema_->properties[column].read ? schema_->properties[column].read(*this) : Value();
    return known_.emplace_front(column, std::move(value)).value;
  }
  /// Gives a column its value without its reader.
  void set(std::size_t column, Value value) {
    if (Known* known = find(column)) {
      known->value = std::move(value);
    } else {
      known_.emplace_front(column, std::move(value));
    }
  }

 private:
  /// Most rows are asked for one or two of their many properties, so they keep those and no room for the
  /// others.
  struct Known {
    Known(std::size_t of, Value held) : column(of), value(std::move(held)) {}
    std::size_t column;
    Value value;
  };

  Known* find(std::size_t column) {
    for (Known& known : known_) {
      if (known.column == column) return &known;
    }
    return nullptr;
  }

  const Class* schema_;
  std::forward_list<Known> known_;
};

}  // namespace kvwmi::cim
