#include "windows/com/coercion.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "windows/com/guid.h"
#include "windows/text/bstr.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::com {
namespace {

using catalogue::Kind;
using catalogue::Parameter;
using catalogue::Passing;
using catalogue::Type;
using ground::ComPtr;
using windows::Bstr;

constexpr VARTYPE kVariantReference = VT_BYREF | VT_VARIANT;

/// The array that a variant holds or refers to: nullopt where it is none, null where it is not allocated.
std::optional<SAFEARRAY*> array_in(const VARIANT& variant) {
  if (!(V_VT(&variant) & VT_ARRAY)) return std::nullopt;
  if (!(V_VT(&variant) & VT_BYREF)) return V_ARRAY(&variant);
  return V_ARRAYREF(&variant) ? *V_ARRAYREF(&variant) : nullptr;
}

/// Whether an array has elements of that type; one that is not allocated can get them.
bool is_array_of(SAFEARRAY* array, VARTYPE type) {
  VARTYPE found = VT_EMPTY;
  return !array || (SUCCEEDED(SafeArrayGetVartype(array, &found)) && found == type);
}

/// The object that a variant holds or refers to: nullopt where it holds something else. An empty variable is
/// no object.
std::optional<IUnknown*> object_in(const VARIANT& variant) {
  switch (V_VT(&variant)) {
    case VT_EMPTY:
      return nullptr;
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return V_UNKNOWN(&variant);
    case VT_BYREF | VT_DISPATCH:
    case VT_BYREF | VT_UNKNOWN:
      return V_UNKNOWNREF(&variant) ? *V_UNKNOWNREF(&variant) : nullptr;
    default:
      return std::nullopt;
  }
}

/// VariantChangeTypeEx with one answer for all that does not convert; which of many codes the system gives
/// depends on what the value is.
HRESULT change_type(VARIANT& result, VARIANT& source, LCID locale, VARTYPE type) {
  const HRESULT changed = VariantChangeTypeEx(&result, &source, locale, VARIANT_ALPHABOOL, type);
  const bool kept = SUCCEEDED(changed) || changed == DISP_E_OVERFLOW || changed == E_OUTOFMEMORY;
  return kept ? changed : DISP_E_TYPEMISMATCH;
}

/// Keeps an array from being freed or resized while code of the client's may run.
class ArrayLock {
 public:
  explicit ArrayLock(SAFEARRAY* array) noexcept : array_(array) {
    if (array_ && FAILED(SafeArrayLock(array_))) array_ = nullptr;
  }
  ArrayLock(const ArrayLock&) = delete;
  ArrayLock& operator=(const ArrayLock&) = delete;
  ~ArrayLock() {
    if (array_) SafeArrayUnlock(array_);
  }
  explicit operator bool() const noexcept { return array_ != nullptr; }

 private:
  SAFEARRAY* array_;
};

/// What a failure in the client's code is to the one who called: its codes say nothing about the argument.
HRESULT as_mismatch(HRESULT failure) {
  return failure == E_OUTOFMEMORY ? failure : DISP_E_TYPEMISMATCH;
}

/// A member of an object that is only known by name; S_FALSE where the object has none of that name.
HRESULT read_member(IDispatch& object, const std::wstring& name, VARIANT& value) {
  LPOLESTR names = const_cast<LPOLESTR>(name.c_str());
  DISPID id = DISPID_UNKNOWN;
  const HRESULT found = object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
  if (found == DISP_E_UNKNOWNNAME) return S_FALSE;
  if (FAILED(found)) return as_mismatch(found);
  DISPPARAMS none{};
  const HRESULT read =
      object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr);
  return FAILED(read) ? as_mismatch(read) : S_OK;
}

/// A one-dimensional array of strings or variants, or a script's array object, element by element.
class StringArrayReader {
 public:
  /// Fails with a type mismatch on anything else.
  HRESULT open(const VARIANT& source) {
    if (const auto array = array_in(source)) return open_array(*array);
    const auto object = object_in(source);
    if (!object) return DISP_E_TYPEMISMATCH;
    if (!*object) return S_OK;  // an empty variable is an array that is not allocated
    return open_object(**object);
  }

