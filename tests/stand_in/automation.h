#pragma once

#include <windows.h>

#include <oleauto.h>
#include <wbemdisp.h>

#include <algorithm>

#include "windows/automation/implements.h"
#include "windows/com/errors.h"
#include "windows/win32/com_ptr.h"

/// The standard scripting objects of WMI over a service of this system's own, for tests where the machine's
/// WMI cannot do what is to be tested.
namespace kvwmi::stand_in {

using ground::ComPtr;

/// Takes over the reference that a new object is born with.
template <typename Interface>
[[nodiscard]] ComPtr<Interface> own(Interface* object) noexcept {
  return ComPtr<Interface>::own(object);
}

/// The system's own description of one of the scripting interfaces, or null.
[[nodiscard]] ITypeInfo* type_info_of(REFIID interface_id);

/// The failure of a member that is not there.
HRESULT not_supported();

/// What a late-bound call answers for `failure`: the call's error information goes with it.
HRESULT raise_late(EXCEPINFO* exception, HRESULT failure);

/// An object behind one of the dual scripting interfaces: early bound through `Interface`, late bound through
/// the system's type library, failures with error information. `Described` is the interface as the type
/// library knows it, `Interface` itself or one that it extends.
template <typename Interface, typename Described = Interface, typename... More>
class Automation : public com::Implements<Interface, More..., ISupportErrorInfo> {
 public:
  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    using Base = com::Implements<Interface, More..., ISupportErrorInfo>;
    return Base::QueryInterface(id == __uuidof(Described) ? __uuidof(Interface) : id, object);
  }
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    if (!info) return E_POINTER;
    *info = index == 0 ? type_info_of(__uuidof(Described)) : nullptr;
    if (!*info) return DISP_E_BADINDEX;
    (*info)->AddRef();
    return S_OK;
  }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    ITypeInfo* const info = type_info_of(__uuidof(Described));
    return info ? info->GetIDsOfNames(names, count, ids) : TYPE_E_CANTLOADLIBRARY;
  }
  STDMETHODIMP Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* arguments, VARIANT* result,
                      EXCEPINFO* exception, UINT* bad_argument) override {
    ITypeInfo* const info = type_info_of(__uuidof(Described));
    if (!info) return TYPE_E_CANTLOADLIBRARY;
    return info->Invoke(static_cast<Interface*>(this), member, flags, arguments, result, exception,
                        bad_argument);
  }
  STDMETHODIMP InterfaceSupportsErrorInfo(REFIID) override { return S_OK; }

 protected:
  /// Runs the steps of a member; what they throw becomes the member's failure.
  template <typename Steps>
  static HRESULT answer(Steps&& steps) noexcept {
    return com::guarded(__uuidof(Interface), std::forward<Steps>(steps));
  }
};

/// Hands a new reference to `object` to a caller.
template <typename Interface, typename Object>
void give(Interface** place, ComPtr<Object> object) {
  if (!place) throw Error(E_POINTER, "", "");
  *place = object.detach();
}

}  // namespace kvwmi::stand_in
