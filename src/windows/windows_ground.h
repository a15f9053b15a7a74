#pragma once

#include "frame/ground.h"
#include "windows/win32/clock.h"
#include "windows/win32/file_system.h"
#include "windows/win32/ip_address_library.h"
#include "windows/win32/named_events.h"
#include "windows/win32/system_info.h"
#include "windows/win32/timers.h"
#include "windows/win32/top_level_windows.h"

namespace kvwmi::ground {

/// The machine of a Windows process: the system's WMI through its scripting objects, the thread's message
/// queue as its message loop, Win32 for the rest.
class WindowsGround final : public Ground {
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

 private:
  Win32Clock clock_;
  Win32SystemInfo system_info_;
  Win32Windows windows_;
  Win32Timers timers_;
  Win32NamedEvents named_events_;
  Win32FileSystem file_system_;
  Win32IpAddressLibrary ip_address_library_;
};

}  // namespace kvwmi::ground
