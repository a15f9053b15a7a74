#include "stand_in/value.h"

#include "frame/wmi_status.h"
#include "stand_in/object.h"
#include "windows/scripting/variant.h"
#include "windows/text/bstr.h"

namespace kvwmi::stand_in {

wmi::Value automation_value(const VARIANT* value) {
  if (!value) throw wmi::wmi_error(wmi::Status::invalid_parameter, wmi::source::kObject);
  return ground::value_from(*value, object_behind);
}

void put_automation_value(const wmi::Value& value, VARIANT* place) {
  if (!place) throw wmi::wmi_error(wmi::Status::invalid_parameter, wmi::source::kObject);
  VariantInit(place);
  ground::put_value(value, *place, [](const std::shared_ptr<wmi::Object>& object) -> ComPtr<IDispatch> {
    return make_object(object);
  });
}

void give_text(BSTR* place, const std::string& text) {
  if (!place) throw wmi::wmi_error(wmi::Status::invalid_parameter, wmi::source::kObject);
  *place = windows::Bstr(text).release();
}

}  // namespace kvwmi::stand_in
