#pragma once

#include <windows.h>

#include <oaidl.h>

#include <atomic>
#include <type_traits>

#include "windows/automation/module.h"

namespace kvwmi::com {

/// A reference-counted object behind `First` and `Rest`. It is born with one reference, which belongs to who
/// made it.
template <typename First, typename... Rest>
class Implements : public First, public Rest... {
 public:
  Implements() = default;
  Implements(const Implements&) = delete;
  Implements& operator=(const Implements&) = delete;
  virtual ~Implements() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (id == __uuidof(IUnknown)) *object = static_cast<First*>(this);
    offer<First>(id, object);
    (offer<Rest>(id, object), ...);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }

  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 private:
  template <typename Interface>
  void offer(REFIID id, void** object) {
    bool wanted = id == __uuidof(Interface);
    if constexpr (std::is_base_of_v<IDispatch, Interface>) wanted = wanted || id == __uuidof(IDispatch);
    if (wanted) *object = static_cast<Interface*>(this);
  }

  std::atomic<ULONG> references_ = 1;
  ModuleUse module_use_;
};

}  // namespace kvwmi::com
