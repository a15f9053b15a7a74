#include "supervision/event_queue.h"

#include <utility>

namespace kvwmi::supervision {

void EventQueue::push(SupervisionInfos event) {
  steps_[event.p_lngCurrentStepId].push_back(std::move(event));
}

std::optional<SupervisionInfos> EventQueue::pop(std::int32_t step) {
  const auto found = steps_.find(step);
  // A step is without records where there was no memory for its first one.
  if (found == steps_.end() || found->second.empty()) return std::nullopt;
  std::optional<SupervisionInfos> oldest(std::move(found->second.front()));
  found->second.pop_front();
  if (found->second.empty()) steps_.erase(found);
  return oldest;
}

}  // namespace kvwmi::supervision
