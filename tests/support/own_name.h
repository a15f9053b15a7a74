#pragma once

#include <unistd.h>

#include <string>

namespace kvwmi::tests {

/// A name that no other process or event of this machine bears; longer than what the kernel keeps of a
/// process's.
inline std::string own_name(const std::string& purpose) {
  return "kvwmi-test-" + purpose + "-" + std::to_string(getpid());
}

}  // namespace kvwmi::tests
