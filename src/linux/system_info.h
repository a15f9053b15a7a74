#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

class LinuxSystemInfo final : public SystemInfo {
 public:
  std::optional<std::string> message(std::int32_t code) override;
  /// Linux runs no 32-bit emulation that a process would have to know of.
  std::optional<std::int32_t> wow64_process() override { return std::nullopt; }
};

}  // namespace kvwmi::ground
