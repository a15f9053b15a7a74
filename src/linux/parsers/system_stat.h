#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace kvwmi::ground::parsers {

/// Ticks of one processor since boot.
struct CpuTimes {
  std::uint32_t cpu = 0;
  std::uint64_t idle = 0;   ///< waiting for input and output included
  std::uint64_t total = 0;  ///< guests are part of user time and not counted twice
};

/// /proc/stat
struct SystemStat {
  std::vector<CpuTimes> cpus;   ///< the processors that are online
  std::uint64_t boot_time = 0;  ///< seconds since 1970
  std::uint64_t forks = 0;      ///< processes and threads started since boot
};
[[nodiscard]] SystemStat parse_system_stat(std::string_view text);

/// What /proc/loadavg tells of the machine's processes.
struct Tasks {
  std::uint32_t threads = 0;  ///< at present
  std::uint32_t last_pid = 0;
  bool operator==(const Tasks&) const = default;
};
[[nodiscard]] std::optional<Tasks> parse_tasks(std::string_view text);

/// The load of the processors that both samples have and `counts` accepts, 0 to 100, rounded; nullopt when no
/// time passed between them.
template <typename Counts>
[[nodiscard]] std::optional<std::uint64_t> load_percentage(const std::vector<CpuTimes>& before,
                                                           const std::vector<CpuTimes>& after,
                                                           Counts&& counts) {
  std::uint64_t idle = 0;
  std::uint64_t total = 0;
  for (const CpuTimes& now : after) {
    if (!counts(now.cpu)) continue;
    for (const CpuTimes& then : before) {
      // The counters of an idle processor may step back a little.
      if (then.cpu != now.cpu || now.total <= then.total) continue;
      const std::uint64_t passed = now.total - then.total;
      const std::uint64_t rested = now.idle > then.idle ? now.idle - then.idle : 0;
      total += passed;
      idle += rested < passed ? rested : passed;
    }
  }
  if (total == 0) return std::nullopt;
  return (100 * (total - idle) + total / 2) / total;
}

}  // namespace kvwmi::ground::parsers
