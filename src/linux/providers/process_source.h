#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "linux/descriptor.h"
#include "linux/machine.h"
#include "linux/parsers/process_stat.h"

namespace kvwmi::ground::providers {

/// The processes under /proc. Any thread may use it.
class ProcessSource {
 public:
  explicit ProcessSource(const Machine& machine);

  [[nodiscard]] const Machine& machine() const noexcept { return machine_; }

  /// Every process, ascending: the one pass over /proc of a query. Raises "Provider failure " where /proc
  /// cannot be read.
  [[nodiscard]] std::vector<pid_t> all() const;
  [[nodiscard]] bool exists(pid_t pid) const;
  /// Those of `pids` that are there.
  [[nodiscard]] std::vector<pid_t> existing(std::vector<pid_t> pids) const;

  /// One read of /proc/PID/`file`, cut at the buffer's end; nullopt for a process that has ended.
  [[nodiscard]] std::optional<std::string_view> read_short(pid_t pid, std::string_view file,
                                                           std::span<char> buffer) const;
  [[nodiscard]] std::optional<std::string> read(pid_t pid, std::string_view file) const;
  [[nodiscard]] std::optional<std::string> read_link(pid_t pid, std::string_view file) const;
  /// How many entries a folder of the process has.
  [[nodiscard]] std::optional<std::uint64_t> count_entries(pid_t pid, std::string_view folder) const;

  /// The path of the program that the process executes, though it was deleted since.
  [[nodiscard]] std::optional<std::string> executable(pid_t pid) const;
  /// Whether the process is a zombie or gone.
  [[nodiscard]] bool has_ended(pid_t pid) const;

  /// The name the process runs under: comm, completed where the kernel cut it. A zombie whose comm may be cut
  /// has none.
  [[nodiscard]] std::optional<std::string> name(pid_t pid) const;
  /// The same for a process whose name equals one of `wanted` in any case, and nullopt for all others at the
  /// cost of the one small file that tells them apart. An empty list wants every name.
  [[nodiscard]] std::optional<std::string> name_among(pid_t pid,
                                                      const std::vector<std::string_view>& wanted) const;

  /// Moment of a time since boot. The offset is taken once, so that a start time never changes.
  [[nodiscard]] std::chrono::microseconds since_1970(std::chrono::nanoseconds since_boot) const;
  /// The length of clock ticks in units of 100 ns.
  [[nodiscard]] std::uint64_t ticks_to_100ns(std::uint64_t ticks) const { return ticks * tick_100ns_; }
  [[nodiscard]] std::chrono::nanoseconds ticks_to_time(std::uint64_t ticks) const;
  [[nodiscard]] std::uint64_t page_size() const noexcept { return page_size_; }

 private:
  [[nodiscard]] std::optional<std::string> full_name(pid_t pid, std::string_view comm) const;

  /// The open folder /proc; raises "Provider failure " where it cannot be opened.
  [[nodiscard]] int proc() const;

  const Machine& machine_;
  mutable std::mutex mutex_;
  mutable Descriptor proc_;
  std::chrono::nanoseconds boot_to_1970_;
  std::uint64_t tick_100ns_;
  std::uint64_t page_size_;
};

/// One process as a row reads it: each file once, when it is first needed, and never that of a later process
/// which got the same number.
class ProcessFiles {
 public:
  /// `seen` is a time since boot shortly after the query found the process: one that started later is
  /// another.
  ProcessFiles(std::shared_ptr<const ProcessSource> source, pid_t pid, std::chrono::nanoseconds seen)
      : source_(std::move(source)), pid_(pid), seen_(seen) {}

  [[nodiscard]] const ProcessSource& source() const noexcept { return *source_; }
  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

  /// Null once the process has ended.
  [[nodiscard]] const parsers::ProcessStat* stat();
  [[nodiscard]] std::optional<std::uint64_t> status_number(std::string_view name);
  [[nodiscard]] std::optional<std::uint64_t> io_number(std::string_view name);
  [[nodiscard]] std::optional<std::uint64_t> resident_bytes();
  [[nodiscard]] std::optional<std::string> name();
  [[nodiscard]] std::optional<std::string> executable();
  [[nodiscard]] std::optional<std::string> command_line();
  [[nodiscard]] std::optional<std::uint64_t> handles();
  [[nodiscard]] std::optional<std::uint64_t> login_session();
  /// Processor time in 100 ns, to the nanosecond where the process's clock can be read.
  [[nodiscard]] std::optional<std::uint64_t> cpu_100ns();
  /// Ends the process, if it is still the one that was found: 0 or an errno.
  [[nodiscard]] int kill();

 private:
  /// What `read` gives, unless the process number may have passed on.
  template <typename Read>
  auto checked(Read&& read) -> decltype(read());
  [[nodiscard]] bool still_the_same();

  std::shared_ptr<const ProcessSource> source_;
  pid_t pid_;
  std::chrono::nanoseconds seen_;
  struct Texts {
    bool stat_read = false;
    std::optional<parsers::ProcessStat> stat;
    std::optional<std::optional<std::string>> status;
    std::optional<std::optional<std::string>> io;
  };
  std::unique_ptr<Texts> texts_;
  Texts& texts();
};

}  // namespace kvwmi::ground::providers
