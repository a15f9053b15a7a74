#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>

#include "kvwmi/supervision_infos.h"

namespace kvwmi::supervision {

/// "12.3" for supervision 3 of step 12.
[[nodiscard]] std::string supervision_key(std::int32_t step, std::int32_t supervision);

/// Every supervision asked for, in the order of asking. Entries are never removed.
class WatchList {
 public:
  /// Adds an undetected supervision; one that is registered already stays as it is.
  void add(std::int32_t step, std::int32_t supervision, bool notify_if_undetected);
  /// The entry of that key, or null.
  [[nodiscard]] SupervisionInfos* find(const std::string& key);
  [[nodiscard]] const std::deque<SupervisionInfos>& entries() const noexcept { return entries_; }

 private:
  std::deque<SupervisionInfos> entries_;  // does not move its elements as it grows
  std::unordered_map<std::string, SupervisionInfos*> by_key_;
};

}  // namespace kvwmi::supervision
