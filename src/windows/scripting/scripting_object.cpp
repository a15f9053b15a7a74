#include "windows/scripting/scripting_object.h"

#include "frame/conversion.h"
#include "frame/runtime_error.h"
#include "frame/wmi_status.h"
#include "windows/automation/owned_variant.h"
#include "windows/scripting/automation_list.h"
#include "windows/scripting/call_error.h"
#include "windows/text/bstr.h"

namespace kvwmi::ground {
namespace {

using wmi::source::kObject;
using wmi::source::kObjectPath;
using wmi::source::kPropertySet;

constexpr const char* kMethodSet = "SWbemMethodSet";
constexpr const char* kProperty = "SWbemProperty";

ComPtr<ISWbemProperty> find_property(ISWbemPropertySet& set, std::string_view name) {
  ComPtr<ISWbemProperty> property;
  const windows::Bstr key(name);
  try {
    invoke(kObject, [&] { return set.Item(key.get(), 0, property.put()); });
  } catch (const Error& error) {
    // Whatever the set calls itself: to clients, which name a property on the object, it is the object's
    // failure.
    throw Error(error.number(), kObject, error.description());
  }
  return property;
}

wmi::Value value_of(ISWbemProperty& property) {
  com::OwnedVariant value;
  invoke(kProperty, [&] { return property.get_Value(value.put()); });
  return scripting_value_from(value);
}

bool is_key(ISWbemProperty& property) {
  ComPtr<ISWbemQualifierSet> qualifiers;
  if (FAILED(property.get_Qualifiers_(qualifiers.put()))) return false;
  ComPtr<ISWbemQualifier> key;
  const windows::Bstr name("key");
  return SUCCEEDED(qualifiers->Item(name.get(), 0, key.put()));
}

wmi::Property describe(ISWbemProperty& property) {
  wmi::Property result;
  windows::Bstr name;
  invoke(kProperty, [&] { return property.get_Name(name.receive()); });
  WbemCimtypeEnum type{};
  invoke(kProperty, [&] { return property.get_CIMType(&type); });
  VARIANT_BOOL is_array = VARIANT_FALSE;
  invoke(kProperty, [&] { return property.get_IsArray(&is_array); });
  result.name = windows::from_bstr(name.get());
  result.value = value_of(property);
  result.type = static_cast<wmi::CimType>(type);
  result.is_array = is_array != VARIANT_FALSE;
  result.is_key = is_key(property);
  return result;
}

}  // namespace

ComPtr<ISWbemPropertySet>& ScriptingObject::property_set() {
  if (!properties_) {
    invoke(kObject, [&] { return object_->get_Properties_(properties_.put()); });
  }
  return properties_;
}

ComPtr<ISWbemPropertySet>& ScriptingObject::system_property_set() {
  if (!system_properties_) {
    const auto extended = object_.as<ISWbemObjectEx>();
    // Without the extended interface the ordinary set is asked; some services have them there.
    if (!extended) return property_set();
    invoke(kObject, [&] { return extended->get_SystemProperties_(system_properties_.put()); });
  }
  return system_properties_;
}

wmi::Value ScriptingObject::get(std::string_view property) {
  const auto& set = property.starts_with("__") ? system_property_set() : property_set();
  return value_of(*find_property(*set.get(), property).get());
}

std::vector<wmi::Property> ScriptingObject::properties() {
  ComPtr<IUnknown> list;
  invoke(kPropertySet, [&] { return property_set()->get__NewEnum(list.put()); });
  std::vector<wmi::Property> result;
  for_each_entry<ISWbemProperty>(list.get(), kPropertySet,
                                 [&](ISWbemProperty& property) { result.push_back(describe(property)); });
  return result;
}

ComPtr<ISWbemObject> ScriptingObject::method_arguments(const std::string& method,
                                                       const wmi::NamedValues& arguments) {
  ComPtr<ISWbemMethodSet> methods;
  invoke(kObject, [&] { return object_->get_Methods_(methods.put()); });
  ComPtr<ISWbemMethod> definition;
  const windows::Bstr name(method);
  invoke(kMethodSet, [&] { return methods->Item(name.get(), 0, definition.put()); });
  if (arguments.empty()) return {};

  ComPtr<ISWbemObject> parameters;
  invoke("SWbemMethod", [&] { return definition->get_InParameters(parameters.put()); });
  if (!parameters) throw wmi::wmi_error(wmi::Status::invalid_method_parameters, kObject);
  ComPtr<ISWbemObject> instance;
  // A service that cannot spawn takes the values on the definition, which is this call's own copy.
  if (FAILED(parameters->SpawnInstance_(0, instance.put())) || !instance) instance = parameters;

  ComPtr<ISWbemPropertySet> set;
  invoke(kObject, [&] { return instance->get_Properties_(set.put()); });
  for (const wmi::NamedValue& argument : arguments) {
    com::OwnedVariant value;
    put_scripting_value(argument.value, value);
    const auto property = find_property(*set.get(), argument.name);
    invoke(kProperty, [&] { return property->put_Value(&value); });
  }
  return instance;
}

std::int32_t ScriptingObject::call(std::string_view method, const wmi::NamedValues& arguments) {
  const auto in = method_arguments(std::string(method), arguments);
  ComPtr<ISWbemObject> out;
  const windows::Bstr name(method);
  invoke(kObject, [&] { return object_->ExecMethod_(name.get(), in.get(), 0, nullptr, out.put()); });
  return out ? to_long(ScriptingObject(out).get("ReturnValue")) : 0;
}

std::string ScriptingObject::class_name() {
  ComPtr<ISWbemObjectPath> path;
  const HRESULT result = object_->get_Path_(path.put());
  if (result == E_NOTIMPL) return to_text(get("__CLASS"));
  if (FAILED(result)) throw call_error(result, kObject);
  windows::Bstr name;
  invoke(kObjectPath, [&] { return path->get_Class(name.receive()); });
  return windows::from_bstr(name.get());
}

std::shared_ptr<wmi::Object> scripting_object_from(IUnknown& object) {
  auto found = ComPtr<ISWbemObject>::query<ISWbemObject>(&object);
  if (!found) throw runtime_error(RuntimeError::type_mismatch);
  return std::make_shared<ScriptingObject>(std::move(found));
}

wmi::Value scripting_value_from(const VARIANT& variant) {
  return value_from(variant, scripting_object_from);
}

void put_scripting_value(const wmi::Value& value, VARIANT& result) {
  put_value(value, result, [](const std::shared_ptr<wmi::Object>& object) {
    const auto* const known = dynamic_cast<const ScriptingObject*>(object.get());
    if (!known) throw runtime_error(RuntimeError::type_mismatch);
    return ComPtr<IDispatch>::share(known->automation_object());
  });
}

}  // namespace kvwmi::ground
