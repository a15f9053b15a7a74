#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "linux/descriptor.h"
#include "wmi/events/delivery.h"

namespace kvwmi::ground {

/// Work for one thread's message loop, put in by any thread. In order, each piece once, on the loop's thread.
class Mailbox final : public embedded::Delivery {
 public:
  using Work = std::function<void()>;

  Mailbox();

  /// Work for a mailbox that is closed is destroyed at once.
  void post(Work work) override;
  /// Readable while there is work.
  [[nodiscard]] int descriptor() const noexcept { return wake_.get(); }
  /// Does what is there now; what it puts in comes next time. An exception goes to the diagnostic hook.
  void run();
  /// Nothing is done any more.
  void close();

 private:
  Descriptor wake_;
  std::mutex mutex_;
  std::vector<Work> work_;
  bool closed_ = false;
};

}  // namespace kvwmi::ground
