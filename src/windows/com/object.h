#pragma once

#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>

#include <memory>
#include <type_traits>
#include <utility>

#include "frame/class_catalogue.h"
#include "windows/automation/implements.h"
#include "windows/com/dispatch.h"
#include "windows/com/errors.h"
#include "windows/com/guid.h"
#include "windows/com/transport.h"
#include "windows/com/type_library.h"

namespace kvwmi::com {

template <typename Member>
struct MemberResult;
template <typename Core, typename Result, typename... Parameters>
struct MemberResult<Result (Core::*)(Parameters...)> {
  using Type = Result;
};
template <typename Core, typename Result, typename... Parameters>
struct MemberResult<Result (Core::*)(Parameters...) const> {
  using Type = Result;
};
template <typename Core, typename Result, typename... Parameters>
struct MemberResult<Result (Core::*)(Parameters...) const noexcept> {
  using Type = Result;
};
template <typename Core, typename Result, typename... Parameters>
struct MemberResult<Result (Core::*)(Parameters...) noexcept> {
  using Type = Result;
};
template <typename Member>
using ResultOf = typename MemberResult<Member>::Type;

/// An object of one class of the catalogue: a `Core` behind its dual interface. A class derives from it and
/// defines each member of the interface by `return call(&Core::member, result, arguments...);`, or an
/// accessor of a plain property by get and let.
template <typename Interface, typename Core>
class Object : public Implements<Interface, ISupportErrorInfo, IProvideClassInfo> {
 public:
  using CoreClass = Core;

  Object(const catalogue::Class& type, std::shared_ptr<Core> core) : type_(type), core_(std::move(core)) {}

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    if (!info) return E_POINTER;
    *info = nullptr;
    return index == 0 ? load_type_info(__uuidof(Interface), info) : DISP_E_BADINDEX;
  }

  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    return find_ids(type_, reserved, names, count, ids);
  }

  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags, DISPPARAMS* arguments,
                                   VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) override {
    return invoke(type_, *this, {id, reserved, locale, flags, arguments, result, exception, bad_argument});
  }

  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID id) override {
    return id == __uuidof(Interface) ? S_OK : S_FALSE;
  }

  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) override {
    if (!info) return E_POINTER;
    *info = nullptr;
    return load_type_info(to_guid(type_.class_id), info);
  }

 protected:
  /// Calls a member of the core. Where it has a result, the place for it comes before the arguments.
  template <typename Member, typename... ComArguments>
  HRESULT call(Member member, ComArguments... arguments) noexcept {
    if constexpr (std::is_void_v<ResultOf<Member>>) {
      return run([&](auto&... converted) { (*core_.*member)(converted...); }, arguments...);
    } else {
      return call_for_result(member, arguments...);
    }
  }

  /// Answers a field of the core, or stores one: the accessors of a plain property.
  template <typename Field, typename Com>
  HRESULT get(Field Core::*field, Com* result) noexcept {
    if (!result) return refuse_null_place();
    *result = Com{};
    return run([&] { Transport<Com>::give((*core_).*field, *result); });
  }
  template <typename Field, typename Com>
  HRESULT let(Field Core::*field, Com value) noexcept {
    return run([&](auto& converted) { (*core_).*field = converted; }, value);
  }

 private:
  template <typename Member, typename ComResult, typename... ComArguments>
  HRESULT call_for_result(Member member, ComResult* result, ComArguments... arguments) noexcept {
    if (!result) return refuse_null_place();
    *result = ComResult{};
    return run(
        [&](auto&... converted) { Transport<ComResult>::give((*core_.*member)(converted...), *result); },
        arguments...);
  }

  template <typename Steps, typename... ComArguments>
  HRESULT run(Steps steps, ComArguments... arguments) noexcept {
    if ((lacks_place(arguments) || ...)) return refuse_null_place();
    return guarded(__uuidof(Interface), [&] {
      // The arguments live until the core has returned or raised, and then go back to the caller.
      [&](auto&&... converted) {
        steps(converted.for_core()...);
        (converted.give_back(), ...);
      }(Argument<ComArguments>(arguments)...);
    });
  }

  const catalogue::Class& type_;
  std::shared_ptr<Core> core_;
};

}  // namespace kvwmi::com
