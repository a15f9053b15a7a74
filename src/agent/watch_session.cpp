#include "agent/watch_session.h"

#include <algorithm>
#include <array>
#include <csignal>

#include "agent/terminal.h"
#include "kvwmi/diagnostics.h"
#include "kvwmi/message_loop.h"

namespace kvwmi::agent {
namespace {

using namespace std::chrono_literals;

// Signal handlers see nothing but globals.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables)
volatile std::sig_atomic_t interrupted = 0;
std::chrono::steady_clock::time_point interrupted_at;  // only handlers look at it
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

void note_interrupt(int) {
  if (interrupted == 0) interrupted_at = std::chrono::steady_clock::now();
  interrupted = 1;
  wake();
}

/// Whoever asks again gets an end at once. Some ask twice in the same moment and mean once, such as timeout,
/// which signals its command and then the whole group.
void insist_on_interrupt(int signal) {
  constexpr auto kSameMoment = 200ms;
  const bool again = interrupted != 0 && std::chrono::steady_clock::now() - interrupted_at >= kSameMoment;
  // Windows lets go of a handler when it calls it.
  std::signal(signal, again ? SIG_DFL : insist_on_interrupt);
  if (!again) return note_interrupt(signal);
  std::raise(signal);
}

struct Handled {
  int signal;
  void (*handler)(int);
};
constexpr std::array kHandled{
    Handled{SIGINT, insist_on_interrupt},
    Handled{SIGTERM, insist_on_interrupt},
#ifndef _WIN32
    // At a terminal's end it comes from the shell and from the system, not always in the same moment.
    Handled{SIGHUP, note_interrupt},
    // Not SIG_IGN, which a scenario's commands would inherit.
    Handled{SIGPIPE, [](int) {}},
#endif
};

}  // namespace

Interrupt::Interrupt() {
  for (const Handled& handled : kHandled) {
    const auto before = std::signal(handled.signal, handled.handler);
    before_.emplace_back(handled.signal, before);
    // Who runs it under nohup or in a script's background means it to go on.
    if (before == SIG_IGN) std::signal(handled.signal, SIG_IGN);
  }
}

Interrupt::~Interrupt() {
  for (const auto& [signal, handler] : before_) std::signal(signal, handler);
  interrupted = 0;
}

bool Interrupt::pending() noexcept {
  return interrupted != 0;
}

bool stop_asked(Console& console) {
  return Interrupt::pending() || !console.out();
}

WatchSession::WatchSession()
    : event_name_("kvwmi-" + process_identity()),
      event_(event_name_, NamedEvent::Reset::automatic),
      failures_(std::make_shared<Failures>()) {
  supervision_.p_strSupervisionEventName(event_name_);
  supervision_.m_Initialize();
  if (const int loop = message_loop::file_descriptor(); loop >= 0)
    waiter_.emplace({loop, static_cast<int>(event_.native_handle())});
  set_diagnostic_hook([failures = failures_](const Error& error) { failures->add(error); });
}

WatchSession::~WatchSession() {
  set_diagnostic_hook({});
  try {
    supervision_.m_Release();
  } catch (const Error&) {
    // The program ends; there is nothing left to release.
  }
}

void WatchSession::wait(std::chrono::steady_clock::time_point deadline) {
  const auto something = [this] { return Interrupt::pending() || event_.wait(0ms) || failures_->any(); };
  const auto left = [&] {
    const auto rest = deadline - std::chrono::steady_clock::now();
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(rest), 0ms);
  };
  if (!waiter_) {
    message_loop::run_until(something, left());  // asks again and again
    return;
  }
  while (!something() && left() > 0ms) {
    waiter_->wait(left());
    message_loop::run_once(0ms);
  }
}

void WatchSession::catch_up() {
  constexpr auto kLongest = 1s;  // a loop may have more to do each time it is run
  const auto end = std::chrono::steady_clock::now() + kLongest;
  while (std::chrono::steady_clock::now() < end && message_loop::run_once(0ms)) {
  }
}

std::vector<WatchEvent> WatchSession::drain(std::int32_t step, bool undetected) {
  std::vector<WatchEvent> events;
  for (;;) {
    WatchEvent event{std::chrono::system_clock::now(), step, 0, "", undetected};
    supervision_.m_PopEventInfos(step, event.supervision, event.detail);
    if (event.supervision == 0) return events;
    events.push_back(std::move(event));
  }
}

std::vector<Error> WatchSession::new_failures() {
  return failures_->take();
}

}  // namespace kvwmi::agent
