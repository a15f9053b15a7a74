#include "linux/parsers/unit_file.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {
namespace {

bool is_comment(std::string_view line) {
  return line.starts_with('#') || line.starts_with(';');
}

/// The parts of "prefix@instance.type".
struct UnitName {
  explicit UnitName(std::string_view unit) : whole(unit), plain(unit.substr(0, unit.rfind('.'))) {
    const std::size_t at = plain.find('@');
    prefix = plain.substr(0, at);
    tail = whole.substr(prefix.size());
    if (at != std::string_view::npos) instance = plain.substr(at + 1);
    type = whole.substr(plain.size());
  }

  std::string_view whole;
  std::string_view plain;  ///< without the type
  std::string_view prefix;
  std::string_view tail;  ///< all after the prefix
  std::string_view instance;
  std::string_view type;  ///< with its full stop
};

using Text = std::optional<std::string>;

/// Names hold paths: '-' stands for '/', \x2d for what else cannot be in a name.
Text unescaped(std::string_view name) {
  std::string text;
  while (!name.empty()) {
    const char first = name.front();
    name.remove_prefix(1);
    if (first != '\\') {
      text += first == '-' ? '/' : first;
      continue;
    }
    const auto code = name.size() >= 3 && name.front() == 'x'
                          ? to_number<unsigned char>(name.substr(1, 2), 16)
                          : std::nullopt;
    if (!code) return std::nullopt;
    if (*code == 0) break;  // the manager's texts end here
    text += static_cast<char>(*code);
    name.remove_prefix(3);
  }
  return text;
}

/// As the path that it was made of; a path without empty, "." and ".." parts.
Text as_path(std::string_view name) {
  if (name == "-") return "/";
  Text path = unescaped(name);
  if (!path) return std::nullopt;
  const std::string framed = "/" + *path + "/";
  for (const char* part : {"//", "/./", "/../"}) {
    if (framed.find(part) != std::string::npos) return std::nullopt;
  }
  return "/" + *path;
}

std::string_view last_part(std::string_view prefix) {
  return prefix.substr(prefix.rfind('-') + 1);
}

/// "a-b-" for "a-b-c", "a-" for that; empty where it has no further dash after its first character.
std::string_view shortened(std::string_view prefix) {
  const std::size_t dash = prefix.substr(0, prefix.empty() ? 0 : prefix.size() - 1).rfind('-');
  return dash == std::string_view::npos || dash == 0 ? std::string_view() : prefix.substr(0, dash + 1);
}

struct Specifier {
  char letter;
  Text (*value)(const UnitName&);
};
constexpr Specifier kOfName[]{
    {'%', [](const UnitName&) { return Text("%"); }},
    {'n', [](const UnitName& name) { return Text(name.whole); }},
    {'N', [](const UnitName& name) { return Text(name.plain); }},
    {'p', [](const UnitName& name) { return Text(name.prefix); }},
    {'P', [](const UnitName& name) { return unescaped(name.prefix); }},
    {'i', [](const UnitName& name) { return Text(name.instance); }},
    {'I', [](const UnitName& name) { return unescaped(name.instance); }},
    {'j', [](const UnitName& name) { return Text(last_part(name.prefix)); }},
    {'J', [](const UnitName& name) { return unescaped(last_part(name.prefix)); }},
    {'f', [](const UnitName& name) { return as_path(name.instance.empty() ? name.prefix : name.instance); }},
    {'d', [](const UnitName& name) { return Text("/run/credentials/" + std::string(name.whole)); }},
};

bool may_be_specifier(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '%';
}

}  // namespace

std::vector<std::string> unit_settings(std::string_view text, std::string_view section,
                                       std::string_view key) {
  std::vector<std::string> values;
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
    if (in_section && name == key) values.emplace_back(trimmed(assigned));
  }
  return values;
}

std::optional<std::string> with_specifiers(std::string_view text, std::string_view unit,
                                           const MachineSpecifier& of_machine) {
  if (text.find('%') == std::string_view::npos) return std::string(text);
  const UnitName name(unit);
  const auto value_of = [&](char letter) {
    for (const Specifier& specifier : kOfName) {
      if (specifier.letter == letter) return specifier.value(name);
    }
    return of_machine(letter);
  };
  std::string filled;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%' || i + 1 == text.size() || !may_be_specifier(text[i + 1])) {
      filled += text[i];
      continue;
    }
    const Text value = value_of(text[++i]);
    if (!value) return std::nullopt;
    filled += *value;
  }
  return filled;
}

std::vector<std::string> drop_in_folders(std::string_view unit) {
  const UnitName name(unit);
  std::vector<std::string> folders{std::string(unit) + ".d"};
  const auto add = [&](std::string_view prefix, const std::string& tail) {
    for (; !prefix.empty(); prefix = shortened(prefix)) folders.push_back(std::string(prefix) + tail + ".d");
  };
  if (!name.instance.empty()) add(name.prefix, "@" + std::string(name.type));
  add(shortened(name.prefix), std::string(name.tail));
  if (!name.type.empty()) folders.push_back(std::string(name.type.substr(1)) + ".d");
  return folders;
}

}  // namespace kvwmi::ground::parsers
