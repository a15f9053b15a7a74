#include "agent/nearest.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace kvwmi::agent {
namespace {

constexpr std::size_t kMost = 3;

std::string lower(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

/// Letters to insert, delete, replace or swap with their neighbour to make `b` of `a`.
std::size_t distance(std::string_view a, std::string_view b) {
  // Three rows of the usual matrix: two back, one back, current.
  std::vector<std::size_t> older(b.size() + 1);
  std::vector<std::size_t> previous(b.size() + 1);
  std::vector<std::size_t> current(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) current[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::swap(older, previous);
    std::swap(previous, current);
    current[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      current[j] = std::min({previous[j] + 1, current[j - 1] + 1, replaced});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        current[j] = std::min(current[j], older[j - 2] + 1);
      }
    }
  }
  return current[b.size()];
}

}  // namespace

bool same_name(std::string_view a, std::string_view b) {
  return lower(a) == lower(b);
}

std::vector<std::string> nearest_names(std::string_view wrong, const std::vector<std::string>& valid) {
  const std::string given = lower(wrong);
  const std::size_t tolerance = std::max<std::size_t>(1, given.size() / 3);
  struct Candidate {
    bool near;
    std::size_t distance;
    const std::string* name;
  };
  std::vector<Candidate> candidates;
  for (const std::string& name : valid) {
    const std::string known = lower(name);
    const std::size_t steps = distance(given, known);
    const bool contains = given.size() >= 3 && known.find(given) != std::string::npos;
    candidates.push_back({contains || steps <= tolerance, steps, &name});
  }
  std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
    return std::pair(!a.near, a.distance) < std::pair(!b.near, b.distance);
  });
  std::vector<std::string> result;
  for (const Candidate& candidate : candidates) {
    if (result.size() == kMost || (!candidate.near && !result.empty())) break;
    result.push_back(*candidate.name);
  }
  return result;
}

std::string nearest_hint(std::string_view wrong, const std::vector<std::string>& valid) {
  std::string result;
  for (const std::string& name : nearest_names(wrong, valid))
    result += (result.empty() ? "; nearest: " : ", ") + name;
  return result;
}

}  // namespace kvwmi::agent
