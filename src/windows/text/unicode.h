#pragma once

#include <string>
#include <string_view>

namespace kvwmi::windows {

/// UTF-16 to UTF-8. Nothing is lost: NULs stay, and an unpaired surrogate becomes the three bytes that its
/// code point would have, which to_utf16 turns back.
[[nodiscard]] std::string to_utf8(std::wstring_view text);

/// UTF-8 to UTF-16. A byte that is no part of a code point becomes U+FFFD.
[[nodiscard]] std::wstring to_utf16(std::string_view text);

}  // namespace kvwmi::windows
