#pragma once

#include <functional>

#include "kvwmi/error.h"

namespace kvwmi {

/// Receives an error that has no caller: one that left a timer tick, an event that could not be handled, a
/// poll of the embedded service that failed.
using DiagnosticHook = std::function<void(const Error&)>;

/// Sets the process's hook; an empty one drops such errors, which is also how the process starts. The Windows
/// automation server writes them to the debugger.
///
/// The hook is called on the thread where the error happened, any thread of the process, several at once. It
/// must return soon; what it throws is lost.
KVWMI_API void set_diagnostic_hook(DiagnosticHook hook);

}  // namespace kvwmi
