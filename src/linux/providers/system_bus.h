#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "frame/wmi_status.h"
#include "linux/machine.h"

namespace kvwmi::ground::providers {

/// An error that a service on the bus answered with, or the transport.
class BusError : public std::exception {
 public:
  BusError(std::string name, int number) : name_(std::move(name)), number_(number) {}

  /// "org.freedesktop.DBus.Error.AccessDenied"; empty when the call got no answer.
  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] int number() const noexcept { return number_; }
  [[nodiscard]] bool is(std::string_view name) const noexcept { return name_ == name; }
  /// Whether the caller lacks the right.
  [[nodiscard]] bool is_denied() const noexcept;
  /// Whether nobody serves that name or object here.
  [[nodiscard]] bool is_absent() const noexcept;
  [[nodiscard]] const char* what() const noexcept override { return name_.c_str(); }

 private:
  std::string name_;
  int number_;
};

struct MessageUnref {
  void operator()(sd_bus_message* message) const noexcept { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

struct SlotUnref {
  void operator()(sd_bus_slot* slot) const noexcept { sd_bus_slot_unref(slot); }
};
using Slot = std::unique_ptr<sd_bus_slot, SlotUnref>;

/// Raises BusError for a negative errno.
inline int check(int result) {
  if (result < 0) throw BusError("", -result);
  return result;
}

using Deadline = std::chrono::steady_clock::time_point;

/// Has the connection work until `done` says so; false when it does not by the deadline. A signal that the
/// process handles meanwhile is no failure. Raises BusError when the connection breaks.
[[nodiscard]] bool work_until(sd_bus* bus, Deadline deadline, const std::function<bool()>& done);

/// Where a service is found.
struct BusObject {
  const char* service;
  const char* path;
  const char* interface;
};

inline constexpr BusObject kServiceManager{"org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                                           "org.freedesktop.systemd1.Manager"};
inline constexpr const char* kPropertiesInterface = "org.freedesktop.DBus.Properties";

/// Calls a method and gives its answer; raises BusError after `limit` or for an error answer.
template <typename... Arguments>
Message call(sd_bus* bus, const BusObject& object, const char* method, std::chrono::microseconds limit,
             const char* types = nullptr, Arguments... arguments);

/// The same for a finished request, which is sent once.
Message send(sd_bus* bus, Message request, std::chrono::microseconds limit);

template <typename... Arguments>
Message call(sd_bus* bus, const BusObject& object, const char* method, std::chrono::microseconds limit,
             const char* types, Arguments... arguments) {
  sd_bus_message* made = nullptr;
  check(sd_bus_message_new_method_call(bus, &made, object.service, object.path, object.interface, method));
  Message request(made);
  if (types != nullptr) check(sd_bus_message_append(request.get(), types, arguments...));
  return send(bus, std::move(request), limit);
}

/// A new connection that is ready for calls; raises BusError when it is not within `limit`.
[[nodiscard]] Bus connect(const Machine& machine, std::chrono::microseconds limit = std::chrono::seconds(5));

/// The system bus connection that the providers share: kept between calls, made anew after it broke, used by
/// one thread at a time. No call waits longer than its limit.
class SystemBus {
 public:
  explicit SystemBus(const Machine& machine) : machine_(machine) {}

  /// Calls `use` with the connection and gives what it gives. A kept connection that turns out to be broken
  /// is replaced and `use` called once more.
  template <typename Use>
  auto with(Use&& use) -> decltype(use(static_cast<sd_bus*>(nullptr))) {
    const std::lock_guard lock(mutex_);
    const bool kept = bus_ != nullptr;
    try {
      return use(open());
    } catch (const BusError&) {
      if (!drop_if_broken() || !kept) throw;
    }
    return use(open());
  }

 private:
  sd_bus* open();
  bool drop_if_broken();

  const Machine& machine_;
  std::mutex mutex_;
  Bus bus_;
};

}  // namespace kvwmi::ground::providers
