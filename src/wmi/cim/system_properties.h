#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "wmi/cim/instance.h"

namespace kvwmi::cim {

/// What every object has besides its class's properties.
enum class SystemProperty : std::uint8_t {
  genus,  ///< 1 for a class, 2 for an instance
  class_name,
  superclass,      ///< NULL at the top
  dynasty,         ///< the topmost superclass
  relpath,         ///< class and keys
  property_count,  ///< of the whole class
  derivation,      ///< superclasses, nearest first
  server,
  name_space,
  path,
};

/// Where a connection leads: what paths begin with.
struct Location {
  std::string server;
  std::string name_space;
};

/// In the order of SystemProperty, in their usual spelling: `__GENUS`, `__CLASS`, ...
[[nodiscard]] std::span<const std::string_view> system_property_names();
/// In any case.
[[nodiscard]] std::optional<SystemProperty> find_system_property(std::string_view name);
[[nodiscard]] CimType type_of(SystemProperty property);

/// Of the class itself, as an object with the genus of a class.
[[nodiscard]] Value class_value(SystemProperty property, const Class& schema, const Location& location);
/// Of an instance; its paths are NULL where a key is.
[[nodiscard]] Value instance_value(SystemProperty property, Instance& instance, const Location& location);

}  // namespace kvwmi::cim
