#include "agent/watch_values.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "agent/same_name.h"
#include "agent/usage_error.h"
#include "kvwmi/error.h"

namespace kvwmi::agent {
namespace {

template <typename Unit>
using Units = std::initializer_list<std::pair<std::string_view, Unit>>;

[[noreturn]] void refuse(const std::string& text, const char* expected) {
  throw UsageError("\"" + text + "\" is not " + expected);
}

/// A number and the unit behind it, with or without a blank between them.
struct Measure {
  std::string number;
  std::string unit;
};

Measure split(const std::string& text) {
  const auto end = text.find_first_not_of("0123456789.+-");
  if (end == std::string::npos) return {text, ""};
  const auto unit = text.find_first_not_of(' ', end);
  return {text.substr(0, end), unit == std::string::npos ? "" : text.substr(unit)};
}

template <typename Unit>
std::optional<Unit> find_unit(const std::string& name, Units<Unit> units) {
  for (const auto& [known, unit] : units) {
    if (same_name(name, known)) return unit;
  }
  return std::nullopt;
}

std::optional<Currency> to_currency(const std::string& number) {
  try {
    return Currency::from_text(number);
  } catch (const Error&) {
    return std::nullopt;
  }
}

std::optional<std::int32_t> to_whole(const std::string& text) {
  std::int32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// A duration in units of 1/10,000 ms; one that is too long for them is as long as can be.
std::int64_t parse_exact_duration(const std::string& text) {
  const Measure measure = split(text);
  const auto unit = find_unit<std::int64_t>(
      measure.unit, {{"", 1'000}, {"ms", 1}, {"s", 1'000}, {"min", 60'000}, {"h", 3'600'000}});
  const auto value = to_currency(measure.number);
  if (!unit || !value || *value < Currency()) refuse(text, "a duration such as 500ms, 30s, 2min or 1h");
  constexpr std::int64_t kLongest = std::numeric_limits<std::int64_t>::max();
  return value->scaled() > kLongest / *unit ? kLongest : value->scaled() * *unit;
}

}  // namespace

Size parse_size(const std::string& text) {
  const Measure measure = split(text);
  const auto code = find_unit<std::int32_t>(measure.unit, {{"", unit::kBytes},
                                                           {"B", unit::kBytes},
                                                           {"KB", unit::kKilobytes},
                                                           {"MB", unit::kMegabytes},
                                                           {"GB", unit::kGigabytes},
                                                           {"%", unit::kPercent}});
  const auto value = to_currency(measure.number);
  if (!code || !value) refuse(text, "a size such as 512, 100KB, 1.5MB, 10GB or 20%");
  return {*value, *code};
}

std::int32_t parse_percentage(const std::string& text) {
  const Measure measure = split(text);
  const auto value = to_whole(measure.number);
  if (!value || (measure.unit != "%" && !measure.unit.empty())) refuse(text, "a percentage such as 80%");
  return *value;
}

std::chrono::milliseconds parse_duration(const std::string& text) {
  // A year is as good as for ever, and far from what a clock cannot hold.
  constexpr std::chrono::milliseconds kYear = std::chrono::hours(366 * 24);
  const std::int64_t half = Currency::kScale / 2;
  const std::int64_t exact = std::min(parse_exact_duration(text), kYear.count() * Currency::kScale);
  return std::chrono::milliseconds((exact + half) / Currency::kScale);
}

std::int32_t parse_seconds(const std::string& text) {
  // What looks like a whole number is taken as it is: whether it is good is the component's and WMI's to say.
  if (const auto whole = to_whole(text)) return *whole;
  constexpr std::int64_t kSecond = 1'000 * Currency::kScale;
  const std::int64_t exact = parse_exact_duration(text);
  if (exact / kSecond > std::numeric_limits<std::int32_t>::max()) refuse(text, "at most 2147483647 seconds");
  if (exact % kSecond != 0) refuse(text, "a number of whole seconds");
  return static_cast<std::int32_t>(exact / kSecond);
}

std::int32_t parse_count(const std::string& text) {
  const auto value = to_whole(text);
  if (!value) refuse(text, "a whole number");
  return *value;
}

bool parse_flag(const std::string& text) {
  if (text == "true") return true;
  if (text == "false") return false;
  refuse(text, "true or false");
}

}  // namespace kvwmi::agent
