#pragma once

#include <memory>
#include <string_view>

#include "frame/wmi_access.h"
#include "wmi/cim/schema.h"

namespace kvwmi::stand_in {

/// The service behind the scripting objects.
class Backend {
 public:
  virtual ~Backend() = default;
  [[nodiscard]] virtual std::unique_ptr<wmi::Locator> create_locator() = 0;
  /// Its handler is called from the calling thread's message loop.
  [[nodiscard]] virtual std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) = 0;
  /// For the methods that a class declares; null where the class is unknown.
  [[nodiscard]] virtual const cim::Class* find_class(std::string_view name) = 0;
};

}  // namespace kvwmi::stand_in
