#pragma once

namespace kvwmi::com {

/// From now on errors without a caller are written to the debugger, as "KVWMI: ", the description, the number
/// and the lines of the source. Automation clients have no diagnostic hook of their own.
void report_to_debugger();

}  // namespace kvwmi::com
