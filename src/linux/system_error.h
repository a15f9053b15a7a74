#pragma once

#include "kvwmi/error.h"

namespace kvwmi::ground {

/// The error of a failed system call: the system's number in the form in which automation clients know it
/// (0x80070005 for "Permission denied"), the call's name and the system's text.
[[nodiscard]] Error system_error(int error_number, const char* call);

/// Raises it for the negative errno that the systemd libraries answer with; passes other results on.
int checked(int result, const char* call);

}  // namespace kvwmi::ground
