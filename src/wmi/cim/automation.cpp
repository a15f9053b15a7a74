#include "wmi/cim/automation.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "frame/conversion.h"
#include "frame/wmi_status.h"

namespace kvwmi::cim {
namespace {

template <typename T>
const T& held(const Value& value) {
  if (const T* result = value.get_if<T>()) return *result;
  throw wmi::wmi_error(wmi::Status::type_mismatch, wmi::source::kObject);
}

/// Two's complement bits of an integer of either sign.
std::uint64_t bits(const Value& value) {
  if (const auto* number = value.get_if<std::int64_t>()) return static_cast<std::uint64_t>(*number);
  return held<std::uint64_t>(value);
}

/// The whole of `text` as a decimal T.
template <typename T>
std::optional<T> parse(std::string_view text) {
  T number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// An integer of either sign, or nullopt when the value is no whole number within 64 bits.
std::optional<Value> whole_number(const wmi::Value& value) {
  if (const auto* text = value.get_if<std::string>()) {
    if (const auto number = parse<std::int64_t>(*text)) return Value(*number);
    if (const auto number = parse<std::uint64_t>(*text)) return Value(*number);
    return std::nullopt;
  }
  const double number = to_double(value);
  constexpr double kLimit = 9'223'372'036'854'775'808.0;
  if (!(number >= -kLimit && number < kLimit) || number != std::trunc(number)) return std::nullopt;
  return Value(static_cast<std::int64_t>(number));
}

template <typename T>
bool fits(const Value& number) {
  if (const auto* wide = number.get_if<std::uint64_t>()) return std::in_range<T>(*wide);
  return std::in_range<T>(*number.get_if<std::int64_t>());
}

/// `number` when it lies within T, in the form in which this service keeps T's kind.
template <typename T>
std::optional<Value> within(const std::optional<Value>& number) {
  if (!number || !fits<T>(*number)) return std::nullopt;
  if constexpr (std::is_signed_v<T>) {
    return Value(static_cast<std::int64_t>(bits(*number)));
  } else {
    return Value(bits(*number));
  }
}

std::optional<Value> within_uint32(const wmi::Value& value) {
  if (const auto* pattern = value.get_if<std::int32_t>()) {
    return Value(std::uint64_t{static_cast<std::uint32_t>(*pattern)});
  }
  return within<std::uint32_t>(whole_number(value));
}

std::optional<Value> convert(const wmi::Value& value, CimType type) {
  switch (type) {
    case CimType::sint8:
      return within<std::int8_t>(whole_number(value));
    case CimType::sint16:
    case CimType::char16:
      return within<std::int16_t>(whole_number(value));
    case CimType::sint32:
      return within<std::int32_t>(whole_number(value));
    case CimType::sint64:
      return within<std::int64_t>(whole_number(value));
    case CimType::uint8:
      return within<std::uint8_t>(whole_number(value));
    case CimType::uint16:
      return within<std::uint16_t>(whole_number(value));
    case CimType::uint32:
      return within_uint32(value);
    case CimType::uint64:
      return within<std::uint64_t>(whole_number(value));
    case CimType::real32:
    case CimType::real64:
      return Value(to_double(value));
    case CimType::boolean:
      return Value(to_boolean(value));
    case CimType::string:
    case CimType::datetime:
    case CimType::reference:
      return Value(to_text(value));
    case CimType::object:
      return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

wmi::Value to_automation(const Value& value, CimType type, const ObjectMaker& make_object) {
  if (value.is_null()) return {};
  if (const auto* elements = value.get_if<Value::Array>()) {
    wmi::Value::Array converted;
    converted.reserve(elements->size());
    for (const Value& element : *elements) converted.push_back(to_automation(element, type, make_object));
    return wmi::Value(std::move(converted));
  }
  switch (type) {
    case CimType::sint8:
      return wmi::Value(std::int16_t{static_cast<std::int8_t>(bits(value))});
    case CimType::sint16:
    case CimType::char16:
      return wmi::Value(static_cast<std::int16_t>(bits(value)));
    case CimType::uint8:
      return wmi::Value(static_cast<std::uint8_t>(bits(value)));
    case CimType::uint16:
      return wmi::Value(std::int32_t{static_cast<std::uint16_t>(bits(value))});
    case CimType::sint32:
    case CimType::uint32:
      return wmi::Value(static_cast<std::int32_t>(bits(value)));
    case CimType::sint64:
      return wmi::Value(std::to_string(static_cast<std::int64_t>(bits(value))));
    case CimType::uint64:
      return wmi::Value(std::to_string(bits(value)));
    case CimType::real32:
      return wmi::Value(static_cast<float>(held<double>(value)));
    case CimType::real64:
      return wmi::Value(held<double>(value));
    case CimType::boolean:
      return wmi::Value(held<bool>(value));
    case CimType::string:
    case CimType::datetime:
    case CimType::reference:
      return wmi::Value(held<std::string>(value));
    case CimType::object:
      return make_object ? wmi::Value(make_object(held<std::shared_ptr<Instance>>(value))) : wmi::Value();
  }
  return {};
}

std::optional<Value> from_automation(const wmi::Value& value, CimType type) {
  if (value.is_null()) return Value();
  try {
    if (const auto* elements = value.get_if<wmi::Value::Array>()) {
      Value::Array converted;
      for (const wmi::Value& element : *elements) {
        auto one = from_automation(element, type);
        if (!one) return std::nullopt;
        converted.push_back(*std::move(one));
      }
      return Value(std::move(converted));
    }
    return convert(value, type);
  } catch (const Error&) {  // the standard conversions' own refusals
    return std::nullopt;
  }
}

}  // namespace kvwmi::cim
