#include "supervision/watch_list.h"

namespace kvwmi::supervision {

std::string supervision_key(std::int32_t step, std::int32_t supervision) {
  return std::to_string(step) + "." + std::to_string(supervision);
}

void WatchList::add(std::int32_t step, std::int32_t supervision, bool notify_if_undetected) {
  const auto [position, added] = by_key_.try_emplace(supervision_key(step, supervision), nullptr);
  if (!added) return;
  try {
    position->second =
        &entries_.emplace_back(SupervisionInfos{.p_lngCurrentStepId = step,
                                                .p_lngSupervisionId = supervision,
                                                .p_strDetail = "",
                                                .p_blnNotifyIfUndetected = notify_if_undetected,
                                                .p_blnHasBeenDetected = false});
  } catch (...) {
    by_key_.erase(position);
    throw;
  }
}

SupervisionInfos* WatchList::find(const std::string& key) {
  const auto found = by_key_.find(key);
  return found == by_key_.end() ? nullptr : found->second;
}

}  // namespace kvwmi::supervision
