#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kvwmi/error.h"

namespace kvwmi {

/// Class error numbers: what every failure of that class carries towards the client.
inline constexpr std::int32_t kCheckPointError = static_cast<std::int32_t>(0x80040211);
inline constexpr std::int32_t kManagementError = static_cast<std::int32_t>(0x80040210);
inline constexpr std::int32_t kSupervisionError = static_cast<std::int32_t>(0x8004020F);

/// The exception in flight as an Error: an Error is itself, exhausted memory is run-time error 7, any other
/// exception is run-time error 51 with its text. Call it inside a catch block only.
[[nodiscard]] Error pending_error();

/// Runs `steps` and re-raises whatever leaves them with `tag` added to its Source.
template <typename Steps>
decltype(auto) tagged(std::string_view tag, Steps&& steps) {
  try {
    return steps();
  } catch (...) {
    throw pending_error().with_tag(std::string(tag));
  }
}

/// The frame that every public method of one class runs in.
///
/// A failure gets the class's number, where the class has one, and the tag "KVWMI : class.method"; its
/// Description stays. Declare one per class and write a method as
///     return kFrame("m_GetServiceState", [&] { ... });
class MethodFrame {
 public:
  /// A class without a number keeps the inner one.
  constexpr explicit MethodFrame(std::string_view class_name) : class_name_(class_name) {}
  constexpr MethodFrame(std::string_view class_name, std::int32_t number)
      : class_name_(class_name), number_(number) {}

  template <typename Steps>
  decltype(auto) operator()(std::string_view method, Steps&& steps) const {
    try {
      return steps();
    } catch (...) {
      throw failed(method, pending_error());
    }
  }

  /// `error` as it leaves `method`.
  [[nodiscard]] Error failed(std::string_view method, const Error& error) const;

 private:
  std::string_view class_name_;
  std::optional<std::int32_t> number_;
};

}  // namespace kvwmi
