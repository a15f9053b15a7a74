#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <span>

#include "linux/descriptor.h"
#include "linux/machine.h"

namespace kvwmi::ground::providers {

/// A socket on which the kernel, once it is asked to, tells which processes execute another program, take
/// another name, or end. None where it has no such events for this process: before kernel 6.6 only root has
/// them, and in a network namespace of its own nobody.
[[nodiscard]] Descriptor open_process_events();

/// Counts those events. They are asked for with the first question and as long as this lives. Any thread may
/// ask.
class ProcessEvents {
 public:
  explicit ProcessEvents(const Machine& machine) : machine_(machine) {}
  ~ProcessEvents();
  ProcessEvents(const ProcessEvents&) = delete;
  ProcessEvents& operator=(const ProcessEvents&) = delete;

  /// A number that has grown when there was an event since an earlier question; nullopt as long as the kernel
  /// has not confirmed that it tells of them.
  [[nodiscard]] std::optional<std::uint64_t> count();

 private:
  enum class Request : std::uint32_t { listen = 1, ignore = 2 };

  void begin();
  [[nodiscard]] bool send(Request request);
  void receive();
  void take(std::span<const char> message);

  const Machine& machine_;
  std::mutex mutex_;
  Descriptor socket_;
  std::uint32_t number_ = 0;  ///< of the request to listen
  bool confirmed_ = false;
  std::uint64_t count_ = 0;
};

}  // namespace kvwmi::ground::providers
