#include "windows/scripting/variant.h"

#include <bit>
#include <cstdint>
#include <new>
#include <string>
#include <type_traits>

#include "frame/runtime_error.h"
#include "windows/text/bstr.h"

namespace kvwmi::ground {
namespace {

using wmi::Value;

[[noreturn]] void raise_type_mismatch() {
  throw runtime_error(RuntimeError::type_mismatch);
}

/// Keeps an array's elements in place while they are read.
class ArrayAccess {
 public:
  explicit ArrayAccess(SAFEARRAY* array) : array_(array) {
    if (FAILED(SafeArrayAccessData(array, &data_))) raise_type_mismatch();
  }
  ArrayAccess(const ArrayAccess&) = delete;
  ArrayAccess& operator=(const ArrayAccess&) = delete;
  ~ArrayAccess() { SafeArrayUnaccessData(array_); }

  [[nodiscard]] void* element(std::size_t index) const {
    return static_cast<std::byte*>(data_) + index * SafeArrayGetElemsize(array_);
  }

 private:
  SAFEARRAY* array_;
  void* data_ = nullptr;
};

Value array_from(SAFEARRAY* array, ObjectFromAutomation object) {
  Value::Array elements;
  if (!array) return Value(std::move(elements));
  VARTYPE type = VT_EMPTY;
  LONG lower = 0;
  LONG upper = -1;
  if (SafeArrayGetDim(array) != 1 || FAILED(SafeArrayGetVartype(array, &type)) ||
      FAILED(SafeArrayGetLBound(array, 1, &lower)) || FAILED(SafeArrayGetUBound(array, 1, &upper))) {
    raise_type_mismatch();
  }
  const ArrayAccess access(array);
  for (LONG i = lower; i <= upper; ++i) {
    VARIANT element;
    VariantInit(&element);
    element.vt = static_cast<VARTYPE>(type | VT_BYREF);
    element.byref = access.element(static_cast<std::size_t>(i - lower));
    elements.push_back(value_from(element, object));
  }
  return Value(std::move(elements));
}

Value object_from(IUnknown* unknown, ObjectFromAutomation object) {
  return unknown ? Value(object(*unknown)) : Value();
}

}  // namespace

Value value_from(const VARIANT& variant, ObjectFromAutomation object) {
  const bool by_reference = (variant.vt & VT_BYREF) != 0;
  const auto type = static_cast<VARTYPE>(variant.vt & ~VT_BYREF);
  // A variant's members all lie at one place, so one read serves values and references.
  const void* const place = by_reference ? variant.byref : &variant.byref;
  const auto held = [&]<typename T>(std::type_identity<T>) -> const T& {
    return *static_cast<const T*>(place);
  };
  if (!place) raise_type_mismatch();
  if ((type & VT_ARRAY) != 0) return array_from(held(std::type_identity<SAFEARRAY*>()), object);
  switch (type) {
    case VT_EMPTY:
    case VT_NULL:
      return Value();
    case VT_BOOL:
      return Value(held(std::type_identity<VARIANT_BOOL>()) != VARIANT_FALSE);
    case VT_UI1:
      return Value(held(std::type_identity<std::uint8_t>()));
    case VT_I1:
      return Value(static_cast<std::int16_t>(held(std::type_identity<std::int8_t>())));
    case VT_I2:
      return Value(held(std::type_identity<std::int16_t>()));
    case VT_UI2:
      return Value(static_cast<std::int32_t>(held(std::type_identity<std::uint16_t>())));
    case VT_I4:
    case VT_INT:
    case VT_UI4:
    case VT_UINT:
      return Value(held(std::type_identity<std::int32_t>()));
    case VT_I8:
      return Value(std::to_string(held(std::type_identity<std::int64_t>())));
    case VT_UI8:
      return Value(std::to_string(held(std::type_identity<std::uint64_t>())));
    case VT_R4:
      return Value(held(std::type_identity<float>()));
    case VT_R8:
    case VT_DATE:
      return Value(held(std::type_identity<double>()));
    case VT_BSTR:
      return Value(windows::from_bstr(held(std::type_identity<BSTR>())));
    case VT_DISPATCH:
    case VT_UNKNOWN:
      return object_from(held(std::type_identity<IUnknown*>()), object);
    case VT_VARIANT:
      if (by_reference) return value_from(held(std::type_identity<VARIANT>()), object);
      break;
    default:
      break;
  }
  raise_type_mismatch();
}

namespace {

void put_array(const Value::Array& elements, VARIANT& result, ObjectToAutomation object) {
  result.parray = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(elements.size()));
  if (!result.parray) throw std::bad_alloc();
  // Owned by the variant from here on, so an element that cannot be written leaks nothing.
  result.vt = VT_ARRAY | VT_VARIANT;
  const ArrayAccess access(result.parray);
  for (std::size_t i = 0; i < elements.size(); ++i) {
    put_value(elements[i], *static_cast<VARIANT*>(access.element(i)), object);
  }
}

}  // namespace

void put_value(const Value& value, VARIANT& result, ObjectToAutomation object) {
  std::visit(
      [&](const auto& held) {
        using Held = std::decay_t<decltype(held)>;
        if constexpr (std::is_same_v<Held, std::monostate>) {
          result.vt = VT_NULL;
        } else if constexpr (std::is_same_v<Held, bool>) {
          result.vt = VT_BOOL;
          result.boolVal = held ? VARIANT_TRUE : VARIANT_FALSE;
        } else if constexpr (std::is_same_v<Held, std::uint8_t>) {
          result.vt = VT_UI1;
          result.bVal = held;
        } else if constexpr (std::is_same_v<Held, std::int16_t>) {
          result.vt = VT_I2;
          result.iVal = held;
        } else if constexpr (std::is_same_v<Held, std::int32_t>) {
          result.vt = VT_I4;
          result.lVal = held;
        } else if constexpr (std::is_same_v<Held, float>) {
          result.vt = VT_R4;
          result.fltVal = held;
        } else if constexpr (std::is_same_v<Held, double>) {
          result.vt = VT_R8;
          result.dblVal = held;
        } else if constexpr (std::is_same_v<Held, std::string>) {
          result.bstrVal = windows::Bstr(held).release();
          result.vt = VT_BSTR;
        } else if constexpr (std::is_same_v<Held, Value::Array>) {
          put_array(held, result, object);
        } else {
          result.pdispVal = held ? object(held).detach() : nullptr;
          result.vt = VT_DISPATCH;
        }
      },
      value.storage());
}

}  // namespace kvwmi::ground
