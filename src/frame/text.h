#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kvwmi {

/// Case rules of the automation world, the same on every machine and for every locale: simple case folding of
/// Latin, Greek, Cyrillic and Armenian letters in UTF-8 text. Bytes that are no UTF-8 compare as themselves.

[[nodiscard]] bool equals_ignoring_case(std::string_view a, std::string_view b);
/// Negative, zero or positive, by folded code points.
[[nodiscard]] int compare_ignoring_case(std::string_view a, std::string_view b);
[[nodiscard]] std::string fold_case(std::string_view text);
[[nodiscard]] char32_t fold_case(char32_t letter);
/// The small form of a capital letter and the other way round; what has one form only is given back.
[[nodiscard]] char32_t other_case(char32_t letter);

/// Takes the next code point off `text`, which must not be empty. An invalid byte comes back as
/// 0x110000 + byte, a value no code point has.
[[nodiscard]] char32_t next_code_point(std::string_view& text);
void append_code_point(std::string& text, char32_t code_point);

}  // namespace kvwmi
