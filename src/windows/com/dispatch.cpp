#include "windows/com/dispatch.h"

#include <cstddef>
#include <string>
#include <vector>

#include "frame/runtime_error.h"
#include "frame/text.h"
#include "windows/com/coercion.h"
#include "windows/com/errors.h"
#include "windows/com/guid.h"
#include "windows/text/unicode.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {
namespace {

using catalogue::Kind;
using catalogue::Member;
using catalogue::MemberKind;
using catalogue::Parameter;
using ground::ComPtr;

/// The members of IUnknown and IDispatch come first in every dual interface.
constexpr std::size_t kMembersOfIDispatch = 7;

constexpr WORD flag_of(MemberKind kind) {
  switch (kind) {
    case MemberKind::property_get:
      return DISPATCH_PROPERTYGET;
    case MemberKind::property_let:
      return DISPATCH_PROPERTYPUT;
    default:
      return DISPATCH_METHOD;
  }
}

DISPID position_of(const Member& member, const std::string& name) {
  for (std::size_t i = 0; i < member.parameters.size(); ++i) {
    if (equals_ignoring_case(member.parameters[i].name, name)) return static_cast<DISPID>(i);
  }
  return DISPID_UNKNOWN;
}

/// A call of one member, from the client's arguments to the client's result.
class Call {
 public:
  Call(const Member& member, const Invocation& invocation)
      : member_(member),
        invocation_(invocation),
        given_(member.parameters.size()),
        arguments_(member.parameters.size()) {}

  /// Assigns what the client gave to the parameters and converts it.
  HRESULT take_arguments() {
    if (const HRESULT placed = place_arguments(); FAILED(placed)) return placed;
    for (std::size_t i = 0; i < given_.size(); ++i) {
      const Parameter& parameter = member_.parameters[i];
      if (given_[i] && !is_left_out(*given_[i])) {
        const HRESULT converted =
            arguments_[i].set(parameter, *given_[i], invocation_.locale, member_.kind == MemberKind::method);
        if (FAILED(converted)) return blame(*given_[i], converted);
      } else if (parameter.default_value) {
        arguments_[i].set_default(parameter);
      } else {
        return given_[i] ? blame(*given_[i], DISP_E_PARAMNOTOPTIONAL) : DISP_E_BADPARAMCOUNT;
      }
    }
    return S_OK;
  }

  HRESULT run(IDispatch& target, std::size_t slot) {
    const bool has_result = member_.result.kind != Kind::none;
    std::vector<VARTYPE> types;
    std::vector<VARIANTARG*> actuals;
    for (CoercedArgument& argument : arguments_) actuals.push_back(&argument.actual());
    VARIANT place{};
    if (has_result) {
      V_VT(&result_) = vartype_of(member_.result);
      V_VT(&place) = static_cast<VARTYPE>(VT_BYREF | V_VT(&result_));
      V_BYREF(&place) = &V_I8(&result_);
      actuals.push_back(&place);
    }
    for (const VARIANTARG* actual : actuals) types.push_back(V_VT(actual));

    // What an earlier call left behind must not be taken for the member's.
    SetErrorInfo(0, nullptr);
    OwnedVariant answer;
    HRESULT status = DispCallFunc(&target, (kMembersOfIDispatch + slot) * sizeof(void*), CC_STDCALL, VT_I4,
                                  static_cast<UINT>(actuals.size()), types.data(), actuals.data(), &answer);
    if (SUCCEEDED(status)) status = V_I4(&answer);
    // Writing back releases what the client's variables held, and that may run code of the client's.
    const ComPtr<IErrorInfo> said = FAILED(status) ? take_error_information() : nullptr;
    const HRESULT written = write_back();
    if (FAILED(status)) return hand_over_exception(status, said.get());
    if (FAILED(written)) return written;
    return hand_over_result();
  }

 private:
  static bool is_left_out(VARIANT& given) {
    const VARIANT* value = dereferenced(given);
    return value && V_VT(value) == VT_ERROR && V_ERROR(value) == DISP_E_PARAMNOTFOUND;
  }

  /// Arguments come last first; named ones stand before the others.
  HRESULT place_arguments() {
    const DISPPARAMS& all = *invocation_.arguments;
    const UINT named = all.cNamedArgs;
    if (named > all.cArgs) return E_INVALIDARG;
    std::size_t positional = all.cArgs - named;
    if (reads_element()) {
      index_ = &all.rgvarg[0];
      positional = 0;
    }
    if (positional > given_.size()) return DISP_E_BADPARAMCOUNT;
    for (std::size_t i = 0; i < positional; ++i) given_[i] = &all.rgvarg[all.cArgs - 1 - i];
    for (UINT i = 0; i < named; ++i) {
      const DISPID id = all.rgdispidNamedArgs[i];
      const bool is_value = id == DISPID_PROPERTYPUT && member_.kind == MemberKind::property_let;
      const std::size_t position = is_value ? given_.size() - 1 : static_cast<std::size_t>(id);
      if (position >= given_.size() || given_[position]) return blame(all.rgvarg[i], DISP_E_PARAMNOTFOUND);
      given_[position] = &all.rgvarg[i];
    }
    return S_OK;
  }

