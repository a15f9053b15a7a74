#pragma once

#include "wmi/service.h"

namespace kvwmi::ground {

/// The embedded WMI service of this process over the machine that it runs on, made at the first call. It
/// lives to the very end of the process, for threads and static objects of the host may use it that long.
[[nodiscard]] embedded::Service& local_service();

}  // namespace kvwmi::ground
