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

Message send(sd_bus* bus, Message request, std::chrono::microseconds limit) {
  sd_bus_error error{};
  sd_bus_message* reply = nullptr;
  const int result =
      sd_bus_call(bus, request.get(), static_cast<std::uint64_t>(limit.count()), &error, &reply);
  Message answer(reply);
  if (result >= 0) return answer;
  BusError failure(error.name != nullptr ? error.name : "", -result);
  sd_bus_error_free(&error);
  throw failure;
}

Bus connect(const Machine& machine, std::chrono::microseconds limit) {
  Bus bus = machine.open_system_bus();
  if (!bus) throw BusError("", ENOTCONN);
  // Left to the first call, the greetings could take a minute and a half.
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (check(sd_bus_is_ready(bus.get())) == 0) {
    if (check(sd_bus_process(bus.get(), nullptr)) > 0) continue;
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) throw BusError("", ETIMEDOUT);
    check(sd_bus_wait(bus.get(), static_cast<std::uint64_t>(left.count())));
  }
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
