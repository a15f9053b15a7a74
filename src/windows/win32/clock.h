#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

class Win32Clock final : public Clock {
 public:
  std::chrono::local_seconds local_now() override;
  void sleep(std::chrono::milliseconds duration) override;
};

}  // namespace kvwmi::ground