  [[nodiscard]] bool reads_element() const {
    return member_.kind == MemberKind::property_get && member_.result.kind == Kind::string_array &&
           invocation_.arguments->cArgs == 1 && invocation_.arguments->cNamedArgs == 0;
  }

  HRESULT blame(const VARIANT& argument, HRESULT error) const {
    if (invocation_.bad_argument) {
      *invocation_.bad_argument = static_cast<UINT>(&argument - invocation_.arguments->rgvarg);
    }
    return error;
  }

  HRESULT write_back() {
    HRESULT status = S_OK;
    for (std::size_t i = 0; i < arguments_.size(); ++i) {
      const HRESULT written = arguments_[i].write_back(invocation_.locale);
      if (FAILED(written) && SUCCEEDED(status)) status = blame(*given_[i], written);
    }
    return status;
  }

  HRESULT hand_over_result() {
    if (index_) {
      const HRESULT taken = take_element(result_, *index_, invocation_.locale);
      if (taken == DISP_E_BADINDEX) {
        const HRESULT status = publish(runtime_error(RuntimeError::subscript_out_of_range), IID_NULL);
        return hand_over_exception(status, take_error_information().get());
      }
      if (FAILED(taken)) return blame(*index_, taken);
    }
    adapt_result(result_);
    if (invocation_.result) *invocation_.result = result_.release();
    return S_OK;
  }

  static ComPtr<IErrorInfo> take_error_information() {
    ComPtr<IErrorInfo> info;
    GetErrorInfo(0, info.put());
    return info;
  }

  /// What the failed member said, where it said anything, goes to the client with the answer.
  HRESULT hand_over_exception(HRESULT status, IErrorInfo* info) const {
    if (!info) return status;
    if (EXCEPINFO* exception = invocation_.exception) {
      *exception = EXCEPINFO{};
      exception->scode = status;
      info->GetSource(&exception->bstrSource);
      info->GetDescription(&exception->bstrDescription);
    }
    return DISP_E_EXCEPTION;
  }

  const Member& member_;
  const Invocation& invocation_;
  std::vector<VARIANT*> given_;
  std::vector<CoercedArgument> arguments_;
  OwnedVariant result_;
  VARIANT* index_ = nullptr;
};

HRESULT look_up(const catalogue::Class& type, const LPOLESTR* names, UINT count, DISPID* ids) {
  for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
  const auto text = [&](UINT i) {
    return names[i] ? windows::to_utf8(std::wstring_view(names[i])) : std::string();
  };

  const std::string wanted = text(0);
  for (const Member& member : type.members) {
    if (!equals_ignoring_case(member.name, wanted)) continue;
    ids[0] = static_cast<DISPID>(member.dispatch_id);
    HRESULT status = S_OK;
    for (UINT i = 1; i < count; ++i) {
      ids[i] = position_of(member, text(i));
      if (ids[i] == DISPID_UNKNOWN) status = DISP_E_UNKNOWNNAME;
    }
    return status;
  }
  return DISP_E_UNKNOWNNAME;
}

HRESULT dispatch(const catalogue::Class& type, IDispatch& target, const Invocation& invocation) {
  for (std::size_t slot = 0; slot < type.members.size(); ++slot) {
    const Member& member = type.members[slot];
    if (static_cast<DISPID>(member.dispatch_id) != invocation.id ||
        !(flag_of(member.kind) & invocation.flags)) {
      continue;
    }
    Call call(member, invocation);
    const HRESULT taken = call.take_arguments();
    return FAILED(taken) ? taken : call.run(target, slot);
  }
  return DISP_E_MEMBERNOTFOUND;
}

}  // namespace

HRESULT find_ids(const catalogue::Class& type, REFIID reserved, const LPOLESTR* names, UINT count,
                 DISPID* ids) noexcept {
  if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (!names || !ids || count == 0) return E_INVALIDARG;
  return contained([&] { return look_up(type, names, count, ids); });
}

HRESULT invoke(const catalogue::Class& type, IDispatch& target, const Invocation& invocation) noexcept {
  if (invocation.reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (!invocation.arguments) return E_INVALIDARG;
  if (invocation.result) VariantInit(invocation.result);
  return contained([&] { return dispatch(type, target, invocation); });
}

}  // namespace kvwmi::com
