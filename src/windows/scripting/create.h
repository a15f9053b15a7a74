#pragma once

#include "windows/win32/com_ptr.h"

namespace kvwmi::ground {

/// Creates an object of the system's. A class that is not installed, in whatever form the system says so, is
/// run-time error 429. A thread that has joined no apartment gets a single-threaded one, which timers and
/// sinks need anyway.
[[nodiscard]] ComPtr<IUnknown> create_object(const CLSID& class_id, const IID& interface_id);

template <typename Class, typename Interface>
[[nodiscard]] ComPtr<Interface> create() {
  auto object = create_object(__uuidof(Class), __uuidof(Interface));
  return ComPtr<Interface>::own(static_cast<Interface*>(object.detach()));
}

}  // namespace kvwmi::ground
