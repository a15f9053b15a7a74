#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "kvwmi/export.h"

namespace kvwmi {

/// A named event that every process of the machine can reach under its name: the agent's side of the signal
/// that `Supervision` gives when it has queued a record.
///
/// Windows: an event object of that name, which lies within the system's code page, for the engine opens it
/// by its 8-bit name. Linux: a POSIX message queue of one slot, for its owner only (mode 0600). It lives as
/// long as somebody holds it; a queue left behind by a process that was killed is taken over as a new event,
/// not signalled.
///
/// Names: on Linux the prefixes `Global\` and `Local\` are dropped, since there is one name space; the rest
/// becomes the queue `/NAME`, with `/`, `%`, control characters and a leading dot as %XX. What is longer than
/// 254 bytes then is cut and completed with `%` and a checksum of 16 hexadecimal digits. As on Windows, a
/// further backslash and the empty name are refused, names are told apart by case. On Windows a name with a
/// letter that the system's code page lacks is refused too: the engine opens events by their 8-bit names.
///
/// An instance belongs to one thread at a time. Failures raise Error with the system's number as an HRESULT:
/// 0x80070005 no access (another user's event), 0x8007007B bad name, 0x80070006 the name is no event,
/// 0x800705AA no more events (Linux bounds the memory of a user's queues, and allows 256 queues to those
/// without privileges).
class KVWMI_API NamedEvent {
 public:
  enum class Reset : std::uint8_t {
    automatic,  ///< a successful wait resets the event; of several waiters one gets it
    manual,     ///< stays set until reset() is called
  };

  /// Creates the event, not set; one that exists is opened as it is and keeps its own reset mode.
  NamedEvent(const std::string& name, Reset reset);
  ~NamedEvent();
  NamedEvent(const NamedEvent&) = delete;
  NamedEvent& operator=(const NamedEvent&) = delete;

  /// Waits until the event is set; false when `timeout` passed first. 0 does not wait, the longest time waits
  /// as good as for ever.
  [[nodiscard]] bool wait(std::chrono::milliseconds timeout);
  /// Sets the event; one that is set stays set.
  void set();
  /// Takes back the signal, where there is one.
  void reset();
  /// The event's mode; on Windows, where an event that was there does not tell it, the one asked for.
  [[nodiscard]] Reset reset_mode() const noexcept { return reset_; }

  /// To wait with a foreign loop: a descriptor that is readable while the event is set (Linux), or the
  /// HANDLE of the event (Windows). With an automatic event, wait(0) then takes the signal.
  [[nodiscard]] std::intptr_t native_handle() const noexcept { return handle_; }

 private:
  std::string name_;
  Reset reset_;
  std::intptr_t handle_ = 0;
};

}  // namespace kvwmi
