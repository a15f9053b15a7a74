#include "linux/machine.h"

#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <systemd/sd-bus.h>
#include <unistd.h>
#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <thread>

#include "linux/descriptor.h"
#include "linux/drives.h"
#include "linux/providers/process_events.h"

namespace kvwmi::ground {
namespace {

std::chrono::nanoseconds clock_time(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

std::optional<std::chrono::nanoseconds> cpu_clock_of(pid_t pid) {
  // The clock of a process has its number in the identifier; the low bits say processor time, all threads.
  const auto clock = static_cast<clockid_t>((~static_cast<unsigned>(pid) << 3U) | 2U);
  timespec time{};
  if (clock_gettime(clock, &time) != 0) return std::nullopt;
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

int kill_for_certain(pid_t pid, const std::function<bool()>& still_wanted) {
  const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (process.get() < 0) return errno;
  if (!still_wanted()) return ESRCH;
  return syscall(SYS_pidfd_send_signal, process.get(), SIGKILL, nullptr, 0) == 0 ? 0 : errno;
}

std::optional<std::string> processor_signature() {
#if defined(__x86_64__) || defined(__i386__)
  unsigned eax = 0;
  unsigned ebx = 0;
  unsigned ecx = 0;
  unsigned edx = 0;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0) return std::nullopt;
  std::array<char, 17> text{};
  std::snprintf(text.data(), text.size(), "%08X%08X", edx, eax);
  return text.data();
#else
  return std::nullopt;
#endif
}

int space_of(const std::string& mount_point, VolumeSpace& space) {
  struct statvfs answer {};
  if (statvfs(mount_point.c_str(), &answer) != 0) return errno;
  space.size = std::uint64_t{answer.f_blocks} * answer.f_frsize;
  space.free = std::uint64_t{answer.f_bavail} * answer.f_frsize;
  space.name_length = answer.f_namemax;
  return 0;
}

Bus open_bus() {
  sd_bus* bus = nullptr;
  if (sd_bus_open_system(&bus) < 0) return nullptr;
  return Bus(bus);
}

}  // namespace

void BusCloser::operator()(sd_bus* bus) const noexcept {
  sd_bus_close_unref(bus);
}

Machine::Machine()
    : wall_time(
          [] { return std::chrono::duration_cast<std::chrono::microseconds>(clock_time(CLOCK_REALTIME)); }),
      boot_time([] { return clock_time(CLOCK_BOOTTIME); }),
      running_time([] { return clock_time(CLOCK_MONOTONIC); }),
      sleep([](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); }),
      utc_offset([](std::int64_t seconds) {
        const auto time = static_cast<std::time_t>(seconds);
        std::tm local{};
        tzset();  // localtime_r alone knows the zone of the program's start
        localtime_r(&time, &local);
        return std::chrono::minutes(local.tm_gmtoff / 60);
      }),
      process_cpu_time(cpu_clock_of),
      kill_process(kill_for_certain),
      processor_id(processor_signature),
      volume_space(space_of),
      open_system_bus(open_bus),
      open_process_events(providers::open_process_events) {}

Drives& Machine::drives() const {
  std::call_once(drives_once_, [this] { drives_ = std::make_shared<Drives>(*this); });
  return *drives_;
}

const Machine& local_machine() {
  static const Machine& machine = *new Machine;
  return machine;
}

}  // namespace kvwmi::ground
