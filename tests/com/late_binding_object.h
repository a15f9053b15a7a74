#pragma once

#include <windows.h>

#include <oaidl.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "frame/class_catalogue.h"
#include "frame/runtime_error.h"
#include "windows/com/enumerator.h"
#include "windows/com/kvwmi.h"
#include "windows/com/object.h"

/// An interface with every type and passing mode that the automation interface knows.
struct IEverything : public IDispatch {
  virtual HRESULT STDMETHODCALLTYPE m_Long(LONG in, LONG* both, LONG* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE m_Boolean(VARIANT_BOOL in, VARIANT_BOOL* both, VARIANT_BOOL* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE m_Currency(CY in, CY* both, CY* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE m_String(BSTR in, BSTR* both, BSTR* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE m_Strings(SAFEARRAY** both, LONG* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE m_Object(_InvObjects* in, _InvObjects** both, LONG* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE m_Clear(_InvObjects** both) = 0;
  virtual HRESULT STDMETHODCALLTYPE m_Optional(LONG required, LONG number, VARIANT_BOOL flag, BSTR text,
                                               LONG* both, BSTR* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE m_Fail(LONG* number, BSTR* text) = 0;
  virtual HRESULT STDMETHODCALLTYPE NewEnum(IUnknown** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_p_Strings(SAFEARRAY** result) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_p_Strings(SAFEARRAY** strings) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_p_Text(BSTR* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_p_Text(BSTR* text) = 0;
};
__CRT_UUID_DECL(IEverything, 0x2f1d6c1a, 0x5c0b, 0x4d53, 0x9a, 0x3e, 0x41, 0x0c, 0x7e, 0x55, 0x12, 0xd4)

namespace everything {

namespace catalogue = kvwmi::catalogue;
using catalogue::Kind;
using catalogue::MemberKind;
using catalogue::Parameter;
using catalogue::Passing;
using catalogue::Type;

constexpr Type kNone{};
constexpr Type kLong{Kind::long_integer, {}};
constexpr Type kBoolean{Kind::boolean, {}};
constexpr Type kCurrency{Kind::currency, {}};
constexpr Type kString{Kind::string, {}};
constexpr Type kStrings{Kind::string_array, {}};
constexpr Type kObject{Kind::object, "InvObjects"};
constexpr Type kEnumerator{Kind::enumerator, {}};

constexpr std::array<Parameter, 2> in_and_both(Type type) {
  return {Parameter{"f_in", type}, Parameter{"f_both", type, Passing::by_reference}};
}
constexpr auto kLongs = in_and_both(kLong);
constexpr auto kBooleans = in_and_both(kBoolean);
constexpr auto kCurrencies = in_and_both(kCurrency);
constexpr auto kTexts = in_and_both(kString);
constexpr auto kObjects = in_and_both(kObject);
constexpr std::array kBothStrings{Parameter{"f_both", kStrings, Passing::by_reference}};
constexpr std::array kBothObject{Parameter{"f_both", kObject, Passing::by_reference}};
constexpr std::array kOptional{Parameter{"f_required", kLong},
                               Parameter{"f_number", kLong, Passing::by_value, -7},
                               Parameter{"f_flag", kBoolean, Passing::by_value, true},
                               Parameter{"f_text", kString, Passing::by_value, std::string_view("left out")},
                               Parameter{"f_both", kLong, Passing::by_reference, 5}};
constexpr std::array kFail{Parameter{"f_number", kLong, Passing::by_reference},
                           Parameter{"f_text", kString, Passing::by_reference}};
constexpr std::array kText{Parameter{"f_text", kString, Passing::by_reference}};

constexpr std::array kMembers{
    catalogue::Member{1, MemberKind::method, "m_Long", kLong, kLongs},
    catalogue::Member{2, MemberKind::method, "m_Boolean", kBoolean, kBooleans},
    catalogue::Member{3, MemberKind::method, "m_Currency", kCurrency, kCurrencies},
    catalogue::Member{4, MemberKind::method, "m_String", kString, kTexts},
    catalogue::Member{5, MemberKind::method, "m_Strings", kLong, kBothStrings},
    catalogue::Member{6, MemberKind::method, "m_Object", kLong, kObjects},
    catalogue::Member{7, MemberKind::method, "m_Clear", kNone, kBothObject},
    catalogue::Member{8, MemberKind::method, "m_Optional", kString, kOptional},
    catalogue::Member{9, MemberKind::method, "m_Fail", kNone, kFail},
    catalogue::Member{10, MemberKind::method, "NewEnum", kEnumerator, {}},
    catalogue::Member{11, MemberKind::property_get, "p_Strings", kStrings, {}},
    catalogue::Member{11, MemberKind::property_let, "p_Strings", kNone, kBothStrings},
    catalogue::Member{12, MemberKind::property_get, "p_Text", kString, {}},
    catalogue::Member{12, MemberKind::property_let, "p_Text", kNone, kText},
};

constexpr catalogue::Class kClass{"Everything",  "{9D1F0E6E-33C8-4A0B-8B5C-0C1B0C2E7A11}",
                                  "IEverything", "{2F1D6C1A-5C0B-4D53-9A3E-410C7E5512D4}",
                                  std::nullopt,  "Test object",
                                  kMembers};

struct Nothing {};

/// An object of a class that parameters can ask for.
class Collection final : public kvwmi::com::Object<_InvObjects, Nothing> {
 public:
  Collection() : Object(*catalogue::find_class("InvObjects"), std::make_shared<Nothing>()) {}
  HRESULT STDMETHODCALLTYPE Add(LONG, _InvObject**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE m_delete(LONG) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Count(LONG* result) override {
    *result = 42;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Item(LONG, _InvObject**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE NewEnum(IUnknown**) override { return E_NOTIMPL; }
};

/// Answers each call in a way that shows what arrived.
class Everything final : public kvwmi::com::Object<IEverything, Nothing> {
 public:
  Everything() : Object(kClass, std::make_shared<Nothing>()) {}
  ~Everything() override { SafeArrayDestroy(strings_); }

  HRESULT STDMETHODCALLTYPE m_Long(LONG in, LONG* both, LONG* result) override {
    *result = *both;
    *both += in;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE m_Boolean(VARIANT_BOOL in, VARIANT_BOOL* both, VARIANT_BOOL* result) override {
    *result = *both;
    *both = in ? VARIANT_FALSE : VARIANT_TRUE;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE m_Currency(CY in, CY* both, CY* result) override {
    *result = *both;
    both->int64 += in.int64;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE m_String(BSTR in, BSTR* both, BSTR* result) override {
    const std::string before = kvwmi::windows::from_bstr(*both);
    *result = kvwmi::windows::Bstr(before).release();
    SysFreeString(*both);
    *both = kvwmi::windows::Bstr(before + kvwmi::windows::from_bstr(in)).release();
    return S_OK;
  }
  /// Appends one element and answers the old upper bound, or -2 for an array that is not allocated.
  HRESULT STDMETHODCALLTYPE m_Strings(SAFEARRAY** both, LONG* result) override {
    if (while_changing_strings) while_changing_strings();
    if (!grows) {
      *result = *both ? static_cast<LONG>((*both)->rgsabound[0].cElements) - 1 : -2;
      LONG first = 0;
      if (*both) SafeArrayPutElement(*both, &first, kvwmi::windows::Bstr("changed").get());
      return S_OK;
    }
    if (!*both) {
      *result = -2;
      *both = SafeArrayCreateVector(VT_BSTR, 0, 1);
    } else {
      *result = (*both)->rgsabound[0].lLbound + static_cast<LONG>((*both)->rgsabound[0].cElements) - 1;
      SAFEARRAYBOUND larger = (*both)->rgsabound[0];
      ++larger.cElements;
      const HRESULT resized = SafeArrayRedim(*both, &larger);
      if (FAILED(resized)) return resized;
    }
    LONG last = 0;
    SafeArrayGetUBound(*both, 1, &last);
    return SafeArrayPutElement(*both, &last, kvwmi::windows::Bstr("added").get());
  }
  /// Answers what arrived: 1 for the first, 2 for the second; exchanges nothing.
  HRESULT STDMETHODCALLTYPE m_Object(_InvObjects* in, _InvObjects** both, LONG* result) override {
    *result = (in ? 1 : 0) + (*both ? 2 : 0);
    if (!*both) {
      *both = new Collection;
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE m_Clear(_InvObjects** both) override {
    if (*both) (*both)->Release();
    *both = nullptr;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE m_Optional(LONG required, LONG number, VARIANT_BOOL flag, BSTR text, LONG* both,
                                       BSTR* result) override {
    const std::string seen = std::to_string(required) + " " + std::to_string(number) + " " +
                             std::to_string(flag) + " " + kvwmi::windows::from_bstr(text) + " " +
                             std::to_string(*both);
    *both = 1000;
    *result = kvwmi::windows::Bstr(seen).release();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE m_Fail(LONG* number, BSTR* text) override {
    return kvwmi::com::guarded(__uuidof(IEverything), [&] {
      *number = 77;
      SysFreeString(*text);
      *text = kvwmi::windows::Bstr("left behind").release();
      throw kvwmi::runtime_error(kvwmi::RuntimeError::overflow)
          .with_tag("KVWMI : Everything.Inner")
          .with_tag("KVWMI : Everything.m_Fail");
    });
  }
  HRESULT STDMETHODCALLTYPE NewEnum(IUnknown** result) override {
    std::vector<kvwmi::ground::ComPtr<IDispatch>> items(3);
    for (auto& item : items) item = kvwmi::ground::ComPtr<IDispatch>::own(new Collection);
    *result = kvwmi::com::make_enumerator(std::move(items)).detach();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_p_Strings(SAFEARRAY** result) override {
    *result = nullptr;
    return strings_ ? SafeArrayCopy(strings_, result) : S_OK;
  }
  HRESULT STDMETHODCALLTYPE put_p_Strings(SAFEARRAY** strings) override {
    SafeArrayDestroy(strings_);
    strings_ = nullptr;
    return *strings ? SafeArrayCopy(*strings, &strings_) : S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_p_Text(BSTR* result) override {
    *result = kvwmi::windows::Bstr(text_).release();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE put_p_Text(BSTR* text) override {
    text_ = kvwmi::windows::from_bstr(*text);
    return S_OK;
  }

  bool grows = true;  ///< m_Strings appends an element; otherwise it only changes the first
  std::function<void()> while_changing_strings;

 private:
  SAFEARRAY* strings_ = nullptr;
  std::string text_;
};

}  // namespace everything
