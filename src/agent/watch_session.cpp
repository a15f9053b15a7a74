#include "agent/watch_session.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <set>
#include <utility>

#include "agent/terminal.h"
#include "kvwmi/diagnostics.h"
#include "kvwmi/message_loop.h"

namespace kvwmi::agent {
namespace {

using namespace std::chrono_literals;

volatile std::sig_atomic_t interrupted = 0;

void note_interrupt(int) {
  interrupted = 1;
}

struct Handled {
  int signal;
  void (*handler)(int);
};
constexpr std::array kHandled{
    Handled{SIGINT, note_interrupt},
    Handled{SIGTERM, note_interrupt},
#ifndef _WIN32
    Handled{SIGHUP, note_interrupt},
    // Not SIG_IGN, which a scenario's commands would inherit.
    Handled{SIGPIPE, [](int) {}},
#endif
};

}  // namespace

Interrupt::Interrupt() {
  for (const Handled& handled : kHandled) {
    before_.emplace_back(handled.signal, std::signal(handled.signal, handled.handler));
#ifndef _WIN32
    // Who runs it under nohup means it to outlive the terminal.
    if (handled.signal == SIGHUP && before_.back().second == SIG_IGN) std::signal(SIGHUP, SIG_IGN);
#endif
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

struct WatchSession::Failures {
  void add(const Error& error) {
    const std::scoped_lock lock(mutex);
    const std::string text = std::to_string(error.number()) + error.source() + error.description();
    if (told.insert(text).second) fresh.push_back(error);
  }

  [[nodiscard]] bool any() {
    const std::scoped_lock lock(mutex);
    return !fresh.empty();
  }

  std::mutex mutex;
  std::set<std::string> told;
  std::vector<Error> fresh;
};

WatchSession::WatchSession()
    : event_name_("kvwmi-" + process_identity()),
      event_(event_name_, NamedEvent::Reset::automatic),
      failures_(std::make_shared<Failures>()) {
  supervision_.p_strSupervisionEventName(event_name_);
  supervision_.m_Initialize();
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

void WatchSession::wait(std::chrono::steady_clock::time_point deadline,
                        const std::function<bool()>& condition) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  message_loop::run_until(
      [&] { return Interrupt::pending() || event_.wait(0ms) || failures_->any() || condition(); },
      std::max(left, 0ms));
}

std::vector<WatchEvent> WatchSession::drain(std::int32_t step) {
  std::vector<WatchEvent> events;
  for (;;) {
    WatchEvent event{std::chrono::system_clock::now(), step, 0, ""};
    supervision_.m_PopEventInfos(step, event.supervision, event.detail);
    if (event.supervision == 0) return events;
    events.push_back(std::move(event));
  }
}

std::vector<Error> WatchSession::new_failures() {
  const std::scoped_lock lock(failures_->mutex);
  return std::exchange(failures_->fresh, {});
}

std::string utc_text(std::chrono::system_clock::time_point time) {
  using namespace std::chrono;
  const auto whole = floor<milliseconds>(time);
  const auto midnight = floor<days>(whole);
  const year_month_day date(midnight);
  const hh_mm_ss clock(whole - midnight);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int(date.year()),
                unsigned(date.month()), unsigned(date.day()), int(clock.hours().count()),
                int(clock.minutes().count()), int(clock.seconds().count()), int(clock.subseconds().count()));
  return text.data();
}

std::string clock_text(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::array<char, 16> text{};
  std::strftime(text.data(), text.size(), "%H:%M:%S", std::localtime(&seconds));
  return text.data();
}

}  // namespace kvwmi::agent
