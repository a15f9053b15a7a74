#include "windows/com/built_class.h"

#include "windows/automation/implements.h"
#include "windows/automation/module.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {
namespace {

constinit const BuiltClass* first_class = nullptr;

class Factory final : public Implements<IClassFactory> {
 public:
  explicit Factory(const BuiltClass& built) : built_(built) {}

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    return outer ? CLASS_E_NOAGGREGATION : built_.create(id, object);
  }

  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    lock_module(lock != FALSE);
    return S_OK;
  }

 private:
  const BuiltClass& built_;
};

}  // namespace

BuiltClass::BuiltClass(std::string_view name, Create creator) noexcept
    : name_(name), create_(creator), next_(first_class) {
  first_class = this;
}

const BuiltClass* BuiltClass::first() noexcept {
  return first_class;
}

const BuiltClass* BuiltClass::find(REFCLSID class_id) {
  const BuiltClass* built = first();
  while (built && to_guid(built->type().class_id) != class_id) built = built->next();
  return built;
}

HRESULT get_class_object(REFCLSID class_id, REFIID id, void** factory) noexcept {
  if (!factory) return E_POINTER;
  *factory = nullptr;
  return contained([&]() -> HRESULT {
    const BuiltClass* built = BuiltClass::find(class_id);
    if (!built) return CLASS_E_CLASSNOTAVAILABLE;
    const auto made = ground::ComPtr<IClassFactory>::own(new Factory(*built));
    return made->QueryInterface(id, factory);
  });
}

}  // namespace kvwmi::com
