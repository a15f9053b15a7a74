#pragma once

#include <windows.h>

#include <string>

namespace kvwmi::testing {

/// A name that no other process's event or window bears.
inline std::string own_name(const std::string& what) {
  return "kvwmi-test-" + std::to_string(GetCurrentProcessId()) + '-' + what;
}

}  // namespace kvwmi::testing
