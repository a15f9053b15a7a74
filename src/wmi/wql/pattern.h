#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::wql {

/// A LIKE pattern: `%` any run of characters, `_` one character, `[a-f]` or `[abc]` one of a set, `[^...]`
/// one outside of it, `[_]`, `[%]` and `[[]` the character itself. Case does not count: a letter is in a
/// range that either of its forms is in. A character is a code point.
class Pattern {
 public:
  /// Raises std::invalid_argument, whose text says why, for a set that has no end, no member, or a range that
  /// runs backwards.
  explicit Pattern(std::string_view pattern);

  /// Whether all of `text` matches. Needs no memory, and at most as many steps as text and pattern are long,
  /// multiplied.
  [[nodiscard]] bool matches(std::string_view text) const;

  /// The text that alone matches, where the pattern has no wildcard.
  [[nodiscard]] std::optional<std::string> plain_text() const;

 private:
  struct Element {
    enum class Kind : std::uint8_t { letter, any, set, excluded_set, run };
    Kind kind = Kind::letter;
    char32_t letter = 0;    // folded
    std::size_t first = 0;  // ranges of a set
    std::size_t last = 0;
  };
  struct Range {
    char32_t first;
    char32_t last;
    [[nodiscard]] bool has(char32_t letter) const { return letter >= first && letter <= last; }
  };

  void add_set(std::string_view& rest);
  [[nodiscard]] bool accepts(const Element& element, char32_t letter) const;

  std::vector<Element> elements_;
  std::vector<Range> ranges_;
  std::size_t least_bytes_ = 0;  // no shorter text can match
};

}  // namespace kvwmi::wql