  [[nodiscard]] bool is_allocated() const { return array_ || object_; }
  [[nodiscard]] SAFEARRAYBOUND bounds() const { return bounds_; }

  HRESULT read(LONG index, LCID locale, BSTR& text) {
    OwnedVariant element;
    HRESULT got = S_OK;
    if (object_) {
      // An index that is missing, as in a sparse array, leaves the element empty.
      got = read_member(*object_.get(), std::to_wstring(index), element);
    } else if (element_type_ == VT_VARIANT) {
      got = SafeArrayGetElement(array_, &index, &element);
    } else {
      got = SafeArrayGetElement(array_, &index, &V_BSTR(&element));
      if (SUCCEEDED(got)) V_VT(&element) = VT_BSTR;
    }
    if (SUCCEEDED(got)) got = change_type(element, element, locale, VT_BSTR);
    if (FAILED(got)) return got;
    text = V_BSTR(&element);
    V_VT(&element) = VT_EMPTY;
    return S_OK;
  }

 private:
  HRESULT open_array(SAFEARRAY* array) {
    if (!array) return S_OK;
    if (SafeArrayGetDim(array) != 1) return DISP_E_TYPEMISMATCH;
    const HRESULT known = SafeArrayGetVartype(array, &element_type_);
    if (FAILED(known) || (element_type_ != VT_BSTR && element_type_ != VT_VARIANT))
      return DISP_E_TYPEMISMATCH;
    lock_.emplace(array);
    if (!*lock_) return DISP_E_ARRAYISLOCKED;
    array_ = array;
    bounds_ = array->rgsabound[0];
    return S_OK;
  }

  HRESULT open_object(IUnknown& object) {
    OwnedVariant length;
    if (FAILED(object.QueryInterface(IID_PPV_ARGS(object_.put())))) return DISP_E_TYPEMISMATCH;
    const HRESULT read = read_member(*object_.get(), L"length", length);
    if (FAILED(read)) return read;
    if (read == S_FALSE || FAILED(VariantChangeType(&length, &length, 0, VT_I4)) || V_I4(&length) < 0) {
      return DISP_E_TYPEMISMATCH;
    }
    bounds_ = {static_cast<ULONG>(V_I4(&length)), 0};
    return S_OK;
  }

  SAFEARRAY* array_ = nullptr;
  std::optional<ArrayLock> lock_;  // on array_: the default property of an element may be a script's
  VARTYPE element_type_ = VT_EMPTY;
  ComPtr<IDispatch> object_;
  SAFEARRAYBOUND bounds_{};
};

HRESULT to_string_array(const VARIANT& source, LCID locale, SAFEARRAY*& result) {
  StringArrayReader reader;
  if (const HRESULT opened = reader.open(source); FAILED(opened)) return opened;
  if (!reader.is_allocated()) return S_OK;
  SAFEARRAYBOUND bounds = reader.bounds();
  SAFEARRAY* array = SafeArrayCreate(VT_BSTR, 1, &bounds);
  if (!array) return E_OUTOFMEMORY;
  for (ULONG i = 0; i < bounds.cElements; ++i) {
    BSTR& element = static_cast<BSTR*>(array->pvData)[i];
    const HRESULT read = reader.read(bounds.lLbound + static_cast<LONG>(i), locale, element);
    if (FAILED(read)) {
      SafeArrayDestroy(array);
      return read;
    }
  }
  result = array;
  return S_OK;
}

/// Whether a variant holds or refers to just what a parameter of that kind takes. An object has to be asked
/// for its interface.
bool is_exact(const VARIANT& source, Kind kind) {
  if (kind == Kind::object) return false;
  if (kind != Kind::string_array) return true;
  SAFEARRAY* const array = *array_in(source);
  return is_array_of(array, VT_BSTR) && (!array || SafeArrayGetDim(array) == 1);
}

