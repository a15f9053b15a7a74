#include "stand_in/bag.h"

#include "frame/text.h"
#include "frame/wmi_status.h"

namespace kvwmi::stand_in {

wmi::Value Bag::get(std::string_view property) {
  if (equals_ignoring_case(property, "__CLASS")) return wmi::Value(class_name_);
  // The paths of events and parameters are Null.
  if (property.starts_with("__")) return wmi::Value();
  return find(property).value;
}

std::int32_t Bag::call(std::string_view, const wmi::NamedValues&) {
  throw wmi::wmi_error(wmi::Status::invalid_method, wmi::source::kObject);
}

void Bag::put(std::string_view property, wmi::Value value) {
  find(property).value = std::move(value);
}

wmi::Property& Bag::find(std::string_view name) {
  for (wmi::Property& property : properties_) {
    if (equals_ignoring_case(property.name, name)) return property;
  }
  throw wmi::wmi_error(wmi::Status::not_found, wmi::source::kObject);
}

std::shared_ptr<Bag> make_parameters(const std::vector<wmi::Property>& parameters) {
  return std::make_shared<Bag>("__PARAMETERS", parameters);
}

}  // namespace kvwmi::stand_in
