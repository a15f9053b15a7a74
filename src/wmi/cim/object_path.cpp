#include "wmi/cim/object_path.h"

#include <algorithm>

#include "frame/text.h"

namespace kvwmi::cim {
namespace {

constexpr bool is_separator(char c) {
  return c == '\\' || c == '/';
}

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

constexpr bool is_name_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

std::string_view take_name(std::string_view& text) {
  const auto end = std::find_if_not(text.begin(), text.end(), is_name_letter);
  const std::string_view name = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(name.size());
  return name;
}

bool skip(std::string_view& text, char wanted) {
  if (text.empty() || text.front() != wanted) return false;
  text.remove_prefix(1);
  return true;
}

/// Server and namespace up to the colon; leaves `text` at the class. A path without a prefix stays as it is.
bool take_prefix(std::string_view& text, ObjectPath& path) {
  const auto end = text.find_first_of(":\"'");
  if (end == std::string_view::npos || text[end] != ':') return true;
  std::string_view prefix = text.substr(0, end);
  text.remove_prefix(end + 1);
  if (prefix.size() >= 2 && is_separator(prefix[0]) && is_separator(prefix[1])) {
    prefix.remove_prefix(2);
    const auto server_end = std::find_if(prefix.begin(), prefix.end(), is_separator);
    path.server.assign(prefix.begin(), server_end);
    prefix.remove_prefix(path.server.size());
    if (path.server.empty() || prefix.empty()) return false;
    prefix.remove_prefix(1);
  }
  path.name_space = prefix;
  std::replace(path.name_space.begin(), path.name_space.end(), '/', '\\');
  // Each part of the namespace has a name.
  return !prefix.empty() && !is_separator(prefix.front()) && !is_separator(prefix.back()) &&
         path.name_space.find("\\\\") == std::string::npos && path.name_space.find(' ') == std::string::npos;
}

bool take_quoted(std::string_view& text, std::string& value) {
  const char quote = text.front();
  text.remove_prefix(1);
  while (!text.empty()) {
    char c = text.front();
    text.remove_prefix(1);
    if (c == quote) return true;
    if (c == '\\' && !text.empty() && (text.front() == '\\' || text.front() == '"' || text.front() == '\'')) {
      c = text.front();
      text.remove_prefix(1);
    }
    value.push_back(c);
  }
  return false;
}

/// A number, TRUE or FALSE.
bool take_bare(std::string_view& text, std::string& value) {
  const bool negative = skip(text, '-');
  const std::string_view word = take_name(text);
  value = negative ? "-" + std::string(word) : std::string(word);
  const bool boolean = equals_ignoring_case(value, "true") || equals_ignoring_case(value, "false");
  return boolean || (!word.empty() && std::all_of(word.begin(), word.end(), is_digit));
}

bool take_value(std::string_view& text, ObjectPath::Key& key) {
  if (text.empty()) return false;
  key.quoted = text.front() == '"' || text.front() == '\'';
  return key.quoted ? take_quoted(text, key.value) : take_bare(text, key.value);
}

bool take_keys(std::string_view& text, ObjectPath& path) {
  do {
    ObjectPath::Key key;
    key.name = take_name(text);
    if (key.name.empty() || !skip(text, '=') || !take_value(text, key)) return false;
    const bool again = std::any_of(path.keys.begin(), path.keys.end(), [&](const auto& other) {
      return equals_ignoring_case(other.name, key.name);
    });
    if (again) return false;
    path.keys.push_back(std::move(key));
  } while (skip(text, ','));
  return true;
}

/// A class name is no number.
bool is_class_name(std::string_view name) {
  return !name.empty() && !is_digit(name.front());
}

std::vector<const ObjectPath::Key*> in_order(const ObjectPath& path) {
  std::vector<const ObjectPath::Key*> keys;
  for (const ObjectPath::Key& key : path.keys) keys.push_back(&key);
  std::sort(keys.begin(), keys.end(),
            [](const auto* a, const auto* b) { return compare_ignoring_case(a->name, b->name) < 0; });
  return keys;
}

void append_quoted(std::string& text, std::string_view value) {
  text.push_back('"');
  for (const char c : value) {
    if (c == '"' || c == '\\') text.push_back('\\');
    text.push_back(c);
  }
  text.push_back('"');
}

/// The value as a path holds it; nullopt for what cannot be a key.
std::optional<ObjectPath::Key> key_of(const Property& property, const Value& value) {
  const std::string name(property.name);
  if (const auto* text = value.get_if<std::string>()) return ObjectPath::Key{name, *text, true};
  if (const auto* flag = value.get_if<bool>()) return ObjectPath::Key{name, *flag ? "TRUE" : "FALSE", false};
  if (const auto* number = value.get_if<std::int64_t>())
    return ObjectPath::Key{name, std::to_string(*number), false};
  if (const auto* number = value.get_if<std::uint64_t>())
    return ObjectPath::Key{name, std::to_string(*number), false};
  return std::nullopt;
}

}  // namespace

std::optional<ObjectPath> parse_object_path(std::string_view text) {
  ObjectPath path;
  if (!take_prefix(text, path)) return std::nullopt;
  path.class_name = take_name(text);
  if (!is_class_name(path.class_name)) return std::nullopt;
  if (text.empty()) return path;
  if (skip(text, '.')) {
    if (!take_keys(text, path)) return std::nullopt;
  } else if (skip(text, '=')) {
    if (skip(text, '@')) {
      path.singleton = true;
    } else if (!take_value(text, path.keys.emplace_back())) {
      return std::nullopt;
    }
  }
  if (!text.empty()) return std::nullopt;
  return path;
}

std::string relative_text(const ObjectPath& path) {
  std::string text = path.class_name;
  if (path.singleton) return text + "=@";
  char before = '.';
  for (const ObjectPath::Key* key : in_order(path)) {
    if (!key->name.empty()) {
      text.push_back(before);
      text += key->name;
    }
    text.push_back('=');
    if (key->quoted) {
      append_quoted(text, key->value);
    } else {
      text += key->value;
    }
    before = ',';
  }
  return text;
}

std::string to_text(const ObjectPath& path) {
  if (path.name_space.empty()) return relative_text(path);
  const std::string server = path.server.empty() ? "" : R"(\\)" + path.server + '\\';
  return server + path.name_space + ':' + relative_text(path);
}

std::string normalised_keys(const ObjectPath& path) {
  if (path.singleton) return "@";
  std::string text;
  for (const ObjectPath::Key* key : in_order(path)) {
    if (path.keys.size() > 1) text += fold_case(key->name);
    text.push_back('=');
    append_quoted(text, fold_case(key->value));
  }
  return text;
}

std::optional<ObjectPath> path_of(Instance& row) {
  ObjectPath path;
  const Class& schema = row.schema();
  path.class_name = schema.name;
  for (std::size_t column = 0; column < schema.properties.size(); ++column) {
    if (!schema.properties[column].is_key()) continue;
    auto key = key_of(schema.properties[column], row.get(column));
    if (!key) return std::nullopt;
    path.keys.push_back(*std::move(key));
  }
  path.singleton = path.keys.empty();
  return path;
}

std::string normalised_namespace(std::string_view name_space) {
  std::string text = fold_case(name_space);
  std::replace(text.begin(), text.end(), '/', '\\');
  const auto first = text.find_first_not_of('\\');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of('\\') - first + 1);
}

}  // namespace kvwmi::cim
