#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvwmi::ground::parsers {

/// A variable of an os-release file (NAME=value, "value" or 'value'), its shell quoting undone.
[[nodiscard]] std::optional<std::string> shell_variable(std::string_view text, std::string_view name);

}  // namespace kvwmi::ground::parsers
