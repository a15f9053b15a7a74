#include "companions/kvipaddress/logic/definition.h"

#include <algorithm>

namespace kvipaddress {
namespace {

constexpr std::string_view kHeader = "KVIPAddress definition 1";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool is_control(char c) {
  return static_cast<unsigned char>(c) < 0x20 && c != '\t';
}

/// Takes the next line off `text`, without its end and the blanks around it.
std::string_view next_line(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  if (line.ends_with('\r')) line.remove_suffix(1);
  return trimmed(line);
}

/// Takes the interface off an entry: a word, or a text in double quotes.
std::optional<std::string_view> take_interface(std::string_view& line) {
  const bool quoted = line.starts_with('"');
  if (quoted) line.remove_prefix(1);
  const std::size_t end = quoted ? line.find('"') : line.find_first_of(kBlanks);
  if (end == std::string_view::npos || end == 0 || end > Definition::kMaxName) return std::nullopt;
  const std::string_view name = line.substr(0, end);
  line.remove_prefix(quoted ? end + 1 : end);
  if (line.empty() || kBlanks.find(line.front()) == std::string_view::npos) return std::nullopt;
  return name;
}

}  // namespace

std::optional<Definition> parse_definition(std::string_view text) {
  if (text.size() > Definition::kMaxSize) return std::nullopt;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  if (next_line(text) != kHeader) return std::nullopt;

  Definition definition;
  while (!text.empty()) {
    std::string_view line = next_line(text);
    if (std::any_of(line.begin(), line.end(), is_control)) return std::nullopt;
    if (line.empty() || line.front() == '#') continue;
    if (line == "repeat") {
      definition.repeat = true;
      continue;
    }
    const auto interface = take_interface(line);
    if (!interface) return std::nullopt;
    const auto subnet = parse_subnet(trimmed(line));
    if (!subnet || definition.entries.size() == Definition::kMaxEntries) return std::nullopt;
    definition.entries.push_back({std::string(*interface), *subnet});
  }
  return definition;
}

}  // namespace kvipaddress
