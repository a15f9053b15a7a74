#include "windows/text/unicode.h"

#include <cstddef>

#include "frame/text.h"

namespace kvwmi::windows {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstSupplementary = 0x10000;
constexpr char32_t kLastCodePoint = 0x10FFFF;

constexpr bool is_high_surrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool is_low_surrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::string to_utf8(std::wstring_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t point = static_cast<char16_t>(text[i]);
    if (is_high_surrogate(point) && i + 1 < text.size() &&
        is_low_surrogate(static_cast<char16_t>(text[i + 1]))) {
      const char32_t low = static_cast<char16_t>(text[++i]);
      point = kFirstSupplementary + ((point - 0xD800) << 10) + (low - 0xDC00);
    }
    append_code_point(result, point);
  }
  return result;
}

std::wstring to_utf16(std::string_view text) {
  std::wstring result;
  result.reserve(text.size());
  while (!text.empty()) {
    char32_t point = next_code_point(text);
    if (point > kLastCodePoint) point = kReplacement;
    if (point < kFirstSupplementary) {
      result += static_cast<wchar_t>(point);
    } else {
      const char32_t offset = point - kFirstSupplementary;
      result += static_cast<wchar_t>(0xD800 + (offset >> 10));
      result += static_cast<wchar_t>(0xDC00 + (offset & 0x3FF));
    }
  }
  return result;
}

}  // namespace kvwmi::windows
