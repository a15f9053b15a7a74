#pragma once

#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-id128.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "linux/machine.h"
#include "linux/providers/system_bus.h"

namespace kvwmi::ground::testing {

/// The other end of a bus connection: a thread that answers method calls as the test says.
class FakeBus {
 public:
  /// Answers a call, through sd_bus_reply_method_return or _errorf, or not at all.
  using Answer = std::function<int(sd_bus_message* call)>;

  explicit FakeBus(Answer answer) : answer_(std::move(answer)) {}
  FakeBus(const FakeBus&) = delete;
  FakeBus& operator=(const FakeBus&) = delete;
  ~FakeBus() {
    for (std::thread& thread : threads_) thread.join();
  }

  /// A client's connection, for any thread; it must be closed before this object ends.
  Bus connect() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
      throw std::runtime_error("no socket pair");
    {
      const std::lock_guard lock(mutex_);
      threads_.emplace_back([this, end = ends[1]] { serve(end); });
    }
    sd_bus* made = nullptr;
    if (sd_bus_new(&made) < 0 || sd_bus_set_fd(made, ends[0], ends[0]) < 0 || sd_bus_start(made) < 0) {
      throw std::runtime_error("no connection");
    }
    return Bus(made);
  }

  /// "Member" of every call so far, in order.
  std::vector<std::string> calls() {
    const std::lock_guard lock(mutex_);
    return calls_;
  }

 private:
  void serve(int end) {
    sd_bus* made = nullptr;
    sd_bus_new(&made);
    const Bus bus(made);
    sd_id128_t identity{};
    sd_id128_randomize(&identity);
    sd_bus_set_fd(made, end, end);
    sd_bus_set_server(made, 1, identity);
    sd_bus_set_anonymous(made, 1);
    sd_bus_add_filter(made, nullptr, on_message, this);
    if (sd_bus_start(made) < 0) return;
    while (true) {
      const int processed = sd_bus_process(made, nullptr);
      if (processed < 0) return;  // the client has gone
      if (processed == 0 && sd_bus_wait(made, UINT64_MAX) < 0) return;
    }
  }

  static int on_message(sd_bus_message* message, void* self, sd_bus_error*) {
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0) return 0;
    auto& fake = *static_cast<FakeBus*>(self);
    {
      const std::lock_guard lock(fake.mutex_);
      fake.calls_.emplace_back(sd_bus_message_get_member(message));
    }
    fake.answer_(message);
    return 1;
  }

  Answer answer_;
  std::mutex mutex_;
  std::vector<std::string> calls_;
  std::vector<std::thread> threads_;
};

/// Sends a signal to whom a call came from.
template <typename... Arguments>
void emit(sd_bus_message* call, const providers::BusObject& from, const char* member, const char* types,
          Arguments... arguments) {
  sd_bus_message* made = nullptr;
  providers::check(
      sd_bus_message_new_signal(sd_bus_message_get_bus(call), &made, from.path, from.interface, member));
  const providers::Message signal(made);
  providers::check(sd_bus_message_set_sender(signal.get(), from.service));
  providers::check(sd_bus_message_append(signal.get(), types, arguments...));
  providers::check(sd_bus_send(sd_bus_message_get_bus(call), signal.get(), nullptr));
}

}  // namespace kvwmi::ground::testing
