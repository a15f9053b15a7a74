#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>

#include "frame/wmi_access.h"
#include "wmi/events/delivery.h"

namespace kvwmi::embedded {

/// The way of events to one sink. It outlives the sink in the subscriptions that have not heard yet that the
/// sink is gone.
class EventChannel : public std::enable_shared_from_this<EventChannel> {
 public:
  EventChannel(wmi::ObjectReady handler, std::shared_ptr<Delivery> delivery)
      : handler_(std::move(handler)), delivery_(std::move(delivery)) {}

  // ---- any thread

  [[nodiscard]] bool is_open() const noexcept { return open_.load(std::memory_order_acquire); }
  /// Hands an event on. False when `most_pending` events wait already: the subscriber does not run its loop.
  /// Raises what the loop raises that does not take it.
  bool send(std::function<std::shared_ptr<wmi::Object>()> make_event,
            std::shared_ptr<const wmi::NamedValues> context, std::size_t most_pending);

  // ---- the subscriber's thread

  /// Has `notice` called when the sink goes; of several for one `listener` the last, since a listener that is
  /// gone may have stood at the same address.
  void on_close(const void* listener, std::function<void()> notice) {
    notices_.insert_or_assign(listener, std::move(notice));
  }
  void close();

 private:
  void deliver(wmi::Object& event, const wmi::NamedValues& context);

  std::atomic<bool> open_ = true;
  std::atomic<std::size_t> pending_ = 0;
  bool delivering_ = false;
  wmi::ObjectReady handler_;
  const std::shared_ptr<Delivery> delivery_;
  std::map<const void*, std::function<void()>> notices_;
};

/// A sink of the embedded service. With its last reference its subscriptions end; nothing is delivered after
/// that, not even what was posted before.
class EventSink final : public wmi::Sink {
 public:
  EventSink(wmi::ObjectReady handler, std::shared_ptr<Delivery> delivery)
      : channel_(std::make_shared<EventChannel>(std::move(handler), std::move(delivery))) {}
  ~EventSink() override { channel_->close(); }
  EventSink(const EventSink&) = delete;
  EventSink& operator=(const EventSink&) = delete;

  [[nodiscard]] const std::shared_ptr<EventChannel>& channel() const noexcept { return channel_; }

 private:
  std::shared_ptr<EventChannel> channel_;
};

}  // namespace kvwmi::embedded
