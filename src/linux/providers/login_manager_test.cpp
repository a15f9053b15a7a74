#include "linux/providers/login_manager.h"

#include <atomic>
#include <string_view>

#include "kvwmi/error.h"
#include "linux/testing/fake_bus.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground::providers {
namespace {

using testing::FakeBus;
using testing::RecordedMachine;
using Calls = std::vector<std::string>;

bool is(sd_bus_message* call, std::string_view member) {
  return member == sd_bus_message_get_member(call);
}
bool is_for(sd_bus_message* call, std::string_view interface) {
  return interface == sd_bus_message_get_interface(call);
}

class LoginManagers : public ::testing::Test {
 protected:
  LoginManagers() {
    machine.open_system_bus = [this] { return bus.connect(); };
  }
  /// The number of the error that `steps` raise; 0 for none.
  template <typename Steps>
  static std::uint32_t raised(Steps&& steps) {
    try {
      static_cast<void>(steps());
    } catch (const Error& error) {
      return static_cast<std::uint32_t>(error.number());
    }
    return 0;
  }

  FakeBus::Answer answer = [](sd_bus_message* call) { return sd_bus_reply_method_return(call, nullptr); };
  FakeBus bus{[this](sd_bus_message* call) { return answer(call); }};
  RecordedMachine machine;
};

TEST_F(LoginManagers, EndsOfTheRunHaveTheirOwnCalls) {
  LoginManager manager(machine);
  EXPECT_EQ(manager.shut_down(Shutdown::reboot, false), 0U);
  EXPECT_EQ(manager.shut_down(Shutdown::halt, false), 0U);
  EXPECT_EQ(manager.shut_down(Shutdown::power_off, false), 0U);
  EXPECT_EQ(manager.shut_down(Shutdown::reboot, true), 0U);
  EXPECT_EQ(bus.calls(), (Calls{"Reboot", "Halt", "PowerOff", "RebootWithFlags"}));
}

TEST_F(LoginManagers, OlderOnesHaveNoForce) {
  answer = [](sd_bus_message* call) {
    if (is(call, "PowerOffWithFlags"))
      return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_METHOD, "no");
    return sd_bus_reply_method_return(call, nullptr);
  };
  EXPECT_EQ(LoginManager(machine).shut_down(Shutdown::power_off, true), 0U);
  EXPECT_EQ(bus.calls(), (Calls{"PowerOffWithFlags", "PowerOff"}));
}

TEST_F(LoginManagers, WithoutTheRightThePrivilegeIsNotHeld) {
  for (const char* name : {SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_INTERACTIVE_AUTHORIZATION_REQUIRED}) {
    answer = [name](sd_bus_message* call) { return sd_bus_reply_method_errorf(call, name, "no"); };
    EXPECT_EQ(raised([&] { return LoginManager(machine).shut_down(Shutdown::reboot, false); }), 0x80041062)
        << name;
    EXPECT_EQ(raised([&] { return LoginManager(machine).log_off(); }), 0x80041062) << name;
  }
}

TEST_F(LoginManagers, WithoutOneTheServiceManagerIsAsked) {
  answer = [](sd_bus_message* call) {
    if (is_for(call, "org.freedesktop.login1.Manager")) {
      return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_SERVICE_UNKNOWN, "no");
    }
    return sd_bus_reply_method_return(call, nullptr);
  };
  EXPECT_EQ(LoginManager(machine).shut_down(Shutdown::reboot, false), 0U);
  EXPECT_EQ(bus.calls(), (Calls{"Reboot", "Reboot"}));
}

TEST_F(LoginManagers, OtherAnswersAreAFailure) {
  answer = [](sd_bus_message* call) { return sd_bus_reply_method_errorf(call, "org.example.Odd", "no"); };
  EXPECT_EQ(raised([&] { return LoginManager(machine).shut_down(Shutdown::halt, false); }), 0x80041004);
  EXPECT_EQ(bus.calls(), Calls{"Halt"}) << "asked once";
}

TEST_F(LoginManagers, LogOffEndsTheSessionInFrontOfTheSeat) {
  std::string ended;
  answer = [&ended](sd_bus_message* call) {
    if (is(call, "Get")) {
      return sd_bus_reply_method_return(call, "v", "(so)", "c7", "/org/freedesktop/login1/session/c7");
    }
    const char* session = nullptr;
    sd_bus_message_read(call, "s", &session);
    ended = session;
    return sd_bus_reply_method_return(call, nullptr);
  };
  EXPECT_EQ(LoginManager(machine).log_off(), 0U);
  EXPECT_EQ(bus.calls(), (Calls{"Get", "TerminateSession"}));
  EXPECT_EQ(ended, "c7");
}

TEST_F(LoginManagers, LogOffWithoutAnySessionSaysSo) {
  answer = [](sd_bus_message* call) {
    if (is(call, "GetSessionByPID")) {
      return sd_bus_reply_method_errorf(call, "org.freedesktop.login1.NoSessionForPID", "no");
    }
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_OBJECT, "no");
  };
  EXPECT_EQ(LoginManager(machine).log_off(), 1312U);
}

TEST_F(LoginManagers, SessionsAreCounted) {
  answer = [](sd_bus_message* call) {
    return sd_bus_reply_method_return(call, "a(susso)", 2, "1", 1000U, "me", "seat0", "/s/1", "2", 1001U,
                                      "you", "", "/s/2");
  };
  LoginManager manager(machine);
  EXPECT_EQ(manager.sessions(), 2U);
  answer = [](sd_bus_message* call) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_SERVICE_UNKNOWN, "no");
  };
  EXPECT_EQ(manager.sessions(), std::nullopt);
}

TEST_F(LoginManagers, OneThatDoesNotAnswerIsNotWaitedForLong) {
  answer = [](sd_bus_message*) { return 0; };
  const auto started = std::chrono::steady_clock::now();
  EXPECT_EQ(LoginManager(machine).sessions(), std::nullopt);
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20));
}

TEST_F(LoginManagers, BrokenConnectionIsReplaced) {
  LoginManager manager(machine);
  answer = [](sd_bus_message* call) {
    return sd_bus_reply_method_return(call, "a(susso)", 1, "1", 1000U, "me", "seat0", "/s/1");
  };
  EXPECT_EQ(manager.sessions(), 1U);
  std::atomic<int> hung_up = 0;
  answer = [&hung_up](sd_bus_message* call) {
    if (hung_up++ == 0) {
      sd_bus_close(sd_bus_message_get_bus(call));
      return 0;
    }
    return sd_bus_reply_method_return(call, "a(susso)", 1, "1", 1000U, "me", "seat0", "/s/1");
  };
  EXPECT_EQ(manager.sessions(), 1U);
  EXPECT_EQ(hung_up, 2);
}

}  // namespace
}  // namespace kvwmi::ground::providers
