#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wmi/cim/instance.h"

namespace kvwmi::cim {

/// The path of a class or of an instance: `\\SERVER\name\space:Class.Key1="text",Key2=5`, whose server and
/// namespace may be missing.
struct ObjectPath {
  struct Key {
    std::string name;     ///< empty where the path gives a single value alone, as in `Class="text"`
    std::string value;    ///< without quotes and escapes
    bool quoted = false;  ///< text, datetime or reference, as opposed to a number or TRUE, FALSE
    friend bool operator==(const Key&, const Key&) = default;
  };

  std::string server;      ///< empty where not given
  std::string name_space;  ///< separated by `\`; empty where not given
  std::string class_name;
  std::vector<Key> keys;
  bool singleton = false;  ///< `Class=@`

  [[nodiscard]] bool is_class() const { return keys.empty() && !singleton; }
  friend bool operator==(const ObjectPath&, const ObjectPath&) = default;
};

/// Reads a path. Either quote, `\` or `/` between server and namespaces; no blanks outside of quotes. Within
/// quotes a backslash escapes a backslash or a quote and stands for itself before anything else. nullopt for
/// what is no path.
[[nodiscard]] std::optional<ObjectPath> parse_object_path(std::string_view text);

/// The class and keys part, with double quotes, keys in alphabetical order.
[[nodiscard]] std::string relative_text(const ObjectPath& path);
/// The whole path; without a server or namespace, what is left of it.
[[nodiscard]] std::string to_text(const ObjectPath& path);

/// The keys alone in one spelling: two paths to the same object of one class give the same text, whatever
/// their prefix, quotes, case, order of keys, or (with one key) key name.
[[nodiscard]] std::string normalised_keys(const ObjectPath& path);

/// The row's path without server and namespace; nullopt when a key is NULL or of a type that cannot be a key.
/// A class without keys has one object, `Class=@`.
[[nodiscard]] std::optional<ObjectPath> path_of(Instance& row);

/// `name\space` in one spelling for comparing: folded case, `\` between the parts, none at the ends.
[[nodiscard]] std::string normalised_namespace(std::string_view name_space);

}  // namespace kvwmi::cim
