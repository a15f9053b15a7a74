#include "automation.h"

#include <algorithm>

namespace automation {
namespace {

std::string text_of(const VARIANT& value) {
  if (V_VT(&value) & VT_ARRAY) {
    SAFEARRAY* array = V_VT(&value) & VT_BYREF ? *V_ARRAYREF(&value) : V_ARRAY(&value);
    std::string text = V_VT(&value) & VT_VARIANT ? "variants" : "strings";
    if ((V_VT(&value) & VT_TYPEMASK) == VT_VARIANT) text = "variants";
    if ((V_VT(&value) & VT_TYPEMASK) == VT_BSTR) text = "strings";
    if (!array) return text + " none";
    text += "(" + std::to_string(array->rgsabound[0].lLbound) + ")";
    for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i) {
      LONG index = array->rgsabound[0].lLbound + static_cast<LONG>(i);
      Variant element;
      if ((V_VT(&value) & VT_TYPEMASK) == VT_BSTR) {
        SafeArrayGetElement(array, &index, &V_BSTR(&element.raw()));
        V_VT(&element.raw()) = VT_BSTR;
      } else {
        SafeArrayGetElement(array, &index, &element.raw());
      }
      text += " [" + element.text() + "]";
    }
    return text;
  }
  switch (V_VT(&value)) {
    case VT_EMPTY:
      return "empty";
    case VT_NULL:
      return "null";
    case VT_I2:
      return "short " + std::to_string(V_I2(&value));
    case VT_I4:
      return "long " + std::to_string(V_I4(&value));
    case VT_BOOL:
      return "boolean " + std::to_string(V_BOOL(&value));
    case VT_CY:
      return "currency " + std::to_string(V_CY(&value).int64);
    case VT_BSTR:
      return "string " + kvwmi::windows::from_bstr(V_BSTR(&value));
    case VT_DISPATCH:
      return V_DISPATCH(&value) ? "object" : "nothing";
    default:
      return "type " + std::to_string(V_VT(&value));
  }
}

template <typename T>
VARIANT referring(VARTYPE type, T& place) {
  VARIANT result{};
  V_VT(&result) = static_cast<VARTYPE>(VT_BYREF | type);
  V_BYREF(&result) = &place;
  return result;
}

std::string taken(BSTR text) {
  const std::string result = kvwmi::windows::from_bstr(text);
  SysFreeString(text);
  return result;
}

}  // namespace

std::string Variant::text() const {
  return text_of(value_);
}

VARIANT variable(Variant& variant) {
  return referring(VT_VARIANT, variant.raw());
}
VARIANT reference(LONG& value) {
  return referring(VT_I4, value);
}
VARIANT reference(SHORT& value) {
  return referring(VT_I2, value);
}
VARIANT boolean_reference(VARIANT_BOOL& value) {
  return referring(VT_BOOL, value);
}
VARIANT reference(CY& value) {
  return referring(VT_CY, value);
}
VARIANT reference(BSTR& value) {
  return referring(VT_BSTR, value);
}
VARIANT reference(SAFEARRAY*& value, VARTYPE element) {
  return referring(static_cast<VARTYPE>(VT_ARRAY | element), value);
}
VARIANT reference(IDispatch*& value) {
  return referring(VT_DISPATCH, value);
}
VARIANT value(const Variant& variant) {
  return variant.raw();
}

Answer invoke(IDispatch& object, DISPID id, WORD flags, std::vector<VARIANT> arguments,
              std::vector<DISPID> named) {
  std::reverse(arguments.begin(), arguments.end());
  DISPPARAMS all{arguments.data(), named.data(), static_cast<UINT>(arguments.size()),
                 static_cast<UINT>(named.size())};
  EXCEPINFO exception{};
  Answer answer;
  answer.status = object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &all, answer.result.receive(),
                                &exception, &answer.bad_argument);
  answer.code = exception.scode;
  answer.source = taken(exception.bstrSource);
  answer.description = taken(exception.bstrDescription);
  return answer;
}

DISPID id_of(IDispatch& object, const wchar_t* name) {
  LPOLESTR names = const_cast<LPOLESTR>(name);
  DISPID id = 0;
  object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
  return id;
}

Answer call(IDispatch& object, const wchar_t* member, std::vector<VARIANT> arguments) {
  return invoke(object, id_of(object, member), DISPATCH_METHOD | DISPATCH_PROPERTYGET, std::move(arguments));
}

Answer get(IDispatch& object, const wchar_t* property, std::vector<VARIANT> arguments) {
  return invoke(object, id_of(object, property), DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                std::move(arguments));
}

Answer put(IDispatch& object, const wchar_t* property, VARIANT value) {
  return invoke(object, id_of(object, property), DISPATCH_PROPERTYPUT, {value}, {DISPID_PROPERTYPUT});
}

}  // namespace automation