/// The same strings as variants, which is the only kind of array that scripts can index.
HRESULT to_variant_array(SAFEARRAY* strings, SAFEARRAY*& result) {
  if (!strings) return S_OK;
  SAFEARRAYBOUND bounds = strings->rgsabound[0];
  SAFEARRAY* array = SafeArrayCreate(VT_VARIANT, 1, &bounds);
  if (!array) return E_OUTOFMEMORY;
  for (ULONG i = 0; i < bounds.cElements; ++i) {
    VARIANT& element = static_cast<VARIANT*>(array->pvData)[i];
    VARIANT string{};
    V_VT(&string) = VT_BSTR;
    V_BSTR(&string) = static_cast<BSTR*>(strings->pvData)[i];
    const HRESULT copied = VariantCopy(&element, &string);
    if (FAILED(copied)) {
      SafeArrayDestroy(array);
      return copied;
    }
  }
  result = array;
  return S_OK;
}

bool same_shape(SAFEARRAY* a, SAFEARRAY* b) {
  return a && b && a->cDims == 1 && b->cDims == 1 && a->rgsabound[0].cElements == b->rgsabound[0].cElements &&
         a->rgsabound[0].lLbound == b->rgsabound[0].lLbound;
}

bool is_in_use(const SAFEARRAY* array) {
  return array && array->cLocks != 0;
}

/// Puts an array of variants in the place of the caller's one, whose memory may be the caller's own and of
/// fixed size.
HRESULT replace_array(SAFEARRAY*& place, OwnedVariant& array) {
  // Code of the client's may have put another array there since takes_back.
  if (!is_array_of(place, VT_VARIANT)) return DISP_E_TYPEMISMATCH;
  if (same_shape(place, V_ARRAY(&array))) {
    SAFEARRAY* const target = place;
    const ArrayLock lock(target);
    if (!lock) return DISP_E_ARRAYISLOCKED;
    // The old elements go with `array`, when the new ones are in their places and the lock is off.
    auto* const old = static_cast<VARIANT*>(target->pvData);
    std::swap_ranges(old, old + target->rgsabound[0].cElements,
                     static_cast<VARIANT*>(V_ARRAY(&array)->pvData));
    return S_OK;
  }
  if (place && (place->fFeatures & (FADF_FIXEDSIZE | FADF_STATIC | FADF_AUTO))) return DISP_E_BADINDEX;
  if (is_in_use(place)) return DISP_E_ARRAYISLOCKED;
  // The new array is in its place before the old one goes, for elements may run the client's code as they go.
  const VARIANT given = array.release();
  SafeArrayDestroy(std::exchange(place, V_ARRAY(&given)));
  return S_OK;
}

/// Bytes of a scalar that a variant holds; 0 for what is no scalar.
std::size_t size_of_scalar(VARTYPE type) {
  switch (type) {
    case VT_I1:
    case VT_UI1:
      return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
      return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
      return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
      return 8;
    default:
      return 0;
  }
}

/// Whether a reference to something that is no variant can take a value of `kind` back.
bool takes_back(const VARIANT& reference, Kind kind) {
  const VARTYPE type = V_VT(&reference) & VARTYPE{0xFFFF ^ VT_BYREF};
  if (kind == Kind::string_array) {
    return type == (VT_ARRAY | VT_VARIANT) && is_array_of(*V_ARRAYREF(&reference), VT_VARIANT);
  }
  if (kind == Kind::object) return type == VT_DISPATCH || type == VT_UNKNOWN;
  return type == VT_BSTR || type == VT_DECIMAL || size_of_scalar(type) != 0;
}

