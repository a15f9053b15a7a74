#pragma once

#include <memory>

#include "stand_in/automation.h"
#include "stand_in/backend.h"

namespace kvwmi::stand_in {

/// An SWbemSink of the calling thread.
[[nodiscard]] ComPtr<ISWbemSink> make_sink();

/// The backend's sink behind `sink`, made at the first call. `sink` must come from make_sink; another object
/// raises "Invalid parameter ".
[[nodiscard]] std::shared_ptr<wmi::Sink> service_sink(IDispatch& sink, Backend& backend);

}  // namespace kvwmi::stand_in
