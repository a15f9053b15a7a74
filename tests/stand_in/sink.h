#pragma once

#include <functional>
#include <memory>

#include "stand_in/automation.h"
#include "stand_in/backend.h"

namespace kvwmi::stand_in {

/// An SWbemSink of the calling thread.
[[nodiscard]] ComPtr<ISWbemSink> make_sink();

/// Starts an asynchronous call that delivers to the backend's sink.
using StartCall = std::function<void(const std::shared_ptr<wmi::Sink>&)>;

/// Starts a call on the backend's sink behind `sink`. Where `sink` is cancelled the call ends, and its client
/// is told with `context`; a call that `start` refuses by raising is none. `sink` must come from make_sink;
/// another object raises "Invalid parameter ".
void start_call(IDispatch& sink, Backend& backend, const wmi::NamedValues& context, const StartCall& start);

}  // namespace kvwmi::stand_in
