#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

/// The few text steps that every parser of a system file is made of. All of them work on any bytes.
namespace kvwmi::ground::parsers {

/// `text` without blanks, tabs and line ends around it.
[[nodiscard]] constexpr std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

/// Takes what stands before `separator` off `text`, the separator too; all of it where there is none.
[[nodiscard]] constexpr std::string_view take_until(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return taken;
}

/// Takes the next word off `text`; empty at its end.
[[nodiscard]] constexpr std::string_view take_word(std::string_view& text) {
  constexpr std::string_view kBlank = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) {
    text = {};
    return {};
  }
  text.remove_prefix(first);
  const std::string_view word = text.substr(0, text.find_first_of(kBlank));
  text.remove_prefix(word.size());
  return word;
}

/// The whole of `text` as a number; nullopt for anything else, and for one that does not fit.
template <typename Number = std::uint64_t>
[[nodiscard]] std::optional<Number> to_number(std::string_view text, int base = 10) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// Calls `line` with each line of `text`, without its end, until it answers false.
template <typename Line>
void for_each_line(std::string_view text, Line&& line) {
  while (!text.empty()) {
    if (!line(take_until(text, '\n'))) return;
  }
}

}  // namespace kvwmi::ground::parsers
