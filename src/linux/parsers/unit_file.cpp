#include "linux/parsers/unit_file.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {
namespace {

bool is_comment(std::string_view line) {
  return line.starts_with('#') || line.starts_with(';');
}

}  // namespace

std::string unit_setting(std::string_view text, std::string_view section, std::string_view key) {
  std::string value;
  bool in_section = false;
  while (!text.empty()) {
    std::string_view line = trimmed(take_until(text, '\n'));
    if (line.empty() || is_comment(line)) continue;
    if (line.starts_with('[')) {
      in_section = line.size() == section.size() + 2 && line.ends_with(']') &&
                   line.substr(1, section.size()) == section;
      continue;
    }
    std::string joined;
    while (line.ends_with('\\') && !text.empty()) {
      joined += line.substr(0, line.size() - 1);
      joined += ' ';
      do {
        line = trimmed(take_until(text, '\n'));
      } while (is_comment(line) && !text.empty());
    }
    joined += line;
    std::string_view assigned = joined;
    const std::string_view name = trimmed(take_until(assigned, '='));
    if (in_section && name == key) value = trimmed(assigned);
  }
  return value;
}

std::string with_unit_name(std::string_view text, std::string_view unit) {
  const std::string_view name = unit.substr(0, unit.rfind('.'));
  const std::size_t at = name.find('@');
  const std::string_view prefix = name.substr(0, at);
  const std::string_view instance = at == std::string_view::npos ? std::string_view() : name.substr(at + 1);
  std::string filled;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char specifier = text[i] == '%' && i + 1 < text.size() ? text[i + 1] : '\0';
    switch (specifier) {
      case 'n':
        filled += unit;
        break;
      case 'N':
        filled += name;
        break;
      case 'p':
        filled += prefix;
        break;
      case 'i':
        filled += instance;
        break;
      case '%':
        filled += '%';
        break;
      default:
        filled += text[i];
        continue;
    }
    ++i;
  }
  return filled;
}

}  // namespace kvwmi::ground::parsers
