// Calls Win32_OperatingSystem.Reboot, or Win32Shutdown with the flags given, and waits for the end; with
// --refused all that is not forced, each of which must raise "Privilege not held ". Only to be run inside a
// systemd of its own (in_systemd).
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "frame/wmi_access.h"
#include "kvwmi/error.h"
#include "linux/local_service.h"

namespace {

using namespace kvwmi;

/// What Win32Shutdown answers to `flags`, and Reboot where there are none; or the number of what it raises.
std::uint32_t ask(std::optional<std::int32_t> flags) {
  try {
    const auto services = ground::local_service().create_locator()->connect_server(wmi::ConnectArguments());
    const auto system =
        wmi::first_of(*services->exec_query("SELECT * FROM Win32_OperatingSystem WHERE Primary=true"));
    return static_cast<std::uint32_t>(flags ? system->call("Win32Shutdown", {{"Flags", wmi::Value(*flags)}})
                                            : system->call("Reboot", {}));
  } catch (const Error& error) {
    return static_cast<std::uint32_t>(error.number());
  }
}

bool answers(std::optional<std::int32_t> flags, std::uint32_t expected) {
  const std::uint32_t answer = ask(flags);
  if (answer != expected) std::fprintf(stderr, "flags %d: %08X\n", flags.value_or(-1), answer);
  return answer == expected;
}

}  // namespace

int main(int count, char** arguments) {
  const char* container = std::getenv("container");
  if (container == nullptr || std::strcmp(container, "inside") != 0) {
    // The real machine is not to go down by mistake.
    if (access("/run/systemd/system/inside.target", F_OK) != 0) {
      std::fputs("not inside\n", stderr);
      return 2;
    }
  }
  const char* argument = count > 1 ? arguments[1] : nullptr;
  if (argument != nullptr && std::string_view(argument) == "--refused") {
    constexpr std::uint32_t kPrivilegeNotHeld = 0x80041062;
    bool refused = answers(std::nullopt, kPrivilegeNotHeld);
    for (const std::int32_t flags : {1, 2, 8}) refused = answers(flags, kPrivilegeNotHeld) && refused;
    return refused ? 0 : 1;
  }
  if (!answers(argument == nullptr ? std::nullopt : std::optional(std::atoi(argument)), 0)) return 1;
  while (true) pause();
}
