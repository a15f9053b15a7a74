#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::agent {

/// A JSON value that knows where it stands in its file.
struct JsonNode {
  enum class Kind { null, flag, number, text, list, object };

  Kind kind = Kind::null;
  std::size_t line = 0;  ///< from 1; of a member the line of its key
  std::string name;      ///< of a member of an object
  std::string text;      ///< of a text; of a number or flag as it is written
  std::vector<JsonNode> elements;
  std::vector<JsonNode> members;  ///< in the file's order

  /// The member of that name, or null.
  [[nodiscard]] const JsonNode* find(std::string_view wanted) const;
};

/// Reads a document; raises UsageError "LINE: message" where it is no JSON, names a member twice, holds the
/// character NUL in a text, or is nested more than 64 levels deep.
[[nodiscard]] JsonNode read_json(std::string_view text);

}  // namespace kvwmi::agent
