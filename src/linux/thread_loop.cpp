#include "linux/thread_loop.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "frame/deadline.h"
#include "frame/diagnostics.h"
#include "frame/runtime_error.h"
#include "linux/system_error.h"

namespace kvwmi::ground {
struct ThreadLoop::Timer : std::enable_shared_from_this<Timer> {
  Descriptor descriptor;
  sd_event_source* source = nullptr;
  std::function<void()> tick;

  ~Timer() { sd_event_source_disable_unref(source); }

  static int fired(sd_event_source*, int descriptor, std::uint32_t, void* userdata) {
    // The tick may kill its own timer.
    const auto self = static_cast<Timer*>(userdata)->shared_from_this();
    std::uint64_t expirations = 0;
    // Ticks that were missed meanwhile count as one.
    if (::read(descriptor, &expirations, sizeof expirations) < 0) return 0;
    try {
      self->tick();
    } catch (...) {
      report_pending_error();
    }
    return 0;
  }
};

ThreadLoop& ThreadLoop::current() {
  thread_local ThreadLoop loop;
  return loop;
}

ThreadLoop::ThreadLoop() : mailbox_(std::make_shared<Mailbox>()) {
  sd_event* event = nullptr;
  checked(sd_event_default(&event), "sd_event_default");
  event_.reset(event);
  const auto deliver = [](sd_event_source*, int, std::uint32_t, void* userdata) {
    // The thread may end its loop's life in the middle of a delivery.
    const std::shared_ptr<Mailbox> mailbox = static_cast<ThreadLoop*>(userdata)->mailbox_;
    mailbox->run();
    return 0;
  };
  checked(sd_event_add_io(event, &mail_, mailbox_->descriptor(), EPOLLIN, deliver, this), "sd_event_add_io");
}

ThreadLoop::~ThreadLoop() {
  mailbox_->close();
  timers_.clear();
  sd_event_source_disable_unref(mail_);
}

ThreadLoop::TimerId ThreadLoop::set_timer(std::chrono::milliseconds period, std::function<void()> tick) {
  const auto timer = std::make_shared<Timer>();
  timer->tick = std::move(tick);
  timer->descriptor = Descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  if (!timer->descriptor) throw system_error(errno, "timerfd_create");
  const auto seconds = std::chrono::floor<std::chrono::seconds>(period);
  const std::chrono::nanoseconds rest = period - seconds;
  const timespec interval{seconds.count(), rest.count()};
  const itimerspec schedule{interval, interval};
  if (::timerfd_settime(timer->descriptor.get(), 0, &schedule, nullptr) < 0) {
    throw system_error(errno, "timerfd_settime");
  }
  checked(
      sd_event_add_io(event(), &timer->source, timer->descriptor.get(), EPOLLIN, &Timer::fired, timer.get()),
      "sd_event_add_io");
  timers_.emplace(++last_timer_, timer);
  return last_timer_;
}

void ThreadLoop::kill_timer(TimerId id) {
  const auto found = timers_.find(id);
  if (found == timers_.end()) return;
  const std::shared_ptr<Timer> timer = found->second;
  timers_.erase(found);
  timer->source = sd_event_source_disable_unref(timer->source);
}

// NOLINTNEXTLINE(readability-make-member-function-const): what it runs changes the loop
bool ThreadLoop::run_once(std::chrono::milliseconds timeout) {
  if (sd_event_get_state(event()) == SD_EVENT_RUNNING) {
    throw runtime_error(RuntimeError::invalid_procedure_call);
  }
  // What the clock can hold fits into microseconds too.
  const std::chrono::microseconds wait = left_until(deadline_after(timeout));
  return checked(sd_event_run(event(), static_cast<std::uint64_t>(wait.count())), "sd_event_run") > 0;
}

}  // namespace kvwmi::ground
