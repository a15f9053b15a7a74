#pragma once

#include <chrono>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "agent/watch_kind.h"

namespace kvwmi::agent {

/// A record taken from the component's queue.
struct WatchEvent {
  std::chrono::system_clock::time_point time;  ///< when it was taken
  std::int32_t step = 0;
  std::int32_t supervision = 0;
  std::string detail;
  bool undetected = false;  ///< whether it tells that the watch has not fired
};

/// {"time", "step", "supervision", "detail"}, and "undetected": true where it is that.
[[nodiscard]] nlohmann::ordered_json to_json(const WatchEvent& event);

/// What a watch looks at, for people: process "bash".
[[nodiscard]] std::string subject(const WatchKind& kind, const WatchRequest& request);
/// That, and what the event tells of it.
[[nodiscard]] std::string to_line(const WatchEvent& event, const std::string& subject);

/// 2026-01-31T08:15:02.123Z
[[nodiscard]] std::string utc_text(std::chrono::system_clock::time_point time);
/// 08:15:02, local.
[[nodiscard]] std::string clock_text(std::chrono::system_clock::time_point time);

}  // namespace kvwmi::agent
