#include "linux/providers/system_bus.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace kvwmi::ground::providers {
namespace {

template <std::size_t size>
bool contains(const std::array<std::string_view, size>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

bool BusError::is_denied() const noexcept {
  static constexpr std::array<std::string_view, 3> kDenied{
      SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_INTERACTIVE_AUTHORIZATION_REQUIRED, SD_BUS_ERROR_AUTH_FAILED};
  return contains(kDenied, name_);
}

bool BusError::is_absent() const noexcept {
  static constexpr std::array<std::string_view, 5> kAbsent{
      SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER, SD_BUS_ERROR_UNKNOWN_OBJECT,
      SD_BUS_ERROR_UNKNOWN_METHOD, SD_BUS_ERROR_UNKNOWN_INTERFACE};
  return contains(kAbsent, name_);
}

bool work_until(sd_bus* bus, Deadline deadline, const std::function<bool()>& done) {
  // Only waiting is interrupted by signals, and only to look again: what was sent stays sent.
  const auto go_on = [](int result) { return result == -EINTR ? 0 : check(result); };
  while (!done()) {
    if (go_on(sd_bus_process(bus, nullptr)) > 0) continue;
    const auto left =
        std::chrono::ceil<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    go_on(sd_bus_wait(bus, static_cast<std::uint64_t>(left.count())));
  }
  return true;
}

Message send(sd_bus* bus, Message request, std::chrono::microseconds limit) {
  Message reply;
  const auto keep = [](sd_bus_message* message, void* into, sd_bus_error*) {
    static_cast<Message*>(into)->reset(sd_bus_message_ref(message));
    return 0;
  };
  sd_bus_slot* made = nullptr;
  check(sd_bus_call_async(bus, &made, request.get(), keep, &reply, UINT64_MAX));
  const Slot pending(made);
  if (!work_until(bus, std::chrono::steady_clock::now() + limit, [&] { return reply != nullptr; })) {
    throw BusError("", ETIMEDOUT);
  }
  const sd_bus_error* error = sd_bus_message_get_error(reply.get());
  if (error == nullptr) return reply;
  // The library answers in the place of a peer that is gone.
  if (sd_bus_is_open(bus) <= 0) throw BusError("", ECONNRESET);
  throw BusError(error->name, sd_bus_error_get_errno(error));
}

Bus connect(const Machine& machine, std::chrono::microseconds limit) {
  Bus bus = machine.open_system_bus();
  if (!bus) throw BusError("", ENOTCONN);
  // Left to the first call, the greetings could take a minute and a half.
  const bool ready = work_until(bus.get(), std::chrono::steady_clock::now() + limit,
                                [&] { return check(sd_bus_is_ready(bus.get())) > 0; });
  if (!ready) throw BusError("", ETIMEDOUT);
  return bus;
}

sd_bus* SystemBus::open() {
  if (!bus_) bus_ = connect(machine_);
  return bus_.get();
}

bool SystemBus::drop_if_broken() {
  if (bus_ && sd_bus_is_open(bus_.get()) > 0) return false;
  bus_.reset();
  return true;
}

}  // namespace kvwmi::ground::providers
