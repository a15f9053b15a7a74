#include "agent/query_hint.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string_view>
#include <vector>

#include "agent/nearest.h"

namespace kvwmi::agent {
namespace {

constexpr auto kInvalidClass = static_cast<std::int32_t>(0x80041010);
constexpr auto kNotFound = static_cast<std::int32_t>(0x80041002);

bool is_name_byte(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ||
         (static_cast<unsigned char>(c) & 0x80U) != 0;
}

/// The name that begins at `offset`, empty where none does.
std::string_view name_at(std::string_view text, std::size_t offset) {
  text.remove_prefix(std::min(offset, text.size()));
  const auto* end = std::find_if_not(text.begin(), text.end(), is_name_byte);
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

/// The name after the first FROM.
std::string_view class_of(std::string_view query) {
  for (std::size_t place = 0; place < query.size();) {
    const std::string_view word = name_at(query, place);
    if (word.empty()) {
      ++place;
      continue;
    }
    place += word.size();
    if (!same_name(word, "FROM")) continue;
    place = std::min(query.find_first_not_of(" \t\r\n", place), query.size());
    return name_at(query, place);
  }
  return {};
}

std::vector<std::string> property_names(const WmiObject& description) {
  std::vector<std::string> result;
  for (const WmiProperty& property : description.properties) result.push_back(property.name);
  return result;
}

bool contains(const std::vector<std::string>& names, std::string_view wanted) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& n) { return same_name(n, wanted); });
}

std::string hint(std::string_view what, std::string_view wrong, const std::vector<std::string>& valid) {
  if (wrong.empty() || valid.empty() || contains(valid, wrong)) return {};
  return "no " + std::string(what) + " \"" + std::string(wrong) + "\"" + nearest_hint(wrong, valid);
}

}  // namespace

std::string query_hint(WmiSession& session, const std::string& query, const Error& error) {
  // A help that fails must not hide the error it was to help with.
  try {
    const std::string name(class_of(query));
    if (error.number() == kInvalidClass || error.number() == kNotFound)
      return hint("class", name, session.classes());
    const QueryDiagnostic* place = error.query_diagnostic();
    if (place == nullptr || name.empty()) return {};
    const std::string_view wrong = name_at(query, place->offset);
    // Only where a name could stand that is none: before FROM or after WHERE, and not a keyword out of place.
    if (place->message.find("property") == std::string::npos) return {};
    return hint("property", wrong, property_names(session.class_description(name)));
  } catch (const Error&) {
    return {};
  }
}

}  // namespace kvwmi::agent
