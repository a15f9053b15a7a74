#pragma once

#include <chrono>
#include <initializer_list>

/// Waiting for what happens outside of the message loop, where that has descriptors (Linux).
namespace kvwmi::agent {

/// Ends the present wait of a Waiter, or the next one. Any thread and any signal handler may call it.
void wake() noexcept;

class Waiter {
 public:
  /// For these descriptors, all readable when there is something to do.
  Waiter(std::initializer_list<int> descriptors);
  ~Waiter();
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;

  /// Waits until one of them is readable, somebody wakes it, or `limit` has passed.
  void wait(std::chrono::milliseconds limit) const;

 private:
  int epoll_ = -1;
};

}  // namespace kvwmi::agent
