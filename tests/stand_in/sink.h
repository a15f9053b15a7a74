#pragma once

#include <memory>

#include "stand_in/automation.h"
#include "stand_in/backend.h"

namespace kvwmi::stand_in {

/// An SWbemSink of the calling thread.
[[nodiscard]] ComPtr<ISWbemSink> make_sink();

/// A subscription in the making: the backend's sink, whose events go to an SWbemSink with `context`.
struct Subscription {
  std::shared_ptr<wmi::Sink> sink;
  ComPtr<ISWbemSink> target;

  /// Lets it live until the SWbemSink is cancelled or gone.
  void keep();
};

/// `sink` must come from make_sink; another object raises "Invalid parameter ".
[[nodiscard]] Subscription make_subscription(IDispatch& sink, Backend& backend, IDispatch* context);

}  // namespace kvwmi::stand_in
