#include "linux/linux_ground.h"

#include "frame/runtime_error.h"

namespace kvwmi {

Ground& local_ground() {
  // Never destroyed: threads and static objects of the host may use it to the very end.
  static Ground& ground = *new ground::LinuxGround;
  return ground;
}

namespace ground {

std::unique_ptr<wmi::Locator> LinuxGround::create_locator() {
  throw runtime_error(RuntimeError::cannot_create_object);
}

std::shared_ptr<wmi::Sink> LinuxGround::create_sink(wmi::ObjectReady) {
  throw runtime_error(RuntimeError::cannot_create_object);
}

std::unique_ptr<ThreadBound>& LinuxGround::thread_slot() {
  thread_local std::unique_ptr<ThreadBound> slot;
  return slot;
}

}  // namespace ground
}  // namespace kvwmi
