#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

/// The engine's side: opens, sets and closes events that agents made. A queue that is no event is left alone;
/// an event that is there and cannot be opened is reported to the diagnostic hook.
class LinuxNamedEvents final : public NamedEvents {
 public:
  void signal(const std::string& name) override;
};

}  // namespace kvwmi::ground
