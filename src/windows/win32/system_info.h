#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "frame/platform.h"

namespace kvwmi::ground {

/// The system's text for an error number, line end included, at most 2048 characters; empty for a number
/// without one.
[[nodiscard]] std::string system_message(std::uint32_t code);

class Win32SystemInfo final : public SystemInfo {
 public:
  std::optional<std::string> message(std::int32_t code) override;
  std::optional<std::int32_t> wow64_process() override;
  std::string date_text(std::chrono::local_days date) override;
  std::string time_text(std::chrono::seconds since_midnight) override;
};

}  // namespace kvwmi::ground
