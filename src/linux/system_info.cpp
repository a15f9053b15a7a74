#include "linux/system_info.h"

#include "linux/system_messages.h"

namespace kvwmi::ground {

std::optional<std::string> LinuxSystemInfo::message(std::int32_t code) {
  return system_message(code);
}

}  // namespace kvwmi::ground
