#include "linux/providers/system_bus.h"

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "linux/testing/fake_bus.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground::providers {
namespace {

using namespace std::chrono_literals;
using testing::FakeBus;
using testing::RecordedMachine;

constexpr BusObject kObject{"org.example.Service", "/org/example", "org.example.Interface"};

/// Sends a signal with a handler to the thread that made it, again and again, as long as it lives.
class Disturbance {
 public:
  Disturbance() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++handled_; };
    sigaction(SIGUSR1, &action, &before_);
    disturber_ = std::thread([this, disturbed = pthread_self()] {
      while (!over_) {
        pthread_kill(disturbed, SIGUSR1);
        std::this_thread::sleep_for(1ms);
      }
    });
  }
  ~Disturbance() {
    over_ = true;
    disturber_.join();
    sigaction(SIGUSR1, &before_, nullptr);
  }
  Disturbance(const Disturbance&) = delete;
  Disturbance& operator=(const Disturbance&) = delete;

  [[nodiscard]] static int handled() { return handled_; }

 private:
  static inline std::atomic<int> handled_ = 0;
  struct sigaction before_ {};
  std::atomic<bool> over_ = false;
  std::thread disturber_;
};

class SystemBuses : public ::testing::Test {
 protected:
  SystemBuses() {
    machine.open_system_bus = [this] { return bus.connect(); };
  }

  /// The errno of the BusError that `steps` raise; 0 for none.
  template <typename Steps>
  static int raised(Steps&& steps) {
    try {
      steps();
    } catch (const BusError& error) {
      return error.number();
    }
    return 0;
  }

  FakeBus::Answer answer = [](sd_bus_message* call) { return sd_bus_reply_method_return(call, nullptr); };
  FakeBus bus{[this](sd_bus_message* call) { return answer(call); }};
  RecordedMachine machine;
};

TEST_F(SystemBuses, SignalsThatTheProcessHandlesDisturbNoQuestion) {
  answer = [](sd_bus_message* call) {
    // Until the asker was surely interrupted while it waits.
    const int before = Disturbance::handled();
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (Disturbance::handled() < before + 20 && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(1ms);
    }
    return sd_bus_reply_method_return(call, "s", "late");
  };
  const Disturbance disturbance;
  const Bus connection = connect(machine);
  const int before = Disturbance::handled();
  const Message reply = call(connection.get(), kObject, "Ask", 20s);
  EXPECT_GE(Disturbance::handled(), before + 20);
  const char* text = nullptr;
  ASSERT_GE(sd_bus_message_read(reply.get(), "s", &text), 0);
  EXPECT_STREQ(text, "late");
  EXPECT_EQ(bus.calls(), std::vector<std::string>{"Ask"}) << "asked once";
}

TEST_F(SystemBuses, NoAnswerIsATimeoutAlsoUnderSignals) {
  answer = [](sd_bus_message*) { return 0; };
  const Bus connection = connect(machine);
  const Disturbance disturbance;
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ(raised([&] { call(connection.get(), kObject, "Ask", 50ms); }), ETIMEDOUT);
  EXPECT_GE(std::chrono::steady_clock::now() - begun, 50ms);
}

TEST_F(SystemBuses, AnAnswerAfterItsLimitIsNoAnswerToTheNextQuestion) {
  Message first;
  answer = [&](sd_bus_message* call) {
    if (!first) return first.reset(sd_bus_message_ref(call)), 0;
    sd_bus_reply_method_return(first.get(), "s", "first");
    first.reset();
    return sd_bus_reply_method_return(call, "s", "second");
  };
  {
    const Bus connection = connect(machine);
    EXPECT_EQ(raised([&] { call(connection.get(), kObject, "Ask", 20ms); }), ETIMEDOUT);
    const Message reply = call(connection.get(), kObject, "AskAgain", 10s);
    const char* text = nullptr;
    ASSERT_GE(sd_bus_message_read(reply.get(), "s", &text), 0);
    EXPECT_STREQ(text, "second");
  }
}

TEST_F(SystemBuses, OneThatDoesNotGreetIsNotWaitedForLong) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  machine.open_system_bus = [&] {
    sd_bus* made = nullptr;
    EXPECT_GE(sd_bus_new(&made), 0);
    EXPECT_GE(sd_bus_set_fd(made, ends[0], ends[0]), 0);
    EXPECT_GE(sd_bus_start(made), 0);
    return Bus(made);
  };
  EXPECT_EQ(raised([&] { static_cast<void>(connect(machine, 50ms)); }), ETIMEDOUT);
  close(ends[1]);
}

TEST_F(SystemBuses, ErrorAnswersCarryTheirName) {
  answer = [](sd_bus_message* call) { return sd_bus_reply_method_errorf(call, "org.example.No", "no"); };
  const Bus connection = connect(machine);
  try {
    call(connection.get(), kObject, "Ask", 10s);
    FAIL();
  } catch (const BusError& error) {
    EXPECT_TRUE(error.is("org.example.No"));
  }
}

TEST_F(SystemBuses, AKeptConnectionThatBreaksIsReplacedOnce) {
  answer = [](sd_bus_message* call) {
    if (std::string_view(sd_bus_message_get_member(call)) == "Break") {
      sd_bus_close(sd_bus_message_get_bus(call));
      return 0;
    }
    return sd_bus_reply_method_return(call, nullptr);
  };
  SystemBus kept(machine);
  const auto ask = [&](const char* method) {
    kept.with([&](sd_bus* connection) { call(connection, kObject, method, 10s); });
  };
  ask("Ask");
  EXPECT_EQ(raised([&] { ask("Break"); }), ECONNRESET);
  EXPECT_EQ(bus.calls(), (std::vector<std::string>{"Ask", "Break", "Break"}));
  ask("Ask");
}

}  // namespace
}  // namespace kvwmi::ground::providers
