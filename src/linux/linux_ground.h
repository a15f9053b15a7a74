#pragma once

#include "frame/ground.h"
#include "linux/clock.h"
#include "linux/ip_address_library.h"
#include "linux/system_info.h"

namespace kvwmi::ground {

/// The machine of a Linux process: the embedded WMI service over the Linux providers, the thread's sd-event
/// loop as its message loop, POSIX message queues as named events, X11 for windows.
class LinuxGround final : public Ground {
 public:
  std::unique_ptr<wmi::Locator> create_locator() override;
  std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) override;

  Clock& clock() override { return clock_; }
  SystemInfo& system_info() override { return system_info_; }
  Windows& windows() override;
  Timers& timers() override;
  NamedEvents& named_events() override;
  FileSystem& file_system() override;
  IpAddressLibrary& ip_address_library() override { return ip_address_library_; }
  /// Emptied when the thread ends.
  std::unique_ptr<ThreadBound>& thread_slot() override;

 private:
  LinuxClock clock_;
  LinuxSystemInfo system_info_;
  LinuxIpAddressLibrary ip_address_library_;
};

}  // namespace kvwmi::ground
