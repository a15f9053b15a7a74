#include "windows/windows_ground.h"

#include <utility>

#include "windows/scripting/scripting_services.h"
#include "windows/scripting/scripting_sink.h"

namespace kvwmi {

namespace ground {

std::unique_ptr<wmi::Locator> WindowsGround::create_locator() {
  return std::make_unique<ScriptingLocator>();
}

std::shared_ptr<wmi::Sink> WindowsGround::create_sink(wmi::ObjectReady handler) {
  return std::make_shared<ScriptingSink>(std::move(handler));
}

}  // namespace ground

Ground& local_ground() {
  static ground::WindowsGround machine;
  return machine;
}

}  // namespace kvwmi
