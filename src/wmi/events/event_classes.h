#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "wmi/cim/instance.h"

/// The classes of the events that polling makes, and the events themselves.
namespace kvwmi::embedded {

/// What happened to an instance. The values are bits of a set.
enum class Change : std::uint8_t { creation = 1, deletion = 2, modification = 4 };

struct EventClass {
  const cim::Class* schema;
  std::uint8_t changes;  ///< set of Change that it covers
  bool has_previous;     ///< whether it has PreviousInstance
};

/// The class of that name in any case, of those that polling serves.
[[nodiscard]] const EventClass* find_event_class(std::string_view name);
/// Whether WMI knows an event class of that name that this service has no source for.
[[nodiscard]] bool is_other_event_class(std::string_view name);

/// A class whose instances are remembered: it has no methods, since what is remembered cannot be acted on.
struct RememberedClass {
  RememberedClass(const cim::Class& original, std::shared_ptr<const void> kept_by)
      : schema(original), owner(std::move(kept_by)) {
    schema.methods = {};
  }
  cim::Class schema;
  std::shared_ptr<const void> owner;  ///< of the names in it
};

/// An instance whose values all stand: reading it changes nothing, so any number of threads may. Properties
/// that were not given a value are NULL.
class FrozenInstance final : public cim::Instance {
 public:
  explicit FrozenInstance(const cim::Class& schema) : Instance(schema) {
    for (std::size_t column = 0; column < schema.properties.size(); ++column) set(column, {});
  }
  explicit FrozenInstance(std::shared_ptr<const RememberedClass> remembered)
      : FrozenInstance(remembered->schema) {
    class_ = std::move(remembered);  // NOLINT(cppcoreguidelines-prefer-member-initializer): it delegates
  }

 private:
  std::shared_ptr<const RememberedClass> class_;
};

/// An event. `previous` belongs to a modification; `created` is its time in units of 100 ns since 1601, UTC.
[[nodiscard]] std::shared_ptr<cim::Instance> make_event(Change change, std::shared_ptr<cim::Instance> target,
                                                        std::shared_ptr<cim::Instance> previous,
                                                        std::uint64_t created);
/// The event that stands for `count` events of a group.
[[nodiscard]] std::shared_ptr<cim::Instance> make_aggregate_event(
    std::shared_ptr<cim::Instance> representative, std::uint64_t count);

}  // namespace kvwmi::embedded
