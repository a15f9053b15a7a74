#include "stand_in/object_set.h"

#include "frame/conversion.h"
#include "frame/text.h"
#include "frame/wmi_status.h"
#include "stand_in/object.h"
#include "stand_in/security.h"
#include "windows/text/bstr.h"

namespace kvwmi::stand_in {
namespace {

using wmi::source::kObjectSet;

/// A walk that reads one object at a time. Its failures carry no error information.
class Walk final : public com::Implements<IEnumVARIANT> {
 public:
  Walk(std::shared_ptr<wmi::ObjectSet> set, std::shared_ptr<Backend> backend)
      : set_(std::move(set)), backend_(std::move(backend)) {}

  STDMETHODIMP Next(ULONG count, VARIANT* values, ULONG* fetched) override {
    ULONG taken = 0;
    const HRESULT walked = com::guarded(IID_IEnumVARIANT, [&] {
      for (; taken < count; ++taken) {
        auto object = next();
        if (!object) return;
        VariantInit(&values[taken]);
        V_DISPATCH(&values[taken]) = make_object(std::move(object), backend_).detach();
        V_VT(&values[taken]) = VT_DISPATCH;
      }
    });
    if (fetched) *fetched = taken;
    SetErrorInfo(0, nullptr);
    if (FAILED(walked)) return walked;
    return taken == count ? S_OK : S_FALSE;
  }
  STDMETHODIMP Skip(ULONG count) override {
    return com::guarded(IID_IEnumVARIANT, [&] {
      while (count-- > 0 && next()) continue;
    });
  }
  STDMETHODIMP Reset() override {
    walk_.reset();
    return S_OK;
  }
  STDMETHODIMP Clone(IEnumVARIANT** copy) override {
    if (!copy) return E_POINTER;
    *copy = new Walk(set_, backend_);
    return S_OK;
  }

 private:
  [[nodiscard]] std::shared_ptr<wmi::Object> next() {
    if (!walk_) walk_ = set_->enumerate();
    return walk_->next();
  }

  std::shared_ptr<wmi::ObjectSet> set_;
  std::shared_ptr<Backend> backend_;
  std::unique_ptr<wmi::Enumerator> walk_;
};

class ObjectSet final : public Automation<ISWbemObjectSet> {
 public:
  ObjectSet(std::shared_ptr<wmi::ObjectSet> set, std::shared_ptr<Backend> backend)
      : set_(std::move(set)), backend_(std::move(backend)) {}

  STDMETHODIMP get__NewEnum(IUnknown** list) override {
    return answer([&] { give(list, own(new Walk(set_, backend_))); });
  }
  STDMETHODIMP Item(BSTR path, LONG, ISWbemObject** object) override {
    return answer([&] {
      const std::string wanted = windows::from_bstr(path);
      give_first(object, [&](wmi::Object& candidate) {
        for (const char* name : {"__RELPATH", "__PATH"}) {
          const wmi::Value own_path = candidate.get(name);
          if (!own_path.is_null() && equals_ignoring_case(to_text(own_path), wanted)) return true;
        }
        return false;
      });
    });
  }
  STDMETHODIMP get_Count(LONG* count) override {
    return answer([&] { *count = set_->count(); });
  }
  STDMETHODIMP get_Security_(ISWbemSecurity** security) override {
    return answer([&] { give(security, make_security()); });
  }
  STDMETHODIMP ItemIndex(LONG index, ISWbemObject** object) override {
    return answer([&] { give_first(object, [&](wmi::Object&) { return index-- == 0; }); });
  }

 private:
  template <typename Wanted>
  void give_first(ISWbemObject** place, Wanted wanted) {
    for (const auto walk = set_->enumerate(); auto object = walk->next();) {
      if (wanted(*object)) return give(place, make_object(std::move(object), backend_));
    }
    throw wmi::wmi_error(wmi::Status::not_found, kObjectSet);
  }

  std::shared_ptr<wmi::ObjectSet> set_;
  std::shared_ptr<Backend> backend_;
};

}  // namespace

ComPtr<ISWbemObjectSet> make_object_set(std::shared_ptr<wmi::ObjectSet> set,
                                        std::shared_ptr<Backend> backend) {
  return own<ISWbemObjectSet>(new ObjectSet(std::move(set), std::move(backend)));
}

}  // namespace kvwmi::stand_in
