#include "linux/parsers/os_release.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {
namespace {

std::string unquoted(std::string_view text) {
  const bool quoted =
      text.size() >= 2 && (text.front() == '"' || text.front() == '\'') && text.back() == text.front();
  const bool escapes = !quoted || text.front() == '"';
  if (quoted) text = text.substr(1, text.size() - 2);
  std::string value;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (escapes && text[i] == '\\' && i + 1 < text.size()) ++i;
    value += text[i];
  }
  return value;
}

}  // namespace

std::optional<std::string> shell_variable(std::string_view text, std::string_view name) {
  std::optional<std::string> value;
  for_each_line(text, [&](std::string_view line) {
    line = trimmed(line);
    // The last assignment counts, as in a shell.
    if (line.find('=') == name.size() && line.starts_with(name))
      value = unquoted(line.substr(name.size() + 1));
    return true;
  });
  return value;
}

}  // namespace kvwmi::ground::parsers
