#include "linux/parsers/system_stat.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {

SystemStat parse_system_stat(std::string_view text) {
  SystemStat stat;
  for_each_line(text, [&](std::string_view line) {
    const std::string_view name = take_word(line);
    if (name == "btime") {
      stat.boot_time = to_number(take_word(line)).value_or(0);
      return true;
    }
    if (name == "processes") {
      stat.forks = to_number(take_word(line)).value_or(0);
      return false;
    }
    if (!name.starts_with("cpu")) return true;
    const auto cpu = to_number<std::uint32_t>(name.substr(3));
    if (!cpu) return true;  // the sum of all
    CpuTimes times{*cpu};
    // user nice system idle iowait irq softirq steal; guests follow and are part of user and nice.
    for (int column = 0; column < 8; ++column) {
      const std::uint64_t ticks = to_number(take_word(line)).value_or(0);
      times.total += ticks;
      if (column == 3 || column == 4) times.idle += ticks;
    }
    stat.cpus.push_back(times);
    return true;
  });
  return stat;
}

std::optional<Tasks> parse_tasks(std::string_view text) {
  for (int average = 0; average < 3; ++average) static_cast<void>(take_word(text));
  std::string_view counts = take_word(text);
  static_cast<void>(take_until(counts, '/'));  // those that run
  const auto threads = to_number<std::uint32_t>(counts);
  const auto last_pid = to_number<std::uint32_t>(take_word(text));
  if (!threads || !last_pid) return std::nullopt;
  return Tasks{*threads, *last_pid};
}

}  // namespace kvwmi::ground::parsers
