#include "wmi/wql/nearest.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

#include "frame/text.h"

namespace kvwmi::wql {
namespace {

constexpr std::size_t kMost = 3;
constexpr std::size_t kLongestName = 100;

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

}  // namespace

std::vector<std::string_view> nearest_names(std::string_view wanted,
                                            std::span<const std::string_view> names) {
  if (wanted.size() > kLongestName) return {};
  struct Candidate {
    std::size_t distance;
    std::string_view name;
  };
  const std::string folded = fold_case(wanted);
  std::vector<Candidate> candidates;
  for (const std::string_view name : names) {
    const std::string other = fold_case(name);
    const std::size_t tolerated = std::max<std::size_t>(1, std::min(folded.size(), other.size()) / 3);
    const std::size_t longer = std::max(folded.size(), other.size());
    if (longer - std::min(folded.size(), other.size()) > tolerated) continue;
    if (const std::size_t found = distance(folded, other); found <= tolerated)
      candidates.push_back({found, name});
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) { return a.distance < b.distance; });
  std::vector<std::string_view> nearest;
  for (const Candidate& candidate : candidates) {
    if (nearest.size() < kMost) nearest.push_back(candidate.name);
  }
  return nearest;
}

std::string with_nearest(std::string message, std::string_view wanted,
                         std::span<const std::string_view> names) {
  const char* before = "; nearest: ";
  for (const std::string_view name : nearest_names(wanted, names)) {
    message.append(before).append(name);
    before = ", ";
  }
  return message;
}

}  // namespace kvwmi::wql
