#pragma once

#include <map>
#include <span>

#include "wmi/cim/instance.h"
#include "wmi/cim/system_properties.h"
#include "wmi/wql/scope.h"

namespace kvwmi::wql {

/// Slots from here on are system properties.
inline constexpr std::size_t kFirstSystemSlot = std::size_t{1} << 16;

/// What a condition is asked of.
enum class Genus : std::uint8_t {
  class_object = 1,  ///< the class itself: system properties and `__this` only, known without a row
  instance = 2,      ///< its instances: properties and dotted names through embedded objects too
};

/// The names of one class. Keeps references to what it is made with.
class ClassScope final : public Scope {
 public:
  /// `relatives` are classes whose properties have names here too; where this class lacks one, it is NULL.
  ClassScope(const cim::Class& schema, const cim::Location& location, const Classes& classes,
             Genus genus = Genus::instance, std::span<const cim::Class* const> relatives = {})
      : schema_(schema), location_(location), classes_(classes), genus_(genus), relatives_(relatives) {}

  [[nodiscard]] std::optional<Binding> find(std::string_view name) const override;
  [[nodiscard]] std::string_view title() const override;
  [[nodiscard]] std::vector<std::string_view> names() const override;
  [[nodiscard]] const Classes& classes() const override { return classes_; }

 private:
  [[nodiscard]] std::optional<Binding> find_head(std::string_view name) const;

  const cim::Class& schema_;
  const cim::Location& location_;
  const Classes& classes_;
  Genus genus_;
  std::span<const cim::Class* const> relatives_;
};

/// A row of a ClassScope.
class InstanceRow final : public Row {
 public:
  InstanceRow(cim::Instance& instance, const cim::Location& location)
      : instance_(instance), location_(location) {}

  [[nodiscard]] const cim::Value& value(std::size_t slot) override {
    return slot < kFirstSystemSlot ? instance_.get(slot) : system_value(slot);
  }

 private:
  const cim::Value& system_value(std::size_t slot);

  cim::Instance& instance_;
  const cim::Location& location_;
  std::map<std::size_t, cim::Value> system_values_;
};

}  // namespace kvwmi::wql
