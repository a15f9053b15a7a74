#include "linux/parsers/field_file.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {

std::optional<std::string_view> field(std::string_view text, std::string_view name) {
  std::optional<std::string_view> found;
  for_each_line(text, [&](std::string_view line) {
    if (!line.starts_with(name)) return true;
    std::string_view rest = trimmed(line.substr(name.size()));
    if (!rest.starts_with(':')) return true;
    found = trimmed(rest.substr(1));
    return false;
  });
  return found;
}

std::optional<std::uint64_t> number_field(std::string_view text, std::string_view name) {
  std::optional<std::string_view> value = field(text, name);
  if (!value) return std::nullopt;
  return to_number(take_word(*value));
}

}  // namespace kvwmi::ground::parsers
