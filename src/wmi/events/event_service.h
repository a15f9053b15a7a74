#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "wmi/events/event_engine.h"
#include "wmi/service.h"

namespace kvwmi::embedded {

/// Serves the event queries of a service: polls on a thread of its own, made with the first subscription, and
/// posts events to the loops of the subscribers.
///
/// A second thread looks after each poll whether the first is held up by a provider. If so it takes over, and
/// the other one ends when its provider answers, or watches where nobody else does; so a dead mount or a
/// stuck bus holds up its own class only.
///
/// Destroying it ends all subscriptions and waits for its threads, as long as a provider needs to answer.
class EventService final : public Notifier {
 public:
  struct Options {
    EventSettings settings = {};
    /// How long the polling thread may be held up before another takes over, roughly.
    std::chrono::milliseconds patience = std::chrono::milliseconds(250);
    /// How long a new subscription may wait for its class to be enumerated; then it is refused.
    std::chrono::milliseconds admission = std::chrono::seconds(10);
    /// Threads at most; when all of them are held up, the rest waits until one returns.
    std::size_t most_threads = 16;
    /// Begins a thread, or raises std::system_error; empty for the system's own way.
    std::function<std::thread(std::function<void()> work)> begin_thread = {};
  };

  EventService();
  explicit EventService(Options options);
  ~EventService() override;
  EventService(const EventService&) = delete;
  EventService& operator=(const EventService&) = delete;

  void subscribe(const NotificationRequest& request) override;

  /// Threads at work and at watch.
  [[nodiscard]] std::size_t threads();

 private:
  class Crew;
  const Options options_;
  std::shared_ptr<Crew> crew_;
  std::shared_ptr<EventEngine> engine_;
};

}  // namespace kvwmi::embedded
