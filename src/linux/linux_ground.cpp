#include "linux/linux_ground.h"

#include <sys/utsname.h>

#include <utility>

#include "frame/runtime_error.h"
#include "linux/providers/make_providers.h"
#include "linux/thread_loop.h"

namespace kvwmi {

Ground& local_ground() {
  // Never destroyed: threads and static objects of the host may use it to the very end.
  static Ground& ground = *new ground::LinuxGround;
  return ground;
}

namespace ground {

embedded::Service& LinuxGround::service() {
  std::call_once(service_made_, [this] {
    utsname machine{};
    ::uname(&machine);
    service_.emplace(embedded::Service::Options{.server_name = machine.nodename});
    for (auto& provider : make_providers(machine_)) service_->add(std::move(provider));
  });
  return *service_;
}

std::unique_ptr<wmi::Locator> LinuxGround::create_locator() {
  return service().create_locator();
}

std::shared_ptr<wmi::Sink> LinuxGround::create_sink(wmi::ObjectReady) {
  throw runtime_error(RuntimeError::cannot_create_object);
}

std::unique_ptr<ThreadBound>& LinuxGround::thread_slot() {
  // The loop is made first and so ends last: what the slot holds kills its timers.
  static_cast<void>(ThreadLoop::current());
  thread_local std::unique_ptr<ThreadBound> slot;
  return slot;
}

}  // namespace ground
}  // namespace kvwmi
