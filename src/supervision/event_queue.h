#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <unordered_map>

#include "kvwmi/supervision_infos.h"

namespace kvwmi::supervision {

/// Event records, first in, first out within each step. Both operations take constant time, whatever the
/// number of records and of steps.
class EventQueue {
 public:
  void push(SupervisionInfos event);
  /// Takes the oldest record of `step`.
  [[nodiscard]] std::optional<SupervisionInfos> pop(std::int32_t step);

 private:
  // Only steps that have records are held: an agent's step numbers may grow for ever.
  std::unordered_map<std::int32_t, std::deque<SupervisionInfos>> steps_;
};

}  // namespace kvwmi::supervision
