#pragma once

#include "kvwmi/diagnostics.h"

namespace kvwmi {

/// Hands an error without a caller to the process's diagnostic hook.
void report(const Error& error) noexcept;

/// The same for the exception in flight; call it inside a catch block only.
void report_pending_error() noexcept;

}  // namespace kvwmi
