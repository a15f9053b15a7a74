// Calls Win32_OperatingSystem.Reboot, or Win32Shutdown with the flags given, and waits for the end. Only to
// be run inside a systemd of its own (in_systemd).
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/wmi_access.h"
#include "kvwmi/error.h"
#include "linux/local_service.h"

int main(int count, char** arguments) {
  const char* container = std::getenv("container");
  if (container == nullptr || std::strcmp(container, "inside") != 0) {
    // The real machine is not to go down by mistake.
    if (access("/run/systemd/system/inside.target", F_OK) != 0) {
      std::fputs("not inside\n", stderr);
      return 2;
    }
  }
  try {
    using namespace kvwmi;
    const auto services = ground::local_service().create_locator()->connect_server(wmi::ConnectArguments());
    const auto system =
        wmi::first_of(*services->exec_query("SELECT * FROM Win32_OperatingSystem WHERE Primary=true"));
    const std::int32_t code =
        count > 1
            ? system->call("Win32Shutdown", {{"Flags", wmi::Value(std::int32_t{std::atoi(arguments[1])})}})
            : system->call("Reboot", {});
    if (code != 0) {
      std::fprintf(stderr, "answered %d\n", code);
      return 1;
    }
  } catch (const kvwmi::Error& error) {
    std::fprintf(stderr, "raised %08X %s\n", static_cast<unsigned>(error.number()), error.what());
    return 1;
  }
  while (true) pause();
}
