#include "linux/system_info.h"

namespace kvwmi::ground {

std::optional<std::string> LinuxSystemInfo::message(std::int32_t) {
  return std::nullopt;
}

}  // namespace kvwmi::ground
