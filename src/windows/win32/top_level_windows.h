#pragma once

#include "frame/platform.h"

namespace kvwmi::ground {

class Win32Windows final : public Windows {
 public:
  Handle find(std::string_view title) override;
  CloseReply close(Handle window) override;
};

}  // namespace kvwmi::ground
