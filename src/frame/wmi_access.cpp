#include "frame/wmi_access.h"

#include "frame/text.h"
#include "frame/wmi_status.h"

namespace kvwmi::wmi {

const Value& named_value(const NamedValues& values, std::string_view name) {
  for (const NamedValue& entry : values) {
    if (equals_ignoring_case(entry.name, name)) return entry.value;
  }
  throw wmi_error(Status::not_found, "SWbemNamedValueSet");
}

std::shared_ptr<Object> first_of(ObjectSet& set) {
  return set.enumerate()->next();
}

}  // namespace kvwmi::wmi
