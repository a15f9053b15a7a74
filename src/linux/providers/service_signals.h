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
  /// Nobody who polls more seldom gains by listening.
  static constexpr std::chrono::milliseconds kUnasked = std::chrono::minutes(1);

  /// It listens for `unasked` after each question.
  explicit ServiceSignals(const Machine& machine, std::chrono::milliseconds unasked = kUnasked)
      : machine_(machine), unasked_(unasked) {}
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
  [[nodiscard]] Clock::time_point wanted_until();
  void count_one();
  static int on_unit(sd_bus_message* message, void* self, sd_bus_error*);
  static int on_properties(sd_bus_message* message, void* self, sd_bus_error*);
  static int on_files(sd_bus_message* message, void* self, sd_bus_error*);
  static int on_owner(sd_bus_message* message, void* self, sd_bus_error*);

  const Machine& machine_;
  const std::chrono::milliseconds unasked_;
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
