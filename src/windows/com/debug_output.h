#pragma once

namespace kvwmi::com {

/// From now on, memory permitting, errors without a caller are written to the debugger, as "KVWMI: ", the
/// description, the number and the lines of the source. Automation clients have no diagnostic hook of their
/// own.
void report_to_debugger() noexcept;

}  // namespace kvwmi::com
