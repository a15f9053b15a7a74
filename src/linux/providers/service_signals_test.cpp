#include "linux/providers/service_signals.h"

#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

#include "frame/testing/eventually.h"
#include "linux/testing/fake_bus.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground::providers {
namespace {

using namespace std::chrono_literals;
using testing::emit;
using testing::FakeBus;
using testing::RecordedMachine;

constexpr const char* kUnit = "org.freedesktop.systemd1.Unit";
constexpr const char* kCron = "/org/freedesktop/systemd1/unit/cron_2eservice";
constexpr const char* kMount = "/org/freedesktop/systemd1/unit/home_2emount";

class ServiceSignalsTest : public ::testing::Test {
 protected:
  ServiceSignalsTest() {
    machine.open_system_bus = [this] {
      ++connections;
      return bus_there ? bus.connect() : Bus();
    };
  }
  static void unit_changed(sd_bus_message* call, const char* path) {
    emit(call, {kServiceManager.service, path, kPropertiesInterface}, "PropertiesChanged", "sa{sv}as", kUnit,
         0, 0);
  }
  static void unit_came(sd_bus_message* call, const char* unit) {
    emit(call, kServiceManager, "UnitNew", "so", unit, kCron);
  }

  std::atomic<int> connections = 0;
  std::atomic<bool> bus_there = true;
  std::function<void(sd_bus_message* call)> when_heard = [](sd_bus_message*) {};
  FakeBus bus{[this](sd_bus_message* call) {
    const int sent = sd_bus_reply_method_return(call, nullptr);
    when_heard(call);
    return sent;
  }};
  RecordedMachine machine;
};

TEST_F(ServiceSignalsTest, ListeningBeginsWithTheFirstQuestion) {
  {
    ServiceSignals signals(machine);
    EXPECT_EQ(connections, 0);
    EXPECT_EQ(signals.count(), std::nullopt) << "nobody waits for the bus";
    EXPECT_TRUE(kvwmi::testing::eventually([&] { return signals.count() == 1U; }));
  }
  EXPECT_EQ(bus.calls(), std::vector<std::string>{"Subscribe"});
}

TEST_F(ServiceSignalsTest, CountsWhatMayHaveChangedAServiceAndNothingElse) {
  when_heard = [](sd_bus_message* call) {
    unit_changed(call, kMount);
    unit_came(call, "home.mount");
    emit(call, {kServiceManager.service, kCron, kPropertiesInterface}, "PropertiesChanged", "sa{sv}as",
         "org.freedesktop.systemd1.Service", 0, 0);  // comes along with the unit's own
    emit(call, kServiceManager, "JobNew", "uos", 1, "/job", "cron.service");
    unit_changed(call, kCron);
    unit_came(call, "late.service");
    emit(call, kServiceManager, "UnitRemoved", "so", "late.service", "/late");
    emit(call, kServiceManager, "UnitFilesChanged", "");
    emit(call, kServiceManager, "Reloading", "b", 1);
    emit(call, kServiceManager, "Reloading", "b", 0);
  };
  ServiceSignals signals(machine);
  EXPECT_TRUE(kvwmi::testing::eventually([&] { return signals.count() == 7U; }));
}

TEST_F(ServiceSignalsTest, ALostBusIsFoundAgainAndCountsAsAChange) {
  std::atomic<int> heard = 0;
  when_heard = [&](sd_bus_message* call) {
    if (heard++ == 0) sd_bus_close(sd_bus_message_get_bus(call));
  };
  ServiceSignals signals(machine);
  EXPECT_TRUE(kvwmi::testing::eventually([&] { return signals.count() >= 2U; }));
  EXPECT_EQ(connections, 2);
}

TEST_F(ServiceSignalsTest, AnotherManagerIsListenedToAnew) {
  std::atomic<int> heard = 0;
  when_heard = [&](sd_bus_message* call) {
    if (heard++ > 0) return;
    emit(call, {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"}, "NameOwnerChanged",
         "sss", kServiceManager.service, ":1.1", "");
  };
  ServiceSignals signals(machine);
  EXPECT_TRUE(kvwmi::testing::eventually([&] { return signals.count() >= 2U; }));
  EXPECT_EQ(connections, 2);
}

TEST_F(ServiceSignalsTest, ListeningEndsItsTimeAfterTheLastQuestion) {
  std::atomic<ino_t> socket = 0;
  machine.open_system_bus = [&] {
    Bus made = bus.connect();
    struct stat status {};
    ::fstat(sd_bus_get_fd(made.get()), &status);
    socket = status.st_ino;
    return made;
  };
  const auto listens = [&] {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code closed_meanwhile;
      const auto target = std::filesystem::read_symlink(entry.path(), closed_meanwhile);
      if (target == "socket:[" + std::to_string(socket) + "]") return true;
    }
    return false;
  };
  constexpr auto kTime = 1500ms;
  ServiceSignals signals(machine, kTime);
  ASSERT_TRUE(kvwmi::testing::eventually([&] { return signals.count().has_value(); }));
  std::this_thread::sleep_for(10ms);  // so that the wait for signals is older than the last question
  const auto asked = std::chrono::steady_clock::now();
  ASSERT_TRUE(signals.count());
  ASSERT_TRUE(listens());
  ASSERT_TRUE(kvwmi::testing::eventually([&] { return !listens(); }));
  const auto listened = std::chrono::steady_clock::now() - asked;
  EXPECT_GE(listened, kTime);
  EXPECT_LT(listened, 2 * kTime - 200ms) << "the wait that was under way was not begun anew";
}

TEST_F(ServiceSignalsTest, WithoutABusNothingIsHeardUntilThereIsOne) {
  bus_there = false;
  ServiceSignals signals(machine);
  EXPECT_TRUE(
      kvwmi::testing::eventually([&] { return signals.count() == std::nullopt && connections >= 2; }));
  bus_there = true;
  EXPECT_TRUE(kvwmi::testing::eventually([&] { return signals.count().has_value(); }));
}

}  // namespace
}  // namespace kvwmi::ground::providers
