#pragma once

#include <string>
#include <string_view>

namespace kvwmi::ground::parsers {

/// The last value given to `key` in `section` of a unit file, continued lines joined by a blank; empty where
/// it has none.
[[nodiscard]] std::string unit_setting(std::string_view text, std::string_view section, std::string_view key);

/// `text` with the specifiers that stand for the unit's own name (%n, %N, %p, %i, %%) filled in; others stay.
[[nodiscard]] std::string with_unit_name(std::string_view text, std::string_view unit);

}  // namespace kvwmi::ground::parsers
