#pragma once

#include <chrono>
#include <functional>

#include "kvwmi/export.h"

/// The calling thread's message loop. Events of watches and ticks of polled watches are delivered by it and
/// by nothing else, so a thread that uses `Supervision` must run it: with these functions, or with a loop of
/// its own.
///
/// Linux: the loop is the thread's own sd-event default loop; a thread may as well run that itself
/// (sd_event_default, sd_event_loop). Windows: the loop is the thread's message queue; any message pump will
/// do. A quit message ends the functions below at once and is left for the thread's own pump.
///
/// On Linux none of these functions may be called from inside a delivery or a tick: that raises Error 5
/// "Invalid procedure call or argument".
namespace kvwmi::message_loop {

/// Waits at most `timeout` for something to do, does the first thing that is ready and returns. Tells whether
/// something woke it. A timeout of 0 does not wait; a negative one counts as 0.
KVWMI_API bool run_once(std::chrono::milliseconds timeout);

/// Runs the loop for `duration`.
KVWMI_API void run_for(std::chrono::milliseconds duration);

/// Runs the loop until `condition` holds, at most for `timeout`; tells whether it holds. It is asked before
/// the first wait, after everything the loop does, and at least every 100 ms, so that it may also depend on
/// what other threads and signal handlers do.
KVWMI_API bool run_until(const std::function<bool()>& condition, std::chrono::milliseconds timeout);

/// For a foreign loop (Linux): a descriptor that is readable while this loop has something to do. When it is,
/// call run_once(0). It belongs to the loop and stays the same for the thread's life; watch it level
/// triggered. Windows has none: -1.
KVWMI_API int file_descriptor();

}  // namespace kvwmi::message_loop
