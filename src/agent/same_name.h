#pragma once

#include <algorithm>
#include <cctype>
#include <string_view>

namespace kvwmi::agent {

/// Whether two ASCII names are the same in any case.
[[nodiscard]] inline bool same_name(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

}  // namespace kvwmi::agent
