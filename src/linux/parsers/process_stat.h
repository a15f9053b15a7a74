#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The files of one process under /proc.
namespace kvwmi::ground::parsers {

/// /proc/PID/stat. Times are in clock ticks.
struct ProcessStat {
  std::string_view comm;  ///< into the parsed text; at most 15 bytes, longer for kernel threads
  char state = '?';
  std::uint64_t parent = 0;
  std::uint64_t minor_faults = 0;
  std::uint64_t major_faults = 0;
  std::uint64_t user_ticks = 0;
  std::uint64_t system_ticks = 0;
  std::int64_t priority = 0;  ///< below 0 for real-time scheduling
  std::int64_t nice = 0;
  std::uint64_t threads = 0;
  std::uint64_t start_ticks = 0;   ///< since boot
  std::uint64_t virtual_size = 0;  ///< bytes

  /// Whether it has ended and nobody has collected it yet: a zombie.
  [[nodiscard]] bool has_ended() const { return state == 'Z' || state == 'X'; }
};
[[nodiscard]] std::optional<ProcessStat> parse_process_stat(std::string_view text);

/// Resident pages, the second number of /proc/PID/statm.
[[nodiscard]] std::optional<std::uint64_t> parse_resident_pages(std::string_view text);

/// The arguments in /proc/PID/cmdline.
[[nodiscard]] std::vector<std::string_view> parse_arguments(std::string_view text);

/// The arguments as one command line: those that are empty or hold a blank or a quote stand in double quotes,
/// in the manner from which a Windows program gets its arguments back. What a process wrote over its
/// arguments to show its state (one text that is no path) stays as it is.
[[nodiscard]] std::string command_line(const std::vector<std::string_view>& arguments);

/// What of a `comm` stays the same: the kernel shows the name of its worker threads with the work that each
/// has at hand ("kworker/1:1H-kblockd"), which changes from second to second and is left out.
[[nodiscard]] std::string_view lasting_name(std::string_view comm);

/// The whole of a process name that the kernel may have cut to `comm`: the first of the file names of `paths`
/// that begins with it; nullopt where none does. A name of just that length is whole.
[[nodiscard]] std::optional<std::string> completed_name(std::string_view comm,
                                                        const std::vector<std::string_view>& paths);

/// Whether a process with this `comm` can have the name `wanted` in any case; false only for certain.
[[nodiscard]] bool may_be_named(std::string_view comm, std::string_view wanted);

/// Bytes of a name that the kernel keeps in `comm`.
inline constexpr std::size_t kCommLength = 15;

}  // namespace kvwmi::ground::parsers