/// Stores `value` through a reference that takes_back said yes to.
HRESULT store_through(VARIANT& reference, OwnedVariant& value, LCID locale) {
  const VARTYPE type = V_VT(&reference) & VARTYPE{0xFFFF ^ VT_BYREF};
  if (!V_BYREF(&reference)) return S_OK;
  if (type & VT_ARRAY) return replace_array(*V_ARRAYREF(&reference), value);
  OwnedVariant converted;
  const HRESULT changed = change_type(converted, value, locale, type);
  if (FAILED(changed)) return changed;
  if (type == VT_BSTR) {
    std::swap(*V_BSTRREF(&reference), V_BSTR(&converted));
  } else if (type == VT_DISPATCH || type == VT_UNKNOWN) {
    std::swap(*V_UNKNOWNREF(&reference), V_UNKNOWN(&converted));
  } else if (type == VT_DECIMAL) {
    // It lies over the whole variant, whose type stands in a field of it that is reserved.
    *V_DECIMALREF(&reference) = V_DECIMAL(&converted);
    V_DECIMALREF(&reference)->wReserved = 0;
  } else {
    std::memcpy(V_BYREF(&reference), &V_I8(&converted), size_of_scalar(type));
  }
  return S_OK;
}

/// Whether a variant holds or refers to a string with a NUL in it.
bool has_nul(const VARIANT& variant) {
  BSTR text = nullptr;
  if (V_VT(&variant) == VT_BSTR) text = V_BSTR(&variant);
  if (V_VT(&variant) == (VT_BYREF | VT_BSTR)) text = *V_BSTRREF(&variant);
  return text && std::wstring_view(text, SysStringLen(text)).find(L'\0') != std::wstring_view::npos;
}

GUID interface_of(const Type& type) {
  const catalogue::Class* found = catalogue::find_class(type.class_name);
  return found ? to_guid(found->interface_id) : __uuidof(IDispatch);
}

OwnedVariant default_of(const Parameter& parameter) {
  OwnedVariant result;
  const catalogue::Default& value = *parameter.default_value;
  if (const auto* number = std::get_if<std::int32_t>(&value)) {
    V_VT(&result) = VT_I4;
    V_I4(&result) = *number;
  } else if (const auto* flag = std::get_if<bool>(&value)) {
    V_VT(&result) = VT_BOOL;
    V_BOOL(&result) = *flag ? VARIANT_TRUE : VARIANT_FALSE;
  } else {
    V_VT(&result) = VT_BSTR;
    V_BSTR(&result) = Bstr(std::get<std::string_view>(value)).release();
  }
  return result;
}

}  // namespace

VARIANT* dereferenced(VARIANT& variant) noexcept {
  VARIANT* current = &variant;
  while (current && V_VT(current) == kVariantReference) current = V_VARIANTREF(current);
  return current;
}

VARTYPE vartype_of(const Type& type) noexcept {
  switch (type.kind) {
    case Kind::none:
      return VT_EMPTY;
    case Kind::long_integer:
      return VT_I4;
    case Kind::boolean:
      return VT_BOOL;
    case Kind::currency:
      return VT_CY;
    case Kind::string:
      return VT_BSTR;
    case Kind::string_array:
      return VT_ARRAY | VT_BSTR;
    case Kind::object:
      return VT_DISPATCH;
    case Kind::enumerator:
      return VT_UNKNOWN;
  }
  return VT_EMPTY;
}

HRESULT CoercedArgument::convert(const Type& type, VARIANT& source, LCID locale) {
  switch (type.kind) {
    case Kind::string_array: {
      SAFEARRAY* array = nullptr;
      const HRESULT converted = to_string_array(source, locale, array);
      if (FAILED(converted)) return converted;
      V_ARRAY(&value_) = array;
      break;
    }
    case Kind::object: {
      const auto object = object_in(source);
      if (!object) return DISP_E_TYPEMISMATCH;
      void* wanted = nullptr;
      if (*object && FAILED((*object)->QueryInterface(interface_of(type), &wanted)))
        return DISP_E_TYPEMISMATCH;
      V_DISPATCH(&value_) = static_cast<IDispatch*>(wanted);
      break;
    }
    default:
      // The system would read a number or a truth value up to the first NUL.
      if (type.kind != Kind::string && has_nul(source)) return DISP_E_TYPEMISMATCH;
      return change_type(value_, source, locale, vartype_of(type));
  }
  V_VT(&value_) = vartype_of(type);
  return S_OK;
}

