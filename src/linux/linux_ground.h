#pragma once

#include "frame/ground.h"
#include "linux/clock.h"
#include "linux/file_system.h"
#include "linux/ip_address_library.h"
#include "linux/machine.h"
#include "linux/named_events.h"
#include "linux/system_info.h"
#include "linux/timers.h"
#include "linux/x11_windows.h"

namespace kvwmi::ground {

/// The machine of a Linux process: the embedded WMI service over the Linux providers, the thread's sd-event
/// loop as its message loop, POSIX message queues as named events, X11 for windows.
class LinuxGround final : public Ground {
 public:
  std::unique_ptr<wmi::Locator> create_locator() override;
  std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) override;

  Clock& clock() override { return clock_; }
  SystemInfo& system_info() override { return system_info_; }
  Windows& windows() override { return windows_; }
  Timers& timers() override { return timers_; }
  NamedEvents& named_events() override { return named_events_; }
  FileSystem& file_system() override { return file_system_; }
  IpAddressLibrary& ip_address_library() override { return ip_address_library_; }
  /// Emptied when the thread ends.
  std::unique_ptr<ThreadBound>& thread_slot() override;

 private:
  LinuxClock clock_;
  LinuxSystemInfo system_info_;
  X11Windows windows_;
  LoopTimers timers_;
  LinuxNamedEvents named_events_;
  LinuxFileSystem file_system_{local_machine()};
  LinuxIpAddressLibrary ip_address_library_{local_machine()};
};

}  // namespace kvwmi::ground
