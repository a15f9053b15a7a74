#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "frame/wmi_access.h"
#include "wmi/cim/instance.h"
#include "wmi/cim/system_properties.h"

namespace kvwmi::embedded {

/// What the objects of one result have in common.
struct ObjectContext {
  cim::Location location;
  /// Columns that the query selected, ascending; nullopt for all of the class.
  std::optional<std::vector<std::size_t>> columns = std::nullopt;
  /// Keeps alive what the instance's schema and readers stand on.
  std::shared_ptr<const void> owner = nullptr;
  /// Objects that are nowhere stored, events, have no server, namespace and paths.
  bool stored = true;
};

/// The client's view of a row. A property that the query did not select is "Not found " as one that the class
/// lacks. Failures carry the Source of an object.
[[nodiscard]] std::shared_ptr<wmi::Object> make_object(std::shared_ptr<cim::Instance> instance,
                                                       std::shared_ptr<const ObjectContext> context);

/// The client's view of a class: its properties with their types and descriptions, all values NULL.
[[nodiscard]] std::shared_ptr<wmi::Object> make_class_object(const cim::Class& schema,
                                                             std::shared_ptr<const ObjectContext> context);

}  // namespace kvwmi::embedded
