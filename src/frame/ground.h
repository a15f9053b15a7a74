#pragma once

#include <memory>

#include "frame/platform.h"
#include "frame/wmi_access.h"

namespace kvwmi {

/// What the core keeps for one thread.
class ThreadBound {
 public:
  virtual ~ThreadBound() = default;
};

/// The ground that the core stands on: everything it can reach of the machine.
///
/// The references live as long as the ground. A ground serves any number of threads; what is thread-bound
/// (timers, sinks, windows) belongs to the calling thread.
class Ground {
 public:
  virtual ~Ground() = default;

  /// A new WMI locator; where the scripting component is absent, run-time error 429.
  [[nodiscard]] virtual std::unique_ptr<wmi::Locator> create_locator() = 0;
  /// A new asynchronous sink of the calling thread.
  [[nodiscard]] virtual std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) = 0;

  [[nodiscard]] virtual Clock& clock() = 0;
  [[nodiscard]] virtual SystemInfo& system_info() = 0;
  [[nodiscard]] virtual Windows& windows() = 0;
  [[nodiscard]] virtual Timers& timers() = 0;
  [[nodiscard]] virtual NamedEvents& named_events() = 0;
  [[nodiscard]] virtual FileSystem& file_system() = 0;
  [[nodiscard]] virtual IpAddressLibrary& ip_address_library() = 0;

  /// The calling thread's one place for the core's state of that thread, empty at first. A ground that can
  /// clean up when a thread ends empties it then; by default it is kept, since a library that may be unloaded
  /// must leave no destructor behind in foreign threads.
  [[nodiscard]] virtual std::unique_ptr<ThreadBound>& thread_slot();
};

/// The machine that this process runs on. Each ground's library defines it; it lives as long as the process.
[[nodiscard]] Ground& local_ground();

}  // namespace kvwmi