HRESULT CoercedArgument::set(const Parameter& parameter, VARIANT& given, LCID locale, bool writes_back) {
  VARIANT* source = dereferenced(given);
  if (!source || ((V_VT(source) & VT_BYREF) && !V_BYREF(source))) return DISP_E_TYPEMISMATCH;
  const bool by_reference = parameter.passing == Passing::by_reference;
  const VARTYPE type = vartype_of(parameter.type);
  const VARTYPE wanted = by_reference ? static_cast<VARTYPE>(VT_BYREF | type) : type;
  if (V_VT(source) == wanted && is_exact(*source, parameter.type.kind)) {
    actual_ = *source;
    return S_OK;
  }
  const bool is_place = writes_back && by_reference && (V_VT(&given) & VT_BYREF);
  // Told before the call, which would have acted already.
  if (is_place && (V_VT(source) & VT_BYREF) && !takes_back(*source, parameter.type.kind)) {
    return DISP_E_TYPEMISMATCH;
  }
  if (const HRESULT converted = convert(parameter.type, *source, locale); FAILED(converted)) return converted;
  if (is_place) place_ = source;
  point_at_value(parameter);
  return S_OK;
}

void CoercedArgument::point_at_value(const Parameter& parameter) noexcept {
  actual_ = value_;
  if (parameter.passing == Passing::by_value) return;
  V_VT(&actual_) = static_cast<VARTYPE>(VT_BYREF | V_VT(&value_));
  V_BYREF(&actual_) = &V_I8(&value_);
}

void CoercedArgument::set_default(const Parameter& parameter) {
  // Defaults are held in their parameter's type.
  static_cast<VARIANT&>(value_) = default_of(parameter).release();
  point_at_value(parameter);
}

HRESULT CoercedArgument::write_back(LCID locale) {
  if (!place_) return S_OK;
  // A script can index no other array than one of variants; who holds an array of strings keeps one.
  if ((V_VT(&value_) & VT_ARRAY) && V_VT(place_) != V_VT(&value_)) {
    SAFEARRAY* variants = nullptr;
    const HRESULT converted = to_variant_array(V_ARRAY(&value_), variants);
    if (FAILED(converted)) return converted;
    VariantClear(&value_);
    V_VT(&value_) = VT_ARRAY | VT_VARIANT;
    V_ARRAY(&value_) = variants;
  }
  if (V_VT(place_) & VT_BYREF) return store_through(*place_, value_, locale);
  if ((V_VT(place_) & VT_ARRAY) && is_in_use(V_ARRAY(place_))) return DISP_E_ARRAYISLOCKED;
  // The new value is in its place before the old one goes, for that may run the client's code.
  OwnedVariant old;
  std::swap(static_cast<VARIANT&>(old), *place_);
  *place_ = value_.release();
  return S_OK;
}

void adapt_result(VARIANT& result) noexcept {
  IDispatch* iterable = nullptr;
  if (V_VT(&result) != VT_UNKNOWN || !V_UNKNOWN(&result)) return;
  if (FAILED(V_UNKNOWN(&result)->QueryInterface(IID_PPV_ARGS(&iterable)))) return;
  VariantClear(&result);
  V_VT(&result) = VT_DISPATCH;
  V_DISPATCH(&result) = iterable;
}

HRESULT take_element(VARIANT& array, VARIANT& index, LCID locale) {
  VARIANT* source = dereferenced(index);
  OwnedVariant position;
  if (!source) return DISP_E_TYPEMISMATCH;
  const HRESULT converted = change_type(position, *source, locale, VT_I4);
  if (FAILED(converted)) return converted;
  OwnedVariant element;
  // An array that is not allocated has no element either.
  if (!V_ARRAY(&array)) return DISP_E_BADINDEX;
  const HRESULT got = SafeArrayGetElement(V_ARRAY(&array), &V_I4(&position), &V_BSTR(&element));
  if (FAILED(got)) return got;
  V_VT(&element) = VT_BSTR;
  VariantClear(&array);
  array = element.release();
  return S_OK;
}

}  // namespace kvwmi::com
