#pragma once

#include <functional>

namespace kvwmi::embedded {

/// The message loop of a subscriber's thread, as far as the service needs it.
class Delivery {
 public:
  virtual ~Delivery() = default;
  /// Has `work` done on the subscriber's thread, in the order of the calls. Called from any thread; returns
  /// at once. Work that the loop never comes to is destroyed.
  virtual void post(std::function<void()> work) = 0;
};

}  // namespace kvwmi::embedded
