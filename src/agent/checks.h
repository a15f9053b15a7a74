#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "kvwmi/checkpoint.h"

namespace kvwmi::agent {

/// What a probe of CheckPoint gave.
struct Answer {
  std::int32_t result;  ///< 0, or the method's step code
  std::variant<std::int32_t, bool, Currency> value;
};

/// One check: a probe under a name for people.
struct Check {
  std::string_view name;
  std::string_view method;
  std::string_view output;  ///< the name of the method's output
  std::string_view needs;   ///< what the check's NAME is; empty for a check without one
  std::string_view summary;
  std::string_view nothing;  ///< what result 1 means
  std::string_view untold;   ///< what result 2 means
  Answer (*ask)(CheckPoint& check_point, const std::string& name);
  std::string (*words)(const Answer& answer);  ///< a value for people; asked for result 0 only
};

/// All checks in the order of the component's methods.
[[nodiscard]] std::span<const Check> checks();
/// The check of that name, or null.
[[nodiscard]] const Check* find_check(std::string_view name);
[[nodiscard]] std::vector<std::string> check_names();

/// The answer for people: the value in words, or what the result means.
[[nodiscard]] std::string describe(const Check& check, const Answer& answer);

}  // namespace kvwmi::agent
