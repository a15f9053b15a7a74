#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

/// The engine's side: opens, sets and closes events that agents made.
class LinuxNamedEvents final : public NamedEvents {
 public:
  void signal(const std::string& name) override;
};

}  // namespace kvwmi::ground
