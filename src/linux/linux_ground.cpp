#include "linux/linux_ground.h"

#include <utility>

#include "linux/local_service.h"
#include "linux/thread_loop.h"
#include "wmi/events/event_sink.h"

namespace kvwmi {

Ground& local_ground() {
  // Never destroyed: threads and static objects of the host may use it to the very end.
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one of the process
  static Ground& ground = *new ground::LinuxGround;
  return ground;
}

namespace ground {

std::unique_ptr<wmi::Locator> LinuxGround::create_locator() {
  return local_service().create_locator();
}

std::shared_ptr<wmi::Sink> LinuxGround::create_sink(wmi::ObjectReady handler) {
  return std::make_shared<embedded::EventSink>(std::move(handler), ThreadLoop::current().mailbox());
}

std::unique_ptr<ThreadBound>& LinuxGround::thread_slot() {
  // The loop is made first and so ends last: what the slot holds kills its timers.
  static_cast<void>(ThreadLoop::current());
  thread_local std::unique_ptr<ThreadBound> slot;
  return slot;
}

}  // namespace ground
}  // namespace kvwmi
