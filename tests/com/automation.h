#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "windows/text/bstr.h"
#include "windows/win32/com_ptr.h"

/// What a late-bound client is made of: variants as scripts and typed clients build them, and calls through
/// IDispatch.
namespace automation {

using kvwmi::ground::ComPtr;
using kvwmi::windows::Bstr;

/// A variant with value semantics.
class Variant {
 public:
  Variant() { VariantInit(&value_); }
  Variant(const Variant& other) : Variant() { VariantCopy(&value_, const_cast<VARIANT*>(&other.value_)); }
  Variant(Variant&& other) noexcept : Variant() { std::swap(value_, other.value_); }
  Variant& operator=(Variant other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Variant() { VariantClear(&value_); }

  static Variant of(LONG value) {
    return make(VT_I4, [&](VARIANT& v) { V_I4(&v) = value; });
  }
  static Variant of(SHORT value) {
    return make(VT_I2, [&](VARIANT& v) { V_I2(&v) = value; });
  }
  static Variant of(double value) {
    return make(VT_R8, [&](VARIANT& v) { V_R8(&v) = value; });
  }
  static Variant of(bool value) {
    return make(VT_BOOL, [&](VARIANT& v) { V_BOOL(&v) = value ? VARIANT_TRUE : VARIANT_FALSE; });
  }
  static Variant of(std::string_view utf8) {
    return make(VT_BSTR, [&](VARIANT& v) { V_BSTR(&v) = Bstr(utf8).release(); });
  }
  static Variant of(const char* utf8) { return of(std::string_view(utf8)); }
  /// `scaled` is in ten-thousandths.
  static Variant currency(std::int64_t scaled) {
    return make(VT_CY, [&](VARIANT& v) { V_CY(&v).int64 = scaled; });
  }
  static Variant of(IDispatch* object) {
    if (object) object->AddRef();
    return make(VT_DISPATCH, [&](VARIANT& v) { V_DISPATCH(&v) = object; });
  }
  static Variant null() {
    return make(VT_NULL, [](VARIANT&) {});
  }
  /// What stands for an argument that is left out.
  static Variant missing() {
    return make(VT_ERROR, [](VARIANT& v) { V_ERROR(&v) = DISP_E_PARAMNOTFOUND; });
  }
  /// An array as scripts make them.
  static Variant array(const std::vector<Variant>& elements) {
    return make(VT_ARRAY | VT_VARIANT, [&](VARIANT& v) {
      V_ARRAY(&v) = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(elements.size()));
      LONG index = 0;
      for (const Variant& element : elements) {
        SafeArrayPutElement(V_ARRAY(&v), &index, const_cast<VARIANT*>(&element.value_));
        ++index;
      }
    });
  }
  /// An array as typed clients make them.
  static Variant strings(std::initializer_list<const char*> elements, LONG first = 0) {
    return make(VT_ARRAY | VT_BSTR, [&](VARIANT& v) {
      V_ARRAY(&v) = SafeArrayCreateVector(VT_BSTR, first, static_cast<ULONG>(elements.size()));
      LONG index = first;
      for (const char* element : elements) {
        SafeArrayPutElement(V_ARRAY(&v), &index, Bstr(element).get());
        ++index;
      }
    });
  }

  [[nodiscard]] VARTYPE type() const { return V_VT(&value_); }
  [[nodiscard]] const VARIANT& raw() const { return value_; }
  [[nodiscard]] VARIANT& raw() { return value_; }
  VARIANT* receive() {
    VariantClear(&value_);
    return &value_;
  }

  /// Type and value in one line, for whole comparisons.
  [[nodiscard]] std::string text() const;

 private:
  template <typename Fill>
  static Variant make(VARTYPE type, Fill fill) {
    Variant result;
    fill(result.value_);
    V_VT(&result.value_) = type;
    return result;
  }

  VARIANT value_;
};

/// The argument for a variable of a script: by reference, whatever it holds.
VARIANT variable(Variant& variant);
/// The argument for a variable of a typed client.
VARIANT reference(LONG& value);
VARIANT reference(SHORT& value);
VARIANT boolean_reference(VARIANT_BOOL& value);
VARIANT reference(CY& value);
VARIANT reference(BSTR& value);
VARIANT reference(SAFEARRAY*& value, VARTYPE element);
VARIANT reference(IDispatch*& value);
/// A constant or the result of an expression.
VARIANT value(const Variant& variant);

/// The outcome of one call.
struct Answer {
  HRESULT status = S_OK;
  Variant result;
  UINT bad_argument = 99;  ///< counted from the last argument; 99 where none was blamed
  HRESULT code = S_OK;     ///< of the exception
  std::string source;
  std::string description;

  /// None where the result is empty; throws where it is anything else than a number.
  [[nodiscard]] std::optional<long> long_result() const {
    if (result.type() == VT_EMPTY) return std::nullopt;
    if (result.type() != VT_I4) throw std::runtime_error("the result is " + result.text());
    return V_I4(&result.raw());
  }
};

/// Calls by dispatch identifier; the arguments stand in the order in which a client writes them.
Answer invoke(IDispatch& object, DISPID id, WORD flags, std::vector<VARIANT> arguments,
              std::vector<DISPID> named = {});

/// DISPID_UNKNOWN where the object has no such name.
DISPID id_of(IDispatch& object, const wchar_t* name);

/// Calls as a script does.
Answer call(IDispatch& object, const wchar_t* member, std::vector<VARIANT> arguments = {});
Answer get(IDispatch& object, const wchar_t* property, std::vector<VARIANT> arguments = {});
Answer put(IDispatch& object, const wchar_t* property, VARIANT value);

}  // namespace automation
