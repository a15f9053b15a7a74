#pragma once

#include <windows.h>

namespace kvwmi::ground {

/// The export of a loaded library, or null where it has none of that name.
template <typename Function>
[[nodiscard]] Function loaded_function(HMODULE library, const char* name) noexcept {
  // Through void* because no other cast between function types is free of a warning.
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace kvwmi::ground
