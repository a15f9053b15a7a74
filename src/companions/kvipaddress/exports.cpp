#include "companions/kvipaddress/kvipaddress.h"

#include <mutex>

#include "companions/kvipaddress/logic/checks.h"
#include "companions/kvipaddress/system.h"

namespace {

using kvipaddress::Reports;

/// Shared by all threads of the process and never destroyed: a thread may still check while the process ends.
struct Memory {
  std::mutex mutex;
  Reports reports;
};

Memory& memory() {
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): exports have no other place
  static Memory& memory = *new Memory;
  return memory;
}

}  // namespace

extern "C" {

std::int32_t KVIPADDRESS_CALL iCheckIPAddress(const char* definition_file, const char* filter) noexcept try {
  if (definition_file == nullptr || filter == nullptr) return kvipaddress::kNothing;
  const auto system = kvipaddress::local_system();
  const std::lock_guard lock(memory().mutex);
  return kvipaddress::check_ip_address(*system, memory().reports, definition_file,
                                       kvipaddress::utf8_of_argument(filter), Reports::Clock::now());
} catch (...) {
  return kvipaddress::kNothing;
}

std::int32_t KVIPADDRESS_CALL iCheckNetworkInterfaces(const char* definition_file) noexcept try {
  if (definition_file == nullptr) return kvipaddress::kNothing;
  const auto system = kvipaddress::local_system();
  const std::lock_guard lock(memory().mutex);
  return kvipaddress::check_network_interfaces(*system, definition_file);
} catch (...) {
  return kvipaddress::kNothing;
}
}
