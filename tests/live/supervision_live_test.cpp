// Watches of this machine: real things happen, and each arrives through the thread's message loop.
#include <gtest/gtest.h>
#include <kvwmi/checkpoint.h>
#include <kvwmi/error.h>
#include <kvwmi/supervision.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "support/load_process.h"
#include "support/machine_figures.h"
#include "support/own_name.h"
#include "support/watching.h"

namespace kvwmi::tests {
namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kStep = Watching::kStep;

TEST(SupervisionLive, FreeMemoryArrivesInKilobytes) {
  Watching watching;
  watching.supervision.m_SuperviseFreePhysicalMemorySize(kStep, 3, 1, Currency::from_integer(1), 1, 1);
  // Something must change for WMI to look at the threshold, and an idle machine may do nothing.
  const LoadProcess load(own_name("memory"), 50, LoadProcess::Work::idle);
  const auto record = watching.next();
  ASSERT_TRUE(record);
  EXPECT_EQ(record->first, 3);
  expect_size(record->second, {"MemAvailable"});
}

TEST(SupervisionLive, ProcessorLoadArrivesInPercent) {
  Watching watching;
  watching.supervision.m_SuperviseProcessorLoadPercentage(kStep, 4, 3, 90, 1);
  const BusyMachine busy(own_name("load"));
  const auto record = watching.next(10s);
  if (!record) {
    std::int32_t load_now = 0;
    CheckPoint().m_GetProcessorLoadPercentage(load_now);
    ASSERT_EQ(load_now, 100) << "the load could change, but no change arrived";
    GTEST_SKIP() << "this machine was fully loaded all the time, so its load did not change";
  }
  EXPECT_EQ(record->first, 4);
  busy.expect_load(record->second);
}

/// A copy of tail under a name of its own that keeps what it is given.
class GrowingProcess {
 public:
  explicit GrowingProcess(const std::string& name)
      : folder_(std::filesystem::temp_directory_path() / own_name("growing")), program_(folder_ / name) {
    std::filesystem::create_directories(folder_);
    std::filesystem::copy_file("/usr/bin/tail", program_, std::filesystem::copy_options::overwrite_existing);
    pipe_ = popen((program_.string() + " -n 1 >/dev/null").c_str(), "w");
    if (pipe_ == nullptr) throw std::runtime_error("cannot start " + program_.string());
  }
  ~GrowingProcess() {
    pclose(pipe_);
    std::filesystem::remove_all(folder_);
  }
  GrowingProcess(const GrowingProcess&) = delete;
  GrowingProcess& operator=(const GrowingProcess&) = delete;

  void grow(std::size_t bytes) {
    const std::string block(1 << 20, 'x');
    for (std::size_t written = 0; written < bytes; written += block.size()) {
      std::fwrite(block.data(), 1, block.size(), pipe_);
    }
    std::fflush(pipe_);
  }

 private:
  std::filesystem::path folder_;
  std::filesystem::path program_;
  std::FILE* pipe_ = nullptr;
};

TEST(SupervisionLive, AProcessThatOutgrowsAThresholdArrivesWithItsSize) {
  Watching watching;
  const std::string name = own_name("tail");
  GrowingProcess process(name);
  watching.supervision.m_SuperviseProcessMemorySize(kStep, 5, name, 1, Currency::from_integer(50), 2, 1);
  watching.pass_polls();
  EXPECT_EQ(watching.records, Records{}) << "it is small yet";
  process.grow(80'000'000);
  const auto record = watching.next();
  ASSERT_TRUE(record);
  EXPECT_GT(value_in(record->second, "Bytes"), 50 * 1024 * 1024);
}

TEST(SupervisionLive, RefusedQueriesFailTheRequest) {
  Watching watching;
  const auto expect_refused = [](auto request) {
    try {
      request();
      ADD_FAILURE() << "nothing was raised";
    } catch (const Error& error) {
      EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x8004020F));
      EXPECT_NE(error.source().find("\r\n\tKVWMI : Supervision.m_SuperviseProcess"), std::string::npos);
    }
  };
  // The single quote ends the name in the query.
  expect_refused([&] { watching.supervision.m_SuperviseProcess(kStep, 1, "it's"); });
  expect_refused([&] { watching.supervision.m_SuperviseProcess(kStep, 1, "a", true, true, -1); });
  expect_refused([&] { watching.supervision.m_SuperviseProcess(kStep, 1, "a", true, true, 1, -10); });
}

TEST(SupervisionLive, AWatchThatDoesNotFireIsReportedWhenAskedFor) {
  Watching watching;
  watching.supervision.m_SuperviseProcess(kStep, 6, own_name("never"), true, false, 1, 0, 0, true);
  watching.pass_polls();
  watching.supervision.m_PushUndetectedEventInfos();
  watching.drain();
  EXPECT_EQ(watching.records, (Records{{6, ""}}));
}

// The timer's list of a thread keeps an engine that was not released; it goes with the thread.
TEST(SupervisionLive, AnEngineThatIsNotReleasedEndsWithItsThread) {
  const std::filesystem::path file = std::filesystem::temp_directory_path() / own_name("interfaces");
  std::ofstream(file) << "";
  std::thread([&] {
    Supervision supervision;
    supervision.m_Initialize();
    supervision.m_SuperviseNetworkInterfaces(kStep, 1, file.string());
    supervision.m_SuperviseProcess(kStep, 2, own_name("left"), true, true, 1);
  }).join();
  EXPECT_FALSE(std::filesystem::exists(file)) << "the engine's end deletes it";
  std::filesystem::remove(file);
}

}  // namespace
}  // namespace kvwmi::tests
