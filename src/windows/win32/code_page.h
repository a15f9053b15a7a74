#pragma once

#include <string>
#include <string_view>

namespace kvwmi::ground {

/// Text as the 8-bit interfaces of the system take and give it: in the process's code page, with that code
/// page's own substitutes for what it lacks.
[[nodiscard]] std::string to_code_page(std::string_view utf8);
[[nodiscard]] std::string from_code_page(std::string_view text);

}  // namespace kvwmi::ground
