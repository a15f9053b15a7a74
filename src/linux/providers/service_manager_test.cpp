#include "linux/providers/service_manager.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "frame/testing/eventually.h"
#include "linux/testing/fake_bus.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground::providers {
namespace {

using namespace std::chrono_literals;
using testing::FakeBus;
using testing::RecordedMachine;

int answered(sd_bus_message* call) {
  const std::string_view member = sd_bus_message_get_member(call);
  if (member == "ListUnits") return sd_bus_reply_method_return(call, "a(ssssssouso)", 0);
  if (member == "LoadUnit") return sd_bus_reply_method_return(call, "o", "/loaded");
  if (std::string_view(sd_bus_message_get_path(call)) == "/loaded") {
    return sd_bus_reply_method_return(call, "v", "s", "Told by the manager");
  }
  if (member == "Get") return sd_bus_reply_method_return(call, "v", "as", 2, "/units", "/more/units");
  return sd_bus_reply_method_return(call, nullptr);
}

class ServiceManagerTest : public ::testing::Test {
 protected:
  ServiceManagerTest() {
    machine.open_system_bus = [this] { return bus.connect(); };
    machine.write("/units/one.service", "[Unit]\nDescription=One\n");
  }
  /// Whether `steps` make another number of changes().
  template <typename Steps>
  [[nodiscard]] bool changes(ServiceManager& manager, Steps&& steps) {
    const auto before = manager.changes();
    EXPECT_TRUE(before);
    EXPECT_EQ(manager.changes(), before) << "nothing has happened";
    steps();
    return manager.changes() != before;
  }

  FakeBus bus{&answered};
  RecordedMachine machine;
};

TEST_F(ServiceManagerTest, ChangesAreKnownOnceTheManagerIsHeardAndTheServicesAreListed) {
  ServiceManager manager(machine);
  EXPECT_EQ(manager.changes(), std::nullopt);
  const auto is_heard = [&] {
    const auto calls = bus.calls();
    return std::find(calls.begin(), calls.end(), "Subscribe") != calls.end();
  };
  EXPECT_TRUE(kvwmi::testing::eventually(is_heard));
  EXPECT_EQ(manager.changes(), std::nullopt) << "the folders are not known yet";
  ASSERT_EQ(manager.services().size(), 1U);
  ASSERT_TRUE(kvwmi::testing::eventually([&] { return manager.changes().has_value(); }));

  EXPECT_TRUE(changes(manager, [&] { machine.write("/units/two.service", ""); }));
  EXPECT_TRUE(changes(manager, [&] { machine.remove("/units/two.service"); }));
  EXPECT_TRUE(changes(manager, [&] { machine.write("/more/units/three.service", ""); })) << "a new folder";
  EXPECT_TRUE(changes(manager, [&] { machine.booted += 1min; })) << "for what changes without a word";
  EXPECT_EQ(manager.services().size(), 2U);
}

TEST_F(ServiceManagerTest, TheManagerDescribesWhatThisProcessCannotRead) {
  machine.link("/units/secret.service", std::string(300, 'a') + "/secret.service");
  ServiceManager manager(machine);
  const std::vector<Unit> units = manager.services();
  ASSERT_EQ(units.size(), 2U);
  EXPECT_EQ(units[0].description, "One");
  EXPECT_EQ(units[1].description, "Told by the manager");
  EXPECT_EQ(bus.calls(), (std::vector<std::string>{"ListUnits", "Get", "LoadUnit", "Get"}));
}

TEST_F(ServiceManagerTest, TheManagerIsAskedAgainWhenAFileChangedAndOnceAMinute) {
  const std::string path = machine.root + "/units/secret.service";
  ASSERT_EQ(mknod(path.c_str(), S_IFSOCK | 0600, 0), 0) << "what nobody can open";
  ServiceManager manager(machine);
  const auto times_asked = [&] {
    const std::vector<Unit> units = manager.services();
    EXPECT_EQ(units.size(), 2U);
    EXPECT_EQ(units.back().description, "Told by the manager");
    return std::ranges::count(bus.calls(), std::string("LoadUnit"));
  };
  EXPECT_EQ(times_asked(), 1);
  EXPECT_EQ(times_asked(), 1);
  std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - 1h);
  EXPECT_EQ(times_asked(), 2);
  EXPECT_EQ(times_asked(), 2);
  machine.write("/more/units/secret.service.d/10.conf", "[Unit]\nDescription=Known\n");
  EXPECT_EQ(times_asked(), 3) << "another file beside it";
  EXPECT_EQ(times_asked(), 3);
  machine.booted += 1min;
  EXPECT_EQ(times_asked(), 4);
  EXPECT_EQ(times_asked(), 4);
}

TEST_F(ServiceManagerTest, FoldersThatChangedJustNowAreReadAgain) {
  ServiceManager manager(machine);
  ASSERT_EQ(manager.services().size(), 1U);
  // As if both files had come within one tick of the kernel's clock.
  const std::filesystem::path folder = machine.root + "/units";
  machine.write("/units/two.service", "");
  const auto time = std::filesystem::last_write_time(folder);
  struct stat status {};
  ASSERT_EQ(stat(folder.c_str(), &status), 0);
  machine.wall = std::chrono::seconds(status.st_mtim.tv_sec) +
                 std::chrono::microseconds(status.st_mtim.tv_nsec / 1000 + 1000);
  EXPECT_EQ(manager.services().size(), 2U);
  machine.write("/units/three.service", "");
  std::filesystem::last_write_time(folder, time);
  machine.wall += 1s;
  EXPECT_EQ(manager.services().size(), 3U);
}

}  // namespace
}  // namespace kvwmi::ground::providers
