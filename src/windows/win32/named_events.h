#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

class Win32NamedEvents final : public NamedEvents {
 public:
  void signal(const std::string& name) override;
};

}  // namespace kvwmi::ground
