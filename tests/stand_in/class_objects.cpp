#include "stand_in/class_objects.h"

#include <objbase.h>

#include <stdexcept>
#include <utility>

#include "stand_in/named_value_set.h"
#include "stand_in/services.h"
#include "stand_in/sink.h"
#include "windows/automation/module.h"

namespace kvwmi::stand_in {
namespace {

class Factory final : public com::Implements<IClassFactory> {
 public:
  explicit Factory(ServedClass served) : served_(std::move(served)) {}

  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    ComPtr<IUnknown> made;
    const HRESULT result = com::guarded(IID_IClassFactory, [&] { made = served_.make(); });
    return FAILED(result) ? result : made->QueryInterface(id, object);
  }
  STDMETHODIMP LockServer(BOOL lock) override {
    com::lock_module(lock != FALSE);
    return S_OK;
  }

 private:
  ServedClass served_;
};

}  // namespace

std::vector<ServedClass> scripting_classes(std::shared_ptr<Backend> backend) {
  return {
      {__uuidof(SWbemLocator), [backend] { return make_locator(backend); }},
      {__uuidof(SWbemSink), [] { return make_sink(); }},
      {__uuidof(SWbemNamedValueSet), [] { return make_named_value_set(); }},
  };
}

ComPtr<IClassFactory> make_factory(ServedClass served) {
  return own<IClassFactory>(new Factory(std::move(served)));
}

InProcessStandIn::InProcessStandIn(std::shared_ptr<Backend> backend) {
  for (ServedClass& served : scripting_classes(std::move(backend))) {
    const CLSID id = served.id;
    DWORD registration = 0;
    if (FAILED(CoRegisterClassObject(id, make_factory(std::move(served)).get(), CLSCTX_INPROC_SERVER,
                                     REGCLS_MULTIPLEUSE, &registration))) {
      throw std::runtime_error("a class object could not be registered");
    }
    registrations_.push_back(registration);
  }
}

InProcessStandIn::~InProcessStandIn() {
  for (const DWORD registration : registrations_) CoRevokeClassObject(registration);
}

}  // namespace kvwmi::stand_in
