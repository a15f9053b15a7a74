#include "wmi/cim/schema.h"

#include <algorithm>

#include "frame/text.h"

namespace kvwmi::cim {

namespace {

/// The member of that name in any case. Mostly it is spelt as declared, which is told faster.
template <typename Member>
const Member* find(std::span<const Member> members, std::string_view wanted) {
  auto found =
      std::find_if(members.begin(), members.end(), [&](const Member& m) { return m.name == wanted; });
  if (found == members.end())
    found = std::find_if(members.begin(), members.end(),
                         [&](const Member& m) { return equals_ignoring_case(m.name, wanted); });
  return found == members.end() ? nullptr : &*found;
}

}  // namespace

std::optional<std::size_t> Class::find_property(std::string_view wanted) const {
  const Property* const found = find(properties, wanted);
  return found ? std::optional(static_cast<std::size_t>(found - properties.data())) : std::nullopt;
}

const Method* Class::find_method(std::string_view wanted) const {
  return find(methods, wanted);
}

bool Class::is_a(std::string_view wanted) const {
  return equals_ignoring_case(name, wanted) ||
         std::any_of(superclasses.begin(), superclasses.end(),
                     [&](std::string_view s) { return equals_ignoring_case(s, wanted); });
}

}  // namespace kvwmi::cim
