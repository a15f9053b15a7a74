#include "linux/providers/login_manager.h"

#include <atomic>
#include <mutex>
#include <string>
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

/// The number that a call came with.
std::uint64_t argument_of(sd_bus_message* call) {
  std::uint64_t flags = 0;
  int interactive = 0;
  if (sd_bus_message_has_signature(call, "t") > 0) sd_bus_message_read(call, "t", &flags);
  if (sd_bus_message_has_signature(call, "b") > 0) sd_bus_message_read(call, "b", &interactive);
  sd_bus_message_rewind(call, 1);
  return flags + static_cast<std::uint64_t>(interactive);
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
  std::mutex mutex;
  Calls seen;  ///< by the connections' threads
  FakeBus bus{[this](sd_bus_message* call) {
    {
      const std::scoped_lock lock(mutex);
      seen.push_back(std::string(sd_bus_message_get_member(call)) + " " + std::to_string(argument_of(call)));
    }
    return answer(call);
  }};
  RecordedMachine machine;

  /// Each call with its number.
  Calls asked() {
    const std::scoped_lock lock(mutex);
    return seen;
  }
};

TEST_F(LoginManagers, EndsOfTheRunHaveTheirOwnCallsThatWaitForThoseWhoHoldThemUp) {
  LoginManager manager(machine);
  EXPECT_EQ(manager.shut_down(Shutdown::reboot, false), 0U);
  EXPECT_EQ(manager.shut_down(Shutdown::halt, false), 0U);
  EXPECT_EQ(manager.shut_down(Shutdown::power_off, false), 0U);
  EXPECT_EQ(asked(), (Calls{"RebootWithFlags 1", "HaltWithFlags 1", "PowerOffWithFlags 1"}));
}

TEST_F(LoginManagers, ForceOverrulesThem) {
  EXPECT_EQ(LoginManager(machine).shut_down(Shutdown::reboot, true), 0U);
  EXPECT_EQ(asked(), Calls{"RebootWithFlags 16"});
}

TEST_F(LoginManagers, OlderOnesOverruleThemWithoutAFlag) {
  answer = [](sd_bus_message* call) {
    const bool knows = argument_of(call) < 16;
    return knows ? sd_bus_reply_method_return(call, nullptr)
                 : sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "no such flag");
  };
  EXPECT_EQ(LoginManager(machine).shut_down(Shutdown::reboot, true), 0U);
  EXPECT_EQ(asked(), (Calls{"RebootWithFlags 16", "RebootWithFlags 0"}));
}

TEST_F(LoginManagers, AFlagThatNoVersionTakesIsAFailure) {
  answer = [](sd_bus_message* call) {
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "no such flag");
  };
  EXPECT_EQ(raised([&] { return LoginManager(machine).shut_down(Shutdown::reboot, false); }), 0x80041004);
  EXPECT_EQ(raised([&] { return LoginManager(machine).shut_down(Shutdown::reboot, true); }), 0x80041004);
  EXPECT_EQ(asked(), (Calls{"RebootWithFlags 1", "RebootWithFlags 16", "RebootWithFlags 0"}));
}

TEST_F(LoginManagers, TheOldestOnesHaveNoFlags) {
  answer = [](sd_bus_message* call) {
    if (is(call, "PowerOffWithFlags"))
      return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_METHOD, "no");
    return sd_bus_reply_method_return(call, nullptr);
  };
  EXPECT_EQ(LoginManager(machine).shut_down(Shutdown::power_off, true), 0U);
  EXPECT_EQ(LoginManager(machine).shut_down(Shutdown::power_off, false), 0U);
  EXPECT_EQ(asked(), (Calls{"PowerOffWithFlags 16", "PowerOff 0", "PowerOffWithFlags 1", "PowerOff 0"}))
      << "0 in the plain call: nobody is asked for a password";
}

TEST_F(LoginManagers, WithoutTheRightThePrivilegeIsNotHeld) {
  for (const char* name : {SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_INTERACTIVE_AUTHORIZATION_REQUIRED,
                           "org.freedesktop.login1.BlockedByInhibitorLock"}) {
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
  EXPECT_EQ(bus.calls(), (Calls{"RebootWithFlags", "Reboot"}));
}

TEST_F(LoginManagers, OtherAnswersAreAFailure) {
  answer = [](sd_bus_message* call) { return sd_bus_reply_method_errorf(call, "org.example.Odd", "no"); };
  EXPECT_EQ(raised([&] { return LoginManager(machine).shut_down(Shutdown::halt, false); }), 0x80041004);
  EXPECT_EQ(bus.calls(), Calls{"HaltWithFlags"}) << "asked once";
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
