#include "wmi/cim/schema.h"

#include <algorithm>

#include "frame/text.h"

namespace kvwmi::cim {

std::string_view type_name(CimType type) {
  switch (type) {
    case CimType::sint8:
      return "sint8";
    case CimType::uint8:
      return "uint8";
    case CimType::sint16:
      return "sint16";
    case CimType::uint16:
      return "uint16";
    case CimType::sint32:
      return "sint32";
    case CimType::uint32:
      return "uint32";
    case CimType::sint64:
      return "sint64";
    case CimType::uint64:
      return "uint64";
    case CimType::real32:
      return "real32";
    case CimType::real64:
      return "real64";
    case CimType::boolean:
      return "boolean";
    case CimType::string:
      return "string";
    case CimType::datetime:
      return "datetime";
    case CimType::reference:
      return "ref";
    case CimType::object:
      return "object";
    case CimType::char16:
      return "char16";
  }
  return "";
}

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
