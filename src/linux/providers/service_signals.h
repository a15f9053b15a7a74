#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>

#include "linux/providers/system_bus.h"

namespace kvwmi::ground::providers {

/// Listens to what the service manager says of its services, on a thread of its own. It begins with the first
/// question and ends when nobody has asked for a while: a bus keeps signals in memory until they are heard.
class ServiceSignals {
 public:
  explicit ServiceSignals(const Machine& machine) : machine_(machine) {}
  ~ServiceSignals();
  ServiceSignals(const ServiceSignals&) = delete;
  ServiceSignals& operator=(const ServiceSignals&) = delete;

  /// A number that grows when a service may have come, gone or changed; nullopt while the manager is not
  /// heard, as before the thread has begun or after the bus was lost. Never waits for the bus.
  [[nodiscard]] std::optional<std::uint64_t> count();

 private:
  using Clock = std::chrono::steady_clock;

  class Hearing;

  void run();
  void listen();
  [[nodiscard]] bool is_wanted();
  void count_one();
  static int on_unit(sd_bus_message* message, void* self, sd_bus_error*);
  static int on_properties(sd_bus_message* message, void* self, sd_bus_error*);
  static int on_files(sd_bus_message* message, void* self, sd_bus_error*);
  static int on_owner(sd_bus_message* message, void* self, sd_bus_error*);

  const Machine& machine_;
  bool replaced_ = false;  ///< the thread's: there is another manager now, or none

  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t count_ = 0;
  int connection_ = -1;  ///< descriptor of the connection that is heard
  Clock::time_point asked_;
  bool running_ = false;
  bool stopping_ = false;
  std::thread thread_;
};

}  // namespace kvwmi::ground::providers
