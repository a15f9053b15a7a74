#include "windows/scripting/named_value_set.h"

#include "frame/runtime_error.h"
#include "windows/automation/owned_variant.h"
#include "windows/scripting/automation_list.h"
#include "windows/scripting/call_error.h"
#include "windows/scripting/create.h"
#include "windows/scripting/scripting_object.h"
#include "windows/text/bstr.h"

namespace kvwmi::ground {
namespace {

constexpr const char* kNamedValueSet = "SWbemNamedValueSet";

wmi::NamedValue entry_from(ISWbemNamedValue& entry) {
  windows::Bstr name;
  invoke(kNamedValueSet, [&] { return entry.get_Name(name.receive()); });
  com::OwnedVariant value;
  invoke(kNamedValueSet, [&] { return entry.get_Value(value.put()); });
  return {windows::from_bstr(name.get()), scripting_value_from(value)};
}

}  // namespace

ComPtr<ISWbemNamedValueSet> make_named_value_set(const wmi::NamedValues& values) {
  auto set = create<SWbemNamedValueSet, ISWbemNamedValueSet>();
  for (const wmi::NamedValue& entry : values) {
    const windows::Bstr name(entry.name);
    com::OwnedVariant value;
    put_scripting_value(entry.value, value);
    ComPtr<ISWbemNamedValue> added;
    invoke(kNamedValueSet, [&] { return set->Add(name.get(), &value, 0, added.put()); });
  }
  return set;
}

wmi::NamedValues named_values_from(IUnknown* object) {
  wmi::NamedValues values;
  if (!object) return values;
  const auto set = ComPtr<IUnknown>::query<ISWbemNamedValueSet>(object);
  if (!set) throw runtime_error(RuntimeError::type_mismatch);
  ComPtr<IUnknown> list;
  invoke(kNamedValueSet, [&] { return set->get__NewEnum(list.put()); });
  for_each_entry<ISWbemNamedValue>(list.get(), kNamedValueSet,
                                   [&](ISWbemNamedValue& entry) { values.push_back(entry_from(entry)); });
  return values;
}

}  // namespace kvwmi::ground
