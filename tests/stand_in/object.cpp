#include "stand_in/object.h"

#include <algorithm>

#include "frame/text.h"
#include "frame/wmi_status.h"
#include "stand_in/bag.h"
#include "stand_in/method_set.h"
#include "stand_in/object_path.h"
#include "stand_in/partial.h"
#include "stand_in/property_set.h"
#include "stand_in/security.h"
#include "stand_in/value.h"
#include "windows/text/bstr.h"
#include "windows/text/unicode.h"

namespace kvwmi::stand_in {
namespace {

// {3E7D6A0F-5B0C-4C0E-8B5B-0B2F8B7F4C52}: asks an object for itself, in this process only.
constexpr IID kObjectItself{0x3E7D6A0F, 0x5B0C, 0x4C0E, {0x8B, 0x5B, 0x0B, 0x2F, 0x8B, 0x7F, 0x4C, 0x52}};

/// Dispatch identifiers of the properties and methods that an object's class gives it.
constexpr DISPID kFirstMethod = 0x1000001;
constexpr DISPID kFirstProperty = 0x1800001;

class Object final : public PartialObject {
 public:
  Object(std::shared_ptr<wmi::Object> object, std::shared_ptr<Backend> backend)
      : behind(std::move(object)), backend_(std::move(backend)) {}

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    if (id != kObjectItself) return PartialObject::QueryInterface(id, object);
    *object = this;
    AddRef();
    return S_OK;
  }

  // The properties and methods of its class are members of an object too.
  STDMETHODIMP GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                             DISPID* ids) override {
    const HRESULT known = PartialObject::GetIDsOfNames(reserved, names, count, locale, ids);
    if (known != DISP_E_UNKNOWNNAME || count != 1) return known;
    ids[0] = DISPID_UNKNOWN;
    answer([&] { ids[0] = id_of(windows::to_utf8(names[0])); });
    return ids[0] == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK;
  }
  STDMETHODIMP Invoke(DISPID member, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* arguments,
                      VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) override {
    const bool is_property = member >= kFirstProperty;
    if (!is_property && member < kFirstMethod) {
      return PartialObject::Invoke(member, reserved, locale, flags, arguments, result, exception,
                                   bad_argument);
    }
    const auto index = static_cast<std::size_t>(member - (is_property ? kFirstProperty : kFirstMethod));
    if (index >= names_.size()) return DISP_E_MEMBERNOTFOUND;
    if (arguments && arguments->cArgs != 0) return DISP_E_BADPARAMCOUNT;
    const HRESULT answered = answer([&] {
      const std::string& name = names_[index];
      const wmi::Value value = is_property ? behind->get(name) : wmi::Value(behind->call(name, {}));
      if (result) put_automation_value(value, result);
    });
    return FAILED(answered) ? raise_late(exception, answered) : answered;
  }

  STDMETHODIMP ExecMethod_(BSTR name, IDispatch* in, LONG, IDispatch*, ISWbemObject** out) override {
    return answer([&] {
      const std::int32_t code = behind->call(windows::from_bstr(name), arguments_from(in));
      if (!out) return;
      const auto result = make_parameters({return_value()});
      result->put("ReturnValue", wmi::Value(code));
      give(out, make_object(result));
    });
  }
  STDMETHODIMP SpawnInstance_(LONG, ISWbemObject** instance) override {
    return answer([&] { give(instance, make_object(std::make_shared<Bag>(*behind))); });
  }
  STDMETHODIMP get_Qualifiers_(ISWbemQualifierSet**) override { return not_supported(); }
  STDMETHODIMP get_Properties_(ISWbemPropertySet** set) override {
    return answer([&] { give(set, make_property_set(behind)); });
  }
  STDMETHODIMP get_SystemProperties_(ISWbemPropertySet** set) override {
    return answer([&] { give(set, make_system_property_set(behind)); });
  }
  STDMETHODIMP get_Methods_(ISWbemMethodSet** set) override {
    return answer([&] { give(set, make_method_set(schema())); });
  }
  STDMETHODIMP get_Path_(ISWbemObjectPath** path) override {
    return answer([&] { give(path, make_object_path(behind)); });
  }
  STDMETHODIMP get_Security_(ISWbemSecurity** security) override {
    return answer([&] { give(security, make_security()); });
  }

  std::shared_ptr<wmi::Object> behind;

 private:
  /// What the backend knows of its class, or null.
  [[nodiscard]] std::shared_ptr<const cim::Class> schema() const {
    const cim::Class* const known = backend_ ? backend_->find_class(behind->class_name()) : nullptr;
    return known ? std::shared_ptr<const cim::Class>(backend_, known) : nullptr;
  }
  [[nodiscard]] DISPID id_of(const std::string& name) {
    const auto known = schema();
    const bool is_method = known && known->find_method(name);
    if (!is_method && !has_property(name)) return DISPID_UNKNOWN;
    names_.push_back(name);
    return (is_method ? kFirstMethod : kFirstProperty) + static_cast<DISPID>(names_.size() - 1);
  }
  [[nodiscard]] bool has_property(const std::string& name) {
    const auto properties = behind->properties();
    return std::any_of(properties.begin(), properties.end(), [&](const wmi::Property& property) {
      return equals_ignoring_case(property.name, name);
    });
  }

  static wmi::NamedValues arguments_from(IDispatch* in) {
    wmi::NamedValues arguments;
    if (!in) return arguments;
    for (const wmi::Property& property : object_behind(*in)->properties()) {
      if (!property.value.is_null()) arguments.push_back({property.name, property.value});
    }
    return arguments;
  }

  std::shared_ptr<Backend> backend_;
  std::vector<std::string> names_;
};

}  // namespace

ComPtr<ISWbemObjectEx> make_object(std::shared_ptr<wmi::Object> object, std::shared_ptr<Backend> backend) {
  return own<ISWbemObjectEx>(new Object(std::move(object), std::move(backend)));
}

std::shared_ptr<wmi::Object> object_behind(IUnknown& object) {
  void* itself = nullptr;
  if (FAILED(object.QueryInterface(kObjectItself, &itself))) {
    throw wmi::wmi_error(wmi::Status::invalid_parameter, wmi::source::kServices);
  }
  return own(static_cast<Object*>(itself))->behind;
}

}  // namespace kvwmi::stand_in
