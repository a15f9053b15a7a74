#include "agent/wakeup.h"

#ifndef _WIN32
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <system_error>
#endif

namespace kvwmi::agent {

#ifdef _WIN32

void wake() noexcept {}

Waiter::Waiter(std::initializer_list<int>) {}
Waiter::~Waiter() = default;
void Waiter::wait(std::chrono::milliseconds) const {}

#else

namespace {

// The process's own, never closed: a signal may come at any time.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): a signal handler sees nothing else
std::atomic<int> wakeup{-1};
static_assert(std::atomic<int>::is_always_lock_free);

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

void wake() noexcept {
  const int before = errno;  // which a signal handler must leave as it is
  constexpr std::uint64_t kOnce = 1;
  if (wakeup >= 0 && write(wakeup, &kOnce, sizeof kOnce) < 0) {
    // It is as full as can be, and wakes.
  }
  errno = before;
}

Waiter::Waiter(std::initializer_list<int> descriptors) {
  if (wakeup < 0) wakeup = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeup < 0) fail("eventfd");
  epoll_ = epoll_create1(EPOLL_CLOEXEC);
  if (epoll_ < 0) fail("epoll_create1");
  const auto add = [this](int descriptor) {
    epoll_event readable{EPOLLIN, {}};
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &readable) == 0) return;
    const int error = errno;
    close(epoll_);
    errno = error;
    fail("epoll_ctl");
  };
  add(wakeup);
  std::for_each(descriptors.begin(), descriptors.end(), add);
}

Waiter::~Waiter() {
  close(epoll_);
}

void Waiter::wait(std::chrono::milliseconds limit) const {
  constexpr std::chrono::milliseconds kLongest{std::numeric_limits<int>::max()};
  epoll_event ready{};
  epoll_wait(epoll_, &ready, 1, static_cast<int>(std::min(limit, kLongest).count()));
  std::uint64_t times = 0;
  if (read(wakeup, &times, sizeof times) < 0) {
    // Nobody woke it.
  }
}

#endif

}  // namespace kvwmi::agent
