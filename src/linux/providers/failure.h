#pragma once

#include "frame/wmi_status.h"

namespace kvwmi::ground::providers {

/// What a provider raises when it cannot tell.
[[nodiscard]] inline Error provider_failure() {
  return wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kObjectSet);
}

}  // namespace kvwmi::ground::providers
