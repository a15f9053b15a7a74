#include "companions/kvipaddress/logic/pattern.h"

#include <algorithm>
#include <cstddef>

namespace kvipaddress {
namespace {

char folded(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

/// Bytes of the UTF-8 character at the start of `text`; a byte that is part of none counts for itself.
std::size_t character_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  std::size_t length = 1;
  if (byte(0) < 0xC0) return length;
  while (length < text.size() && (byte(length) & 0xC0) == 0x80) ++length;
  return length;
}

}  // namespace

bool matches(std::string_view pattern, std::string_view text) {
  // After a mismatch only the last `*` has to be tried anew, one byte further on: no recursion, no blow-up.
  std::size_t p = 0;
  std::size_t t = 0;
  std::size_t star = std::string_view::npos;
  std::size_t star_text = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      star_text = t;
    } else if (p < pattern.size() && pattern[p] == '?') {
      ++p;
      t += character_length(text.substr(t));
    } else if (p < pattern.size() && folded(pattern[p]) == folded(text[t])) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++star_text;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

std::optional<Filter> Filter::parse(std::string_view text) {
  if (text.size() > kMaxLength) return std::nullopt;
  Filter filter;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(';'), text.size());
    std::string_view pattern = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const std::size_t first = pattern.find_first_not_of(" \t");
    if (first == std::string_view::npos) continue;
    pattern = pattern.substr(first, pattern.find_last_not_of(" \t") - first + 1);
    if (filter.patterns_.size() == kMaxPatterns) return std::nullopt;
    filter.patterns_.emplace_back(pattern);
  }
  return filter;
}

bool Filter::picks(std::string_view text) const {
  return std::any_of(patterns_.begin(), patterns_.end(),
                     [&](const std::string& pattern) { return matches(pattern, text); });
}

}  // namespace kvipaddress
