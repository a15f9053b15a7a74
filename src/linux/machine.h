#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "linux/descriptor.h"

struct sd_bus;

namespace kvwmi::ground {

class Drives;

struct BusCloser {
  void operator()(sd_bus* bus) const noexcept;
};
using Bus = std::unique_ptr<sd_bus, BusCloser>;

/// Sizes of a mounted file system in bytes.
struct VolumeSpace {
  std::uint64_t size = 0;
  std::uint64_t free = 0;  ///< for users without special rights
  std::uint64_t name_length = 0;
};

/// Everything that the providers take from the machine. A default one is the machine this process runs on;
/// tests point the folders at recorded trees and replace what no folder holds.
struct Machine {
  Machine();

  std::string proc = "/proc";
  std::string sys = "/sys";
  std::string etc = "/etc";
  /// Stands before every other absolute path.
  std::string root;
  /// What is kept from one process to the next.
  std::string state = "/var/lib/kvwmi";

  /// Since 1970, UTC.
  std::function<std::chrono::microseconds()> wall_time;
  /// Since boot, sleep included, as the start times of processes count.
  std::function<std::chrono::nanoseconds()> boot_time;
  /// Never set, sleep left out.
  std::function<std::chrono::nanoseconds()> running_time;
  std::function<void(std::chrono::milliseconds)> sleep;
  /// Minutes by which local time is ahead of UTC at a moment given in seconds since 1970.
  std::function<std::chrono::minutes(std::int64_t)> utc_offset;

  /// Processor time that a process has used; nullopt where its clock cannot be read.
  std::function<std::optional<std::chrono::nanoseconds>(pid_t)> process_cpu_time;
  /// Ends a process at once if `still_wanted` says so once the process can no longer be taken for another;
  /// 0 or an errno, ESRCH where there is no such process.
  std::function<int(pid_t, const std::function<bool()>& still_wanted)> kill_process;
  /// Sixteen hexadecimal digits that name the processor model and its features; nullopt where it has none.
  std::function<std::optional<std::string>()> processor_id;
  /// Asks a file system for its sizes; may hang as long as the file system does. 0 or an errno.
  std::function<int(const std::string& mount_point, VolumeSpace& space)> volume_space;
  /// A new connection to the system bus, not yet authenticated; null where none can be made.
  std::function<Bus()> open_system_bus;
  /// A new socket for the kernel's process events; none where they are not to be had.
  std::function<Descriptor()> open_process_events;

  /// The one table of drives of all who look at this machine.
  [[nodiscard]] Drives& drives() const;

 private:
  mutable std::once_flag drives_once_;
  mutable std::shared_ptr<Drives> drives_;
};

/// The machine that this process runs on. It lives to the very end of the process.
[[nodiscard]] const Machine& local_machine();

}  // namespace kvwmi::ground
