#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "kvwmi/codes.h"
#include "kvwmi/currency.h"

/// The values that people write for a watch. What cannot be taken raises UsageError.
namespace kvwmi::agent {

/// A size as the component takes it: a value and its unit code.
struct Size {
  Currency value;
  std::int32_t unit = unit::kBytes;

  friend bool operator==(const Size&, const Size&) = default;
};

/// "10GB", "1.5 MB", "512", "80%".
[[nodiscard]] Size parse_size(const std::string& text);
/// "80%" or "80": whole percent.
[[nodiscard]] std::int32_t parse_percentage(const std::string& text);
/// "30s", "500ms", "2min", "1h"; a bare number is in seconds. What is longer than a year is a year.
[[nodiscard]] std::chrono::milliseconds parse_duration(const std::string& text);
/// The same in whole seconds, as many as there are.
[[nodiscard]] std::int32_t parse_seconds(const std::string& text);
[[nodiscard]] std::int32_t parse_count(const std::string& text);
/// "true" or "false".
[[nodiscard]] bool parse_flag(const std::string& text);

}  // namespace kvwmi::agent
