#include "linux/path_spec.h"

#include <algorithm>
#include <optional>

#include "frame/text.h"

namespace kvwmi::ground {
namespace {

bool matches_one(std::string_view name, std::string_view pattern) {
  if (pattern == "*.*") return true;
  // Where the last star stood and what it has swallowed so far: on a mismatch it swallows one letter more.
  struct Star {
    std::string_view pattern;
    std::string_view name;
  };
  std::optional<Star> star;
  for (;;) {
    if (pattern.starts_with('*')) {
      pattern.remove_prefix(1);
      star = Star{pattern, name};
      continue;
    }
    if (name.empty() && pattern.empty()) return true;
    if (!name.empty() && !pattern.empty()) {
      const bool any = pattern.front() == '?';
      if (fold_case(next_code_point(pattern)) == fold_case(next_code_point(name)) || any) continue;
    }
    if (!star || star->name.empty()) return false;
    static_cast<void>(next_code_point(star->name));
    pattern = star->pattern;
    name = star->name;
  }
}

}  // namespace

bool path_matches_spec(std::string_view name, std::string_view specification) {
  while (!specification.empty()) {
    const std::size_t end = std::min(specification.find(';'), specification.size());
    std::string_view pattern = specification.substr(0, end);
    specification.remove_prefix(std::min(end + 1, specification.size()));
    while (pattern.starts_with(' ')) pattern.remove_prefix(1);
    if (matches_one(name, pattern)) return true;
  }
  return false;
}

}  // namespace kvwmi::ground
