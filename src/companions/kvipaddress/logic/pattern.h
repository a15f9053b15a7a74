#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvipaddress {

/// Whether `text` is what `pattern` describes: `*` stands for any text, `?` for one character; the case of
/// ASCII letters does not count.
[[nodiscard]] bool matches(std::string_view pattern, std::string_view text);

/// The caller's choice of interfaces and addresses: patterns separated by ';'.
class Filter {
 public:
  static constexpr std::size_t kMaxLength = 4096;
  static constexpr std::size_t kMaxPatterns = 64;

  /// nullopt for a filter beyond the limits.
  [[nodiscard]] static std::optional<Filter> parse(std::string_view text);

  [[nodiscard]] bool empty() const { return patterns_.empty(); }
  /// Whether one of the patterns matches.
  [[nodiscard]] bool picks(std::string_view text) const;

 private:
  std::vector<std::string> patterns_;
};

}  // namespace kvipaddress
