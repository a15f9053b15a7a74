#include "kvwmi/nearest.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <tuple>
#include <utility>

#include "frame/text.h"

namespace kvwmi {
namespace {

constexpr std::size_t kMost = 3;
constexpr std::size_t kLongestName = 100;
constexpr std::size_t kShortestPart = 3;  // fewer letters stand in too many names

/// Letters to insert, remove, replace or exchange with their neighbour.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before;
  std::vector<std::size_t> previous(b.size() + 1);
  std::vector<std::size_t> current(b.size() + 1);
  std::iota(previous.begin(), previous.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    current[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = previous[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      current[j] = std::min({replaced, previous[j] + 1, current[j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        current[j] = std::min(current[j], before[j - 2] + 1);
      }
    }
    before = previous;
    std::swap(previous, current);
  }
  return previous[b.size()];
}

/// Whether `text` has the letters of `part` in their order.
bool has_in_order(std::string_view text, std::string_view part) {
  std::size_t place = 0;
  return std::all_of(part.begin(), part.end(), [&](char letter) {
    place = text.find(letter, place);
    return place++ != std::string_view::npos;
  });
}

/// In what way a name is near, the likeliest first.
enum class Kinship { misspelled, contains, abbreviated, none };

Kinship kinship(std::string_view wrong, std::string_view name, std::size_t steps) {
  if (steps <= std::max<std::size_t>(1, wrong.size() / 3)) return Kinship::misspelled;
  if (wrong.size() < kShortestPart) return Kinship::none;
  if (name.find(wrong) != std::string_view::npos) return Kinship::contains;
  return has_in_order(name, wrong) ? Kinship::abbreviated : Kinship::none;
}

}  // namespace

std::vector<std::string_view> nearest_names(std::string_view wrong, std::span<const std::string_view> valid) {
  if (wrong.size() > kLongestName) return {};
  struct Candidate {
    Kinship kinship;
    std::size_t steps;
    std::string_view name;
  };
  const std::string folded = fold_case(wrong);
  std::vector<Candidate> candidates;
  for (const std::string_view name : valid) {
    const std::string other = fold_case(name);
    const std::size_t steps = distance(folded, other);
    candidates.push_back({kinship(folded, other, steps), steps, name});
  }
  std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
    return std::tie(a.kinship, a.steps) < std::tie(b.kinship, b.steps);
  });
  std::vector<std::string_view> result;
  for (const Candidate& candidate : candidates) {
    if (candidate.kinship != candidates.front().kinship || result.size() == kMost) break;
    result.push_back(candidate.name);
    if (candidate.kinship == Kinship::none) break;
  }
  return result;
}

std::string nearest_hint(std::string_view wrong, std::span<const std::string_view> valid) {
  std::string result;
  for (const std::string_view name : nearest_names(wrong, valid))
    result.append(result.empty() ? "; nearest: " : ", ").append(name);
  return result;
}

std::string nearest_hint(std::string_view wrong, const std::vector<std::string>& valid) {
  return nearest_hint(wrong, std::vector<std::string_view>(valid.begin(), valid.end()));
}

}  // namespace kvwmi
