#include "stand_in/object_path.h"

#include "frame/conversion.h"
#include "stand_in/partial.h"
#include "stand_in/value.h"

namespace kvwmi::stand_in {
namespace {

class ObjectPath final : public PartialObjectPath {
 public:
  explicit ObjectPath(std::shared_ptr<wmi::Object> object) : object_(std::move(object)) {}

  STDMETHODIMP get_Path(BSTR* path) override { return give_property(path, "__PATH"); }
  STDMETHODIMP get_RelPath(BSTR* path) override { return give_property(path, "__RELPATH"); }
  STDMETHODIMP get_Server(BSTR* server) override { return give_property(server, "__SERVER"); }
  STDMETHODIMP get_Namespace(BSTR* name_space) override { return give_property(name_space, "__NAMESPACE"); }
  STDMETHODIMP get_Class(BSTR* name) override {
    return answer([&] { give_text(name, object_->class_name()); });
  }
  STDMETHODIMP get_IsClass(VARIANT_BOOL* is_class) override {
    return answer([&] {
      constexpr std::int32_t kGenusOfClass = 1;
      const wmi::Value genus = object_->get("__GENUS");
      const bool yes = !genus.is_null() && to_long(genus) == kGenusOfClass;
      *is_class = yes ? VARIANT_TRUE : VARIANT_FALSE;
    });
  }
  STDMETHODIMP get_IsSingleton(VARIANT_BOOL* is_singleton) override {
    if (!is_singleton) return E_POINTER;
    *is_singleton = VARIANT_FALSE;
    return S_OK;
  }

 private:
  /// Null, as events have it, is no text.
  HRESULT give_property(BSTR* place, const char* name) {
    return answer([&] {
      const wmi::Value value = object_->get(name);
      give_text(place, value.is_null() ? "" : to_text(value));
    });
  }

  std::shared_ptr<wmi::Object> object_;
};

}  // namespace

ComPtr<ISWbemObjectPath> make_object_path(std::shared_ptr<wmi::Object> object) {
  return own<ISWbemObjectPath>(new ObjectPath(std::move(object)));
}

}  // namespace kvwmi::stand_in
