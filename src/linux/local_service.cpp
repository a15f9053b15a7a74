#include "linux/local_service.h"

#include <sys/utsname.h>

#include "frame/diagnostics.h"
#include "linux/machine.h"
#include "linux/providers/make_providers.h"
#include "wmi/events/event_service.h"

namespace kvwmi::ground {
namespace {

embedded::Service& make_service() {
  const Machine& machine = local_machine();
  utsname names{};
  uname(&names);
  embedded::Service& service = *new embedded::Service({.server_name = names.nodename});
  service.set_notifier(std::make_shared<embedded::EventService>(
      embedded::EventService::Options{.settings = {.on_failure = &report, .wall_time = {}}}));
  for (std::unique_ptr<embedded::Provider>& provider : make_providers(machine))
    service.add(std::move(provider));
  return service;
}

}  // namespace

embedded::Service& local_service() {
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one of the process
  static embedded::Service& service = make_service();
  return service;
}

}  // namespace kvwmi::ground
