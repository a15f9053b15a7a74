#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "kvwmi/currency.h"
#include "windows/text/bstr.h"

namespace kvwmi::com {

/// How a type of the automation interface and its counterpart in the core turn into each other:
///   using Core      the counterpart
///   take(Com)       the value for the core; the automation value stays its owner's
///   give(Core, Com&) replaces an automation value that the caller owns
template <typename Com>
struct Transport;

template <>
struct Transport<LONG> {
  using Core = std::int32_t;
  static Core take(LONG value) { return value; }
  static void give(Core value, LONG& out) { out = value; }
};

template <>
struct Transport<VARIANT_BOOL> {
  using Core = bool;
  static Core take(VARIANT_BOOL value) { return value != VARIANT_FALSE; }
  static void give(Core value, VARIANT_BOOL& out) { out = value ? VARIANT_TRUE : VARIANT_FALSE; }
};

template <>
struct Transport<CY> {
  using Core = Currency;
  static Core take(CY value) { return Currency::from_scaled(value.int64); }
  static void give(Core value, CY& out) { out.int64 = value.scaled(); }
};

template <>
struct Transport<BSTR> {
  using Core = std::string;
  static Core take(BSTR value) { return windows::from_bstr(value); }
  static void give(const Core& value, BSTR& out) {
    windows::Bstr text(value);
    SysFreeString(std::exchange(out, text.release()));
  }
};

/// A type that travels by value. Every other pointer is a by-reference parameter.
template <typename Com>
concept Value = requires {
  typename Transport<Com>::Core;
};

/// One argument on its way into the core.
template <typename Com>
class Argument;

template <Value Com>
class Argument<Com> {
 public:
  explicit Argument(Com value) : value_(Transport<Com>::take(value)) {}
  [[nodiscard]] const auto& for_core() const { return value_; }
  void give_back() {}

 private:
  typename Transport<Com>::Core value_;
};

/// By reference: what the core leaves in it goes back to the caller, also when the call fails.
template <Value Com>
requires(!Value<Com*>) class Argument<Com*> {
 public:
  explicit Argument(Com* place) : place_(place), value_(Transport<Com>::take(*place)) {}
  Argument(const Argument&) = delete;
  Argument& operator=(const Argument&) = delete;
  ~Argument() {
    try {
      if (place_) give_back();
    } catch (...) {
      // No memory for the new value of a call that has failed already: the caller keeps the old one.
    }
  }
  [[nodiscard]] auto& for_core() { return value_; }
  /// Raises where there is no memory for it.
  void give_back() { Transport<Com>::give(std::move(value_), *std::exchange(place_, nullptr)); }

 private:
  Com* place_;
  typename Transport<Com>::Core value_;
};

/// Whether a client gave no place to write to where there must be one.
template <typename Com>
constexpr bool lacks_place(const Com& argument) {
  if constexpr (Value<Com>) {
    return false;
  } else {
    return argument == nullptr;
  }
}

}  // namespace kvwmi::com
