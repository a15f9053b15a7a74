#pragma once

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "linux/descriptor.h"
#include "linux/mailbox.h"

namespace kvwmi::ground {

/// What this ground keeps in a thread's sd-event default loop: a mailbox and timers. Everything in it is a
/// descriptor, so that the loop's own descriptor is readable whenever there is something to do, and a foreign
/// loop needs to watch nothing else.
class ThreadLoop {
 public:
  /// The calling thread's; made when first asked for, closed when the thread ends.
  static ThreadLoop& current();

  ThreadLoop();
  ~ThreadLoop();
  ThreadLoop(const ThreadLoop&) = delete;
  ThreadLoop& operator=(const ThreadLoop&) = delete;

  [[nodiscard]] sd_event* event() const noexcept { return event_.get(); }
  /// Stays usable, and does nothing, after the thread's end.
  [[nodiscard]] const std::shared_ptr<Mailbox>& mailbox() const noexcept { return mailbox_; }

  using TimerId = std::uint64_t;
  TimerId set_timer(std::chrono::milliseconds period, std::function<void()> tick);
  void kill_timer(TimerId id);

  /// One turn of the loop; a nested turn raises.
  bool run_once(std::chrono::milliseconds timeout);

 private:
  struct Timer;
  struct EventCloser {
    void operator()(sd_event* event) const noexcept { sd_event_unref(event); }
  };

  std::unique_ptr<sd_event, EventCloser> event_;
  std::shared_ptr<Mailbox> mailbox_;
  sd_event_source* mail_ = nullptr;
  std::map<TimerId, std::shared_ptr<Timer>> timers_;
  TimerId last_timer_ = 0;
};

}  // namespace kvwmi::ground
