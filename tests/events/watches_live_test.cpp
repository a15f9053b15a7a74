// Watches of this machine beyond the single change (arrivals_test.cpp): groups, thresholds, ends.
#include <gtest/gtest.h>
#include <kvwmi/message_loop.h>
#include <kvwmi/supervision.h>

#include <chrono>
#include <optional>
#include <string>

#include "support/load_process.h"
#include "support/machine_figures.h"
#include "support/own_name.h"
#include "support/watching.h"

namespace kvwmi::tests {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::int32_t kStep = Watching::kStep;

struct WatchesTest : ::testing::Test {
  Watching watching;
  Supervision& engine = watching.supervision;

  /// Whether polls pass without a further record.
  bool quiet(int polls = 2) {
    const std::size_t before = watching.records.size();
    watching.pass_polls(polls);
    return watching.records.size() == before;
  }
};

TEST_F(WatchesTest, AProcessThatRunsAlreadyIsNoStart) {
  const LoadProcess process(own_name("there"), 1, LoadProcess::Work::idle);
  EXPECT_EQ(engine.m_SuperviseProcess(kStep, 10, process.name(), true, true, 1), 0);
  EXPECT_TRUE(quiet());
}

TEST_F(WatchesTest, AGroupCountsTheStarts) {
  const std::string name = own_name("group");
  EXPECT_EQ(engine.m_SuperviseProcess(kStep, 10, name, true, false, 1, 2, 3), 0);
  {
    const LoadProcess one(name, 0, LoadProcess::Work::idle);
    EXPECT_TRUE(quiet(4)) << "one is too few";
  }
  const LoadProcess one(name, 0, LoadProcess::Work::idle);
  const LoadProcess two(name, 0, LoadProcess::Work::idle);
  const LoadProcess three(name, 0, LoadProcess::Work::idle);
  EXPECT_EQ(watching.next(), Record(10, ""));
  EXPECT_TRUE(quiet());
}

TEST_F(WatchesTest, AProcessOverItsMemoryTellsItsSize) {
  const std::string name = own_name("memory");
  EXPECT_EQ(engine.m_SuperviseProcessMemorySize(kStep, 7, name, 1, Currency::from_integer(10), 2, 1), 0);
  // Busy, so that its times change from poll to poll.
  const LoadProcess process(name, 20, LoadProcess::Work::busy);
  const auto record = watching.next();
  ASSERT_TRUE(record);
  EXPECT_EQ(record->first, 7);
  const std::int64_t bytes = value_in(record->second, "Bytes");
  EXPECT_GT(bytes, 20 << 20);
  EXPECT_LT(bytes, 40 << 20);
}

TEST_F(WatchesTest, FreeMemoryBelowAHundredPercentIsTheMachines) {
  EXPECT_EQ(engine.m_SuperviseFreePhysicalMemorySize(kStep, 1, 2, Currency::from_integer(100), 4, 1), 0);
  const auto record = watching.next();
  ASSERT_TRUE(record);
  EXPECT_LT(value_in(record->second, "Kilobytes"), meminfo("MemTotal"));
  expect_size(record->second, {"MemAvailable"});
}

TEST_F(WatchesTest, AfterTheReleaseNothingArrivesAndTheQueueStays) {
  const std::string name = own_name("release");
  EXPECT_EQ(engine.m_SuperviseProcess(kStep, 10, name, true, true, 1), 0);
  const LoadProcess first(name, 0, LoadProcess::Work::idle);
  EXPECT_TRUE(message_loop::run_until([&] { return watching.event.wait(milliseconds(0)); }, seconds(20)));
  const LoadProcess second(name, 0, LoadProcess::Work::idle);
  engine.m_Release();
  watching.pass_polls();
  EXPECT_EQ(watching.records, (Records{{10, ""}}));
  engine.m_Initialize();
}

TEST_F(WatchesTest, EnginesComeAndGoAThousandTimes) {
  for (int i = 0; i < 1000; ++i) {
    Supervision other;
    other.m_Initialize();
    if (i % 10 == 0) {
      EXPECT_EQ(other.m_SuperviseProcess(1, 1, "nobody", true, true, 1), 0);
    }
    other.m_Release();
  }
}

}  // namespace
}  // namespace kvwmi::tests
