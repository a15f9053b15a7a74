#include "stand_in/property_set.h"

#include <array>
#include <string>
#include <vector>

#include "frame/text.h"
#include "frame/wmi_status.h"
#include "stand_in/bag.h"
#include "stand_in/list.h"
#include "stand_in/value.h"
#include "windows/text/bstr.h"

namespace kvwmi::stand_in {
namespace {

using wmi::source::kPropertySet;
using ObjectPtr = std::shared_ptr<wmi::Object>;

constexpr std::array kSystemProperties{
    "__GENUS",          "__CLASS",      "__SUPERCLASS", "__DYNASTY",   "__RELPATH",
    "__PROPERTY_COUNT", "__DERIVATION", "__SERVER",     "__NAMESPACE", "__PATH"};

bool is_system_name(std::string_view name) {
  return name.starts_with("__");
}

class Property final : public Automation<ISWbemProperty> {
 public:
  Property(ObjectPtr object, std::string name) : object_(std::move(object)), name_(std::move(name)) {}

  STDMETHODIMP get_Value(VARIANT* value) override {
    return answer([&] { put_automation_value(object_->get(name_), value); });
  }
  STDMETHODIMP put_Value(VARIANT* value) override {
    return answer([&] {
      auto* const bag = dynamic_cast<Bag*>(object_.get());
      if (!bag) throw wmi::wmi_error(wmi::Status::read_only, "SWbemProperty");
      bag->put(name_, automation_value(value));
    });
  }
  STDMETHODIMP get_Name(BSTR* name) override {
    return answer([&] { give_text(name, described().name); });
  }
  STDMETHODIMP get_IsLocal(VARIANT_BOOL* is_local) override {
    if (!is_local) return E_POINTER;
    *is_local = VARIANT_TRUE;
    return S_OK;
  }
  STDMETHODIMP get_Origin(BSTR* origin) override {
    return answer([&] { give_text(origin, object_->class_name()); });
  }
  STDMETHODIMP get_CIMType(WbemCimtypeEnum* type) override {
    return answer([&] { *type = static_cast<WbemCimtypeEnum>(described().type); });
  }
  STDMETHODIMP get_Qualifiers_(ISWbemQualifierSet**) override { return not_supported(); }
  STDMETHODIMP get_IsArray(VARIANT_BOOL* is_array) override {
    return answer([&] { *is_array = described().is_array ? VARIANT_TRUE : VARIANT_FALSE; });
  }

 private:
  [[nodiscard]] wmi::Property described() const {
    for (wmi::Property& property : object_->properties()) {
      if (equals_ignoring_case(property.name, name_)) return std::move(property);
    }
    // A system property: text, but for two numbers and one list.
    wmi::Property property{name_, {}, wmi::CimType::string, false, false, {}};
    if (equals_ignoring_case(name_, "__GENUS") || equals_ignoring_case(name_, "__PROPERTY_COUNT")) {
      property.type = wmi::CimType::sint32;
    }
    property.is_array = equals_ignoring_case(name_, "__DERIVATION");
    return property;
  }

  ObjectPtr object_;
  std::string name_;
};

class PropertySet final : public Automation<ISWbemPropertySet> {
 public:
  PropertySet(ObjectPtr object, bool system) : object_(std::move(object)), system_(system) {}

  STDMETHODIMP get__NewEnum(IUnknown** list) override {
    return answer([&] {
      std::vector<ComPtr<ISWbemProperty>> objects;
      for (const std::string& name : names())
        objects.push_back(own<ISWbemProperty>(new Property(object_, name)));
      give(list, enumerator_over(objects));
    });
  }
  STDMETHODIMP Item(BSTR wanted, LONG, ISWbemProperty** property) override {
    return answer([&] {
      const std::string name = windows::from_bstr(wanted);
      if (is_system_name(name) != system_) throw wmi::wmi_error(wmi::Status::not_found, kPropertySet);
      try {
        static_cast<void>(object_->get(name));
      } catch (const Error& error) {
        throw Error(error.number(), kPropertySet, error.description());
      }
      give(property, own(new Property(object_, name)));
    });
  }
  STDMETHODIMP get_Count(LONG* count) override {
    return answer([&] { *count = static_cast<LONG>(names().size()); });
  }
  STDMETHODIMP Add(BSTR, WbemCimtypeEnum, VARIANT_BOOL, LONG, ISWbemProperty**) override {
    return not_supported();
  }
  STDMETHODIMP Remove(BSTR, LONG) override { return not_supported(); }

 private:
  [[nodiscard]] std::vector<std::string> names() const {
    if (system_) return {kSystemProperties.begin(), kSystemProperties.end()};
    std::vector<std::string> result;
    for (wmi::Property& property : object_->properties()) result.push_back(std::move(property.name));
    return result;
  }

  ObjectPtr object_;
  bool system_;
};

}  // namespace

ComPtr<ISWbemPropertySet> make_property_set(ObjectPtr object) {
  return own<ISWbemPropertySet>(new PropertySet(std::move(object), false));
}

ComPtr<ISWbemPropertySet> make_system_property_set(ObjectPtr object) {
  return own<ISWbemPropertySet>(new PropertySet(std::move(object), true));
}

}  // namespace kvwmi::stand_in
