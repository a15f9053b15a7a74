#include "wmi/cim/schema.h"

#include <algorithm>

#include "frame/text.h"

namespace kvwmi::cim {

std::optional<std::size_t> Class::find_property(std::string_view wanted) const {
  const auto found = std::find_if(properties.begin(), properties.end(),
                                  [&](const Property& p) { return equals_ignoring_case(p.name, wanted); });
  if (found == properties.end()) return std::nullopt;
  return static_cast<std::size_t>(found - properties.begin());
}

const Method* Class::find_method(std::string_view wanted) const {
  const auto found = std::find_if(methods.begin(), methods.end(),
                                  [&](const Method& m) { return equals_ignoring_case(m.name, wanted); });
  return found == methods.end() ? nullptr : &*found;
}

bool Class::is_a(std::string_view wanted) const {
  return equals_ignoring_case(name, wanted) ||
         std::any_of(superclasses.begin(), superclasses.end(),
                     [&](std::string_view s) { return equals_ignoring_case(s, wanted); });
}

}  // namespace kvwmi::cim
