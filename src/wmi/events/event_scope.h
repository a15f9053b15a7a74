#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "wmi/events/event_classes.h"
#include "wmi/wql/class_scope.h"

namespace kvwmi::embedded {

/// Slots of an event's condition: the target instance's own, from kPreviousSlots on the previous instance's,
/// and the event's.
inline constexpr std::size_t kPreviousSlots = std::size_t{1} << 20;
inline constexpr std::size_t kTimeCreatedSlot = std::size_t{1} << 21;
inline constexpr std::size_t kEventClassSlot = kTimeCreatedSlot + 1;

/// The names of an event about an instance of one class: `TargetInstance.X`, `PreviousInstance.X` where the
/// event class has one, `TargetInstance` itself for ISA, and the event's own. Keeps references to what it is
/// made with.
class EventScope final : public wql::Scope {
 public:
  EventScope(const EventClass& event_class, const cim::Class& schema, const cim::Location& location,
             const wql::Classes& classes, std::span<const cim::Class* const> relatives)
      : event_class_(event_class),
        schema_(schema),
        instance_(schema, location, classes, wql::Genus::instance, relatives),
        event_(*event_class.schema, location, classes) {}

  [[nodiscard]] std::optional<wql::Binding> find(std::string_view name) const override;
  [[nodiscard]] std::string_view title() const override { return event_class_.schema->name; }
  [[nodiscard]] std::vector<std::string_view> names() const override { return event_.names(); }
  /// Of a dotted name, by what its instance has.
  [[nodiscard]] std::string nearest(std::string_view name) const override;
  [[nodiscard]] const wql::Classes& classes() const override { return instance_.classes(); }

 private:
  [[nodiscard]] bool is_previous(std::string_view head) const;
  [[nodiscard]] bool is_instance(std::string_view head) const;

  const EventClass& event_class_;
  const cim::Class& schema_;
  wql::ClassScope instance_;
  wql::ClassScope event_;
};

}  // namespace kvwmi::embedded
