#include "wmi/events/event_sink.h"

#include <utility>

namespace kvwmi::embedded {

bool EventChannel::send(std::function<std::shared_ptr<wmi::Object>()> make_event,
                        std::shared_ptr<const wmi::NamedValues> context, std::size_t most_pending) {
  if (!is_open()) return true;
  if (pending_.fetch_add(1, std::memory_order_relaxed) >= most_pending) {
    pending_.fetch_sub(1, std::memory_order_relaxed);
    return false;
  }
  // Weak: what waits in a loop that never runs again must not keep the channel, which keeps the loop.
  try {
    delivery_->post(
        [weak = weak_from_this(), make_event = std::move(make_event), context = std::move(context)] {
          const auto self = weak.lock();
          if (!self) return;
          self->pending_.fetch_sub(1, std::memory_order_relaxed);
          if (self->is_open()) self->deliver(*make_event(), *context);
        });
  } catch (...) {
    pending_.fetch_sub(1, std::memory_order_relaxed);
    throw;
  }
  return true;
}

void EventChannel::deliver(wmi::Object& event, const wmi::NamedValues& context) {
  // The handler may drop the sink, which must not destroy the handler under its own feet.
  struct Delivering {
    EventChannel& channel;
    explicit Delivering(EventChannel& c) : channel(c) { channel.delivering_ = true; }
    ~Delivering() {
      channel.delivering_ = false;
      if (!channel.is_open()) channel.handler_ = nullptr;
    }
  };
  const Delivering delivering(*this);
  if (handler_) handler_(event, context);
}

void EventChannel::close() {
  open_.store(false, std::memory_order_release);
  // The handler belongs to the subscriber's thread and ends there, whoever holds the channel last.
  if (!delivering_) handler_ = nullptr;
  for (const auto& [listener, notice] : std::exchange(notices_, {})) notice();
}

}  // namespace kvwmi::embedded
