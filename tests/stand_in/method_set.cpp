#include "stand_in/method_set.h"

#include <span>
#include <string>
#include <vector>

#include "frame/wmi_status.h"
#include "stand_in/bag.h"
#include "stand_in/list.h"
#include "stand_in/object.h"
#include "stand_in/value.h"
#include "windows/text/bstr.h"

namespace kvwmi::stand_in {
namespace {

class Method final : public Automation<ISWbemMethod> {
 public:
  explicit Method(std::shared_ptr<const cim::Method> method) : method_(std::move(method)) {}

  STDMETHODIMP get_Name(BSTR* name) override {
    return answer([&] { give_text(name, std::string(method_->name)); });
  }
  STDMETHODIMP get_Origin(BSTR*) override { return not_supported(); }
  STDMETHODIMP get_InParameters(ISWbemObject** parameters) override {
    return answer([&] {
      // A method without parameters has no object for them.
      if (method_->in.empty()) return static_cast<void>(*parameters = nullptr);
      std::vector<wmi::Property> in;
      for (const cim::Parameter& parameter : method_->in) {
        in.push_back({std::string(parameter.name), {}, parameter.type, false, false, {}});
      }
      give(parameters, make_object(make_parameters(in)));
    });
  }
  STDMETHODIMP get_OutParameters(ISWbemObject** parameters) override {
    return answer([&] { give(parameters, make_object(make_parameters({return_value()}))); });
  }
  STDMETHODIMP get_Qualifiers_(ISWbemQualifierSet**) override { return not_supported(); }

 private:
  std::shared_ptr<const cim::Method> method_;
};

class MethodSet final : public Automation<ISWbemMethodSet> {
 public:
  explicit MethodSet(std::shared_ptr<const cim::Class> schema) : schema_(std::move(schema)) {}

  STDMETHODIMP get__NewEnum(IUnknown** list) override {
    return answer([&] {
      std::vector<ComPtr<ISWbemMethod>> objects;
      for (const cim::Method& method : methods()) objects.push_back(make(method));
      give(list, enumerator_over(objects));
    });
  }
  STDMETHODIMP Item(BSTR name, LONG, ISWbemMethod** method) override {
    return answer([&] {
      const cim::Method* const found = schema_ ? schema_->find_method(windows::from_bstr(name)) : nullptr;
      if (!found) throw wmi::wmi_error(wmi::Status::not_found, "SWbemMethodSet");
      give(method, make(*found));
    });
  }
  STDMETHODIMP get_Count(LONG* count) override {
    if (!count) return E_POINTER;
    *count = static_cast<LONG>(methods().size());
    return S_OK;
  }

 private:
  [[nodiscard]] std::span<const cim::Method> methods() const {
    return schema_ ? schema_->methods : std::span<const cim::Method>();
  }

  [[nodiscard]] ComPtr<ISWbemMethod> make(const cim::Method& method) const {
    return own<ISWbemMethod>(new Method(std::shared_ptr<const cim::Method>(schema_, &method)));
  }

  std::shared_ptr<const cim::Class> schema_;
};

}  // namespace

ComPtr<ISWbemMethodSet> make_method_set(std::shared_ptr<const cim::Class> schema) {
  return own<ISWbemMethodSet>(new MethodSet(std::move(schema)));
}

wmi::Property return_value() {
  return {"ReturnValue", {}, wmi::CimType::uint32, false, false, {}};
}

}  // namespace kvwmi::stand_in
