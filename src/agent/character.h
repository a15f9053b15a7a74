#pragma once

#include <cstddef>
#include <string_view>

namespace kvwmi::agent {

/// A character of UTF-8 text, or a byte that is none.
struct Character {
  std::size_t bytes;
  std::size_t columns;  ///< that it takes on a terminal, whatever the locale
  bool is_valid;
  char32_t code;
};

/// The one at the beginning of `text`, which must not be empty.
[[nodiscard]] Character first_character(std::string_view text);

}  // namespace kvwmi::agent
