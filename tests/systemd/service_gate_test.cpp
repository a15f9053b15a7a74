// What spares a poll for services: the service manager's signals and the folders of unit files. Runs inside a
// systemd of its own (in_systemd).
#include <gtest/gtest.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "frame/testing/eventually.h"
#include "linux/machine.h"
#include "linux/providers/make_providers.h"
#include "support/command.h"
#include "wmi/provider.h"

namespace kvwmi::tests {
namespace {

using namespace std::chrono_literals;
using Token = std::optional<std::uint64_t>;

void run(const std::string& line) {
  ASSERT_EQ(run_shell(line).status, 0) << line;
}

void write_unit(const std::string& name) {
  std::ofstream("/run/systemd/system/" + name)
      << "[Unit]\nDescription=Gate\n[Service]\nExecStart=/bin/sleep infinity\n";
}

class ServiceGate : public ::testing::Test {
 protected:
  ServiceGate() {
    machine_.running_time = [] { return 0ns; };  // once a minute the token changes by itself
    for (auto& made : ground::make_providers(machine_)) {
      if (made->schema().name == "Win32_Service") provider = std::move(made);
    }
    write_unit("kvwmi-gate.service");
    EXPECT_EQ(run_shell("systemctl daemon-reload").status, 0);
    EXPECT_GT(list(), 0U);
    EXPECT_TRUE(settle());
  }
  ~ServiceGate() override {
    ::setfsuid(0);
    run_shell("systemctl stop kvwmi-gate.service");
    ::unlink("/run/systemd/system/kvwmi-gate.service");
  }

  /// The number of services, of each of which a property is read.
  std::size_t list(std::string_view property = "Name") {
    const std::size_t column = provider->schema().find_property(property).value();
    std::size_t rows = 0;
    provider->enumerate({}, [&](const auto& row) {
      static_cast<void>(row->get(column));
      return ++rows;
    });
    return rows;
  }
  [[nodiscard]] Token token() { return provider->change_token({}); }
  /// Has the manager say exactly kFence words after all that it has to say so far: a unit without a file is
  /// loaded, and is gone.
  [[nodiscard]] static bool set_fence() {
    return run_shell(
               "busctl call org.freedesktop.systemd1 /org/freedesktop/systemd1 "
               "org.freedesktop.systemd1.Manager LoadUnit s kvwmi-gate-fence.service")
               .status == 0;
  }
  [[nodiscard]] bool reaches(std::uint64_t count) {
    return testing::eventually([&] {
      const Token now = token();
      return now && *now >= count;
    });
  }
  /// Waits until what the test has done so far has been told, so that a fence is all that is heard; false
  /// where the machine does not come to rest.
  [[nodiscard]] bool settle() {
    return testing::eventually([this] {
      const Token before = token();
      return before && set_fence() && reaches(*before + kFence) && token() == *before + kFence;
    });
  }
  /// Whether `steps` make another token.
  template <typename Steps>
  [[nodiscard]] bool changes(Steps&& steps) {
    const Token before = token();
    steps();
    return testing::eventually([&] {
      const Token now = token();
      return now && now != before;
    });
  }

  static constexpr std::uint64_t kFence = 2;

  ground::Machine machine_;
  std::unique_ptr<embedded::Provider> provider;
};

TEST_F(ServiceGate, StartsStopsAndReloadsChangeTheToken) {
  EXPECT_TRUE(changes([] { run("systemctl start kvwmi-gate.service"); }));
  ASSERT_TRUE(settle());
  EXPECT_TRUE(changes([] {
    run("systemctl kill --signal=KILL kvwmi-gate.service");
    EXPECT_TRUE(testing::eventually(
        [] { return run_shell("systemctl is-failed --quiet kvwmi-gate.service").status == 0; }));
  }));
  ASSERT_TRUE(settle());
  EXPECT_TRUE(changes([] { run("systemctl daemon-reload"); }));
  ASSERT_TRUE(settle());
  EXPECT_TRUE(changes([] { run("systemd-run --unit=kvwmi-gate-passing true"); })) << "one without a file";
}

TEST_F(ServiceGate, AUnitFileThatComesOrGoesChangesTheTokenUnasked) {
  EXPECT_TRUE(changes([] { write_unit("kvwmi-gate-late.service"); }));
  ASSERT_TRUE(settle());
  EXPECT_TRUE(changes([] { ASSERT_EQ(::unlink("/run/systemd/system/kvwmi-gate-late.service"), 0); }));
}

TEST_F(ServiceGate, ListingIsNoChange) {
  const std::string path = "/run/systemd/system/kvwmi-gate.service";
  ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
  std::filesystem::last_write_time(path, std::filesystem::file_time_type::clock::now() - 1h);
  ::setfsuid(65534);  // this thread may not read it any more, the manager may
  EXPECT_FALSE(std::ifstream(path).is_open());
  EXPECT_GT(list(), 0U) << "the manager is asked for its description";
  ASSERT_TRUE(settle());
  const Token before = token();
  ASSERT_TRUE(before);
  for (int i = 0; i < 20; ++i) EXPECT_GT(list("StartMode"), 0U);
  ASSERT_TRUE(set_fence());
  ASSERT_TRUE(reaches(*before + kFence));
  EXPECT_EQ(token(), *before + kFence) << "the fence is all that was heard";
}

TEST_F(ServiceGate, ALostBusGivesNoTokenAndComesBackWithAnother) {
  const Token before = token();
  ASSERT_TRUE(before);
  run("systemctl stop dbus.socket dbus.service");
  EXPECT_TRUE(testing::eventually([this] { return !token(); }));
  run("systemctl start dbus.socket");
  EXPECT_TRUE(testing::eventually([&] { return token() && token() != before; }));
  EXPECT_GT(list(), 0U);
  ASSERT_TRUE(settle());
  EXPECT_TRUE(changes([] { run("systemctl start kvwmi-gate.service"); })) << "signals come again";
}

TEST_F(ServiceGate, AManagerThatIsExecutedAnewIsHeardAgain) {
  const Token before = token();
  run("systemctl daemon-reexec");
  EXPECT_TRUE(testing::eventually([&] { return token() && token() != before; }));
  ASSERT_TRUE(settle());
  EXPECT_TRUE(changes([] { run("systemctl start kvwmi-gate.service"); }));
}

double processor_seconds() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

TEST_F(ServiceGate, AQuietPollCostsAFractionOfAListing) {
  const auto median_of_21 = [](auto&& work) {
    std::vector<double> seconds;
    for (int i = 0; i < 21; ++i) {
      const double begun = processor_seconds();
      work();
      seconds.push_back(processor_seconds() - begun);
    }
    std::sort(seconds.begin(), seconds.end());
    return seconds[seconds.size() / 2];
  };
  const double quiet = median_of_21([this] { static_cast<void>(token()); });
  const double listing = median_of_21([this] { list(); });
  RecordProperty("quiet_microseconds", std::to_string(quiet * 1e6));
  RecordProperty("listing_microseconds", std::to_string(listing * 1e6));
  std::printf("a quiet poll %.1f us, a listing %.1f us\n", quiet * 1e6, listing * 1e6);
  EXPECT_LT(quiet, listing / 20);
}

}  // namespace
}  // namespace kvwmi::tests
