#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the core needs of the machine besides WMI, one small interface for each concern. Windows answers with
/// Win32, Linux with its own counterparts, tests with fakes.
namespace kvwmi {

class Clock {
 public:
  virtual ~Clock() = default;
  /// The wall clock's local date and time, cut to whole seconds.
  [[nodiscard]] virtual std::chrono::local_seconds local_now() = 0;
  /// Blocks the calling thread.
  virtual void sleep(std::chrono::milliseconds duration) = 0;
};

/// FormatMessageA, IsWow64Process and the regional settings.
class SystemInfo {
 public:
  virtual ~SystemInfo() = default;
  /// The system's message for an error code, in the user's language on Windows and in English elsewhere, line
  /// end included; nullopt for a code without one.
  [[nodiscard]] virtual std::optional<std::string> message(std::int32_t code) = 0;
  /// The flag IsWow64Process writes for this process; nullopt where the system has no such entry.
  [[nodiscard]] virtual std::optional<std::int32_t> wow64_process() = 0;
  /// A date in the machine's short format; 2026-01-31 where there are no regional settings.
  [[nodiscard]] virtual std::string date_text(std::chrono::local_days date);
  /// A time of day in the machine's format; 23:59:59 where there are no regional settings.
  [[nodiscard]] virtual std::string time_text(std::chrono::seconds since_midnight);
};

/// Top-level windows.
class Windows {
 public:
  virtual ~Windows() = default;
  using Handle = std::uint64_t;  ///< 0 is no window
  /// A top-level window whose title equals `title` exactly, or 0.
  [[nodiscard]] virtual Handle find(std::string_view title) = 0;
  /// What a synchronous close request came to.
  struct CloseReply {
    std::int64_t answer = 0;      ///< 0 where the window took the message
    std::int32_t last_error = 0;  ///< the calling thread's last error code after it
  };
  [[nodiscard]] virtual CloseReply close(Handle window) = 0;
};

/// Window-less timers of the calling thread, fired by its message loop.
class Timers {
 public:
  virtual ~Timers() = default;
  using Id = std::uint64_t;
  /// Fires every `milliseconds` until killed; failure raises.
  [[nodiscard]] virtual Id set(std::int32_t milliseconds, std::function<void()> tick) = 0;
  virtual void kill(Id timer) = 0;
};

/// The agent's named event, seen from the engine: it never creates one.
class NamedEvents {
 public:
  virtual ~NamedEvents() = default;
  /// Opens the existing event, sets it and closes it. A name that no event has does nothing.
  virtual void signal(const std::string& name) = 0;
};

/// The file-system object of the scripting run-time.
class FileSystem {
 public:
  virtual ~FileSystem() = default;
  [[nodiscard]] virtual std::string parent_folder_name(std::string_view path) = 0;
  [[nodiscard]] virtual std::string file_name(std::string_view path) = 0;
  /// Full paths of a folder's direct subfolders; a missing folder raises.
  [[nodiscard]] virtual std::vector<std::string> subfolders(const std::string& path) = 0;
  /// Whether the file was there and could be deleted.
  virtual bool delete_file(const std::string& path) = 0;
  /// The shell's path-spec match: `*` and `?`, any case, several specifications separated by ";".
  [[nodiscard]] virtual bool matches(std::string_view file_name, std::string_view specification) = 0;
};

/// KVIPAddress, loaded by name at the first call. A library or entry that cannot be had raises 53 or 453.
class IpAddressLibrary {
 public:
  virtual ~IpAddressLibrary() = default;
  [[nodiscard]] virtual std::int32_t iCheckIPAddress(const std::string& definition_file,
                                                     const std::string& filter) = 0;
  [[nodiscard]] virtual std::int32_t iCheckNetworkInterfaces(const std::string& definition_file) = 0;
};

}  // namespace kvwmi
