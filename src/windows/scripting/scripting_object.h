#pragma once

#include <windows.h>

#include <wbemdisp.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "frame/wmi_access.h"
#include "windows/scripting/variant.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::ground {

/// One SWbemObject.
class ScriptingObject final : public wmi::Object {
 public:
  explicit ScriptingObject(ComPtr<ISWbemObject> object) : object_(std::move(object)) {}

  wmi::Value get(std::string_view property) override;
  std::vector<wmi::Property> properties() override;
  std::int32_t call(std::string_view method, const wmi::NamedValues& arguments) override;
  std::string class_name() override;

  [[nodiscard]] ISWbemObject* automation_object() const noexcept { return object_.get(); }

 private:
  ComPtr<ISWbemPropertySet>& property_set();
  ComPtr<ISWbemPropertySet>& system_property_set();
  [[nodiscard]] ComPtr<ISWbemObject> method_arguments(const std::string& method,
                                                      const wmi::NamedValues& arguments);

  ComPtr<ISWbemObject> object_;
  ComPtr<ISWbemPropertySet> properties_;
  ComPtr<ISWbemPropertySet> system_properties_;
};

/// The object behind any automation object that is an SWbemObject; raises "Type mismatch" for others.
[[nodiscard]] std::shared_ptr<wmi::Object> scripting_object_from(IUnknown& object);

/// Values as the scripting objects hand them out and take them.
[[nodiscard]] wmi::Value scripting_value_from(const VARIANT& variant);
void put_scripting_value(const wmi::Value& value, VARIANT& result);

}  // namespace kvwmi::ground
