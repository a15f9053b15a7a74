#include "companions/kvipaddress/logic/interface_record.h"

#include <algorithm>
#include <utility>

namespace kvipaddress {
namespace {

constexpr std::string_view kHeader = "KVIPAddress interfaces 1";
constexpr std::string_view kActive = "active ";
constexpr std::string_view kEnd = "end ";
constexpr std::string_view kDigits = "0123456789ABCDEF";

bool needs_escape(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '%';
}

/// A name on one line: what could end or damage it as %XX.
std::string escaped(const std::string& name) {
  std::string text;
  for (const char c : name) {
    if (needs_escape(c)) {
      text +=
          {'%', kDigits[static_cast<unsigned char>(c) >> 4], kDigits[static_cast<unsigned char>(c) & 0xF]};
    } else {
      text += c;
    }
  }
  return text;
}

std::optional<std::string> unescaped(std::string_view text) {
  std::string name;
  while (!text.empty()) {
    std::size_t taken = 1;
    char c = text.front();
    if (c == '%') {
      if (text.size() < 3) return std::nullopt;
      const std::size_t high = kDigits.find(text[1]);
      const std::size_t low = kDigits.find(text[2]);
      if (high == std::string_view::npos || low == std::string_view::npos) return std::nullopt;
      c = static_cast<char>(high << 4 | low);
      taken = 3;
    }
    // One name has one form.
    if ((taken == 3) != needs_escape(c)) return std::nullopt;
    name += c;
    text.remove_prefix(taken);
  }
  if (name.empty()) return std::nullopt;
  return name;
}

bool lacks_one_of(const ActiveInterfaces& set, const ActiveInterfaces& others) {
  return !std::includes(set.begin(), set.end(), others.begin(), others.end());
}

}  // namespace

std::string to_record(const ActiveInterfaces& interfaces) {
  std::string text(kHeader);
  text += '\n';
  for (const std::string& name : interfaces) text += std::string(kActive) + escaped(name) + "\n";
  // The count tells a record that was cut short from a whole one.
  return text + std::string(kEnd) + std::to_string(interfaces.size()) + "\n";
}

std::optional<ActiveInterfaces> parse_record(std::string_view text) {
  if (text.size() > kMaxRecordSize) return std::nullopt;
  ActiveInterfaces interfaces;
  bool header = false;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (!std::exchange(header, true)) {
      if (line != kHeader) return std::nullopt;
    } else if (line.starts_with(kActive)) {
      auto name = unescaped(line.substr(kActive.size()));
      if (!name || !interfaces.insert(std::move(*name)).second) return std::nullopt;
    } else {
      const bool whole = line == std::string(kEnd) + std::to_string(interfaces.size()) && text.empty();
      return whole ? std::optional(std::move(interfaces)) : std::nullopt;
    }
  }
  return std::nullopt;
}

std::int32_t compare(const ActiveInterfaces& before, const ActiveInterfaces& now) {
  return (lacks_one_of(before, now) ? 1 : 0) | (lacks_one_of(now, before) ? 2 : 0);
}

}  // namespace kvipaddress
