#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// Files of lines "Name: value", as /proc/meminfo, /proc/PID/status, /proc/PID/io and /proc/cpuinfo are.
namespace kvwmi::ground::parsers {

/// The value of the first line of that name, without blanks around it; nullopt where no line has it.
[[nodiscard]] std::optional<std::string_view> field(std::string_view text, std::string_view name);

/// The same as a number. A unit behind it ("kB") is left out, nothing is scaled.
[[nodiscard]] std::optional<std::uint64_t> number_field(std::string_view text, std::string_view name);

}  // namespace kvwmi::ground::parsers
