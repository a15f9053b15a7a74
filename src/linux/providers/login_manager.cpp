#include "linux/providers/login_manager.h"

#include <initializer_list>
#include <iterator>
#include <string>

#include "linux/providers/failure.h"

namespace kvwmi::ground::providers {
namespace {

using namespace std::chrono_literals;

constexpr BusObject kManager{"org.freedesktop.login1", "/org/freedesktop/login1",
                             "org.freedesktop.login1.Manager"};
constexpr BusObject kSeat{"org.freedesktop.login1", "/org/freedesktop/login1/seat/seat0",
                          kPropertiesInterface};

/// A question must not hold up a query for long; the end of the run may take its time to be accepted.
constexpr auto kQuestionLimit = 2s;
constexpr auto kActionLimit = 25s;

constexpr std::uint32_t kNoSuchLogonSession = 1312;

struct Verb {
  const char* plain;
  const char* with_flags;
  const char* service_manager;
};
constexpr Verb kVerbs[]{
    {"Halt", "HaltWithFlags", "Halt"},
    {"Reboot", "RebootWithFlags", "Reboot"},
    {"PowerOff", "PowerOffWithFlags", "PowerOff"},
};

/// Flags that say whether those who hold up the end are waited for. Without one, older versions let root
/// overrule them; newer ones have a flag for that.
constexpr std::uint64_t kRootWaitsToo = 1;
constexpr std::uint64_t kNobodyWaits = 16;
constexpr std::uint64_t kRootOverrules = 0;

[[noreturn]] void raise(const BusError& error) {
  const bool refused = error.is_denied() || error.is("org.freedesktop.login1.BlockedByInhibitorLock");
  throw wmi::wmi_error(refused ? wmi::Status::privilege_not_held : wmi::Status::provider_failure,
                       wmi::source::kObject);
}

/// Calls with the first of `flags` that this version knows, or, where it knows none at all, without.
void request(sd_bus* bus, const Verb& verb, std::initializer_list<std::uint64_t> flags) {
  for (const std::uint64_t flag : flags) {
    try {
      call(bus, kManager, verb.with_flags, kActionLimit, "t", flag);
      return;
    } catch (const BusError& error) {
      if (error.is(SD_BUS_ERROR_UNKNOWN_METHOD)) break;
      if (!error.is(SD_BUS_ERROR_INVALID_ARGS) || flag == *std::prev(flags.end())) throw;
    }
  }
  call(bus, kManager, verb.plain, kActionLimit, "b", 0);
}

/// The session in front of the first seat; empty where there is none.
std::string active_session(sd_bus* bus) {
  try {
    const Message answer =
        call(bus, kSeat, "Get", kQuestionLimit, "ss", "org.freedesktop.login1.Seat", "ActiveSession");
    const char* name = nullptr;
    check(sd_bus_message_enter_container(answer.get(), 'v', "(so)"));
    check(sd_bus_message_read(answer.get(), "(so)", &name, nullptr));
    return name;
  } catch (const BusError& error) {
    if (error.is_absent() || error.is("org.freedesktop.login1.NoSuchSeat")) return {};
    throw;
  }
}

/// The calling process's session; empty where it has none.
std::string own_session(sd_bus* bus) {
  try {
    const Message answer = call(bus, kManager, "GetSessionByPID", kQuestionLimit, "u", 0U);
    const char* path = nullptr;
    check(sd_bus_message_read(answer.get(), "o", &path));
    const BusObject session{kManager.service, path, kPropertiesInterface};
    const Message property =
        call(bus, session, "Get", kQuestionLimit, "ss", "org.freedesktop.login1.Session", "Id");
    const char* name = nullptr;
    check(sd_bus_message_read(property.get(), "v", "s", &name));
    return name;
  } catch (const BusError& error) {
    if (error.is("org.freedesktop.login1.NoSessionForPID") ||
        error.is("org.freedesktop.login1.NoSuchSession")) {
      return {};
    }
    throw;
  }
}

}  // namespace

std::optional<std::uint32_t> LoginManager::sessions() {
  try {
    return bus_.with([](sd_bus* bus) {
      const Message answer = call(bus, kManager, "ListSessions", kQuestionLimit);
      std::uint32_t count = 0;
      check(sd_bus_message_enter_container(answer.get(), 'a', "(susso)"));
      while (check(sd_bus_message_at_end(answer.get(), 0)) == 0) {
        check(sd_bus_message_skip(answer.get(), "(susso)"));
        ++count;
      }
      return count;
    });
  } catch (const BusError&) {
    return std::nullopt;
  }
}

std::uint32_t LoginManager::shut_down(Shutdown kind, bool forced) {
  const Verb& verb = kVerbs[static_cast<std::size_t>(kind)];
  try {
    // A connection of its own: an action is never repeated because a kept one broke.
    const Bus bus = connect(machine_);
    try {
      if (forced) {
        request(bus.get(), verb, {kNobodyWaits, kRootOverrules});
      } else {
        request(bus.get(), verb, {kRootWaitsToo});
      }
    } catch (const BusError& error) {
      if (!error.is_absent()) throw;
      call(bus.get(), kServiceManager, verb.service_manager, kActionLimit);
    }
  } catch (const BusError& error) {
    raise(error);
  }
  return 0;
}

std::uint32_t LoginManager::log_off() {
  try {
    const Bus bus = connect(machine_);
    std::string session = active_session(bus.get());
    if (session.empty()) session = own_session(bus.get());
    if (session.empty()) return kNoSuchLogonSession;
    call(bus.get(), kManager, "TerminateSession", kActionLimit, "s", session.c_str());
  } catch (const BusError& error) {
    if (error.is("org.freedesktop.login1.NoSuchSession")) return kNoSuchLogonSession;
    raise(error);
  }
  return 0;
}

}  // namespace kvwmi::ground::providers
