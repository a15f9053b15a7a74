// Watches of this machine beyond the single change (arrivals_test.cpp): groups, thresholds, ends.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include "kvwmi/message_loop.h"
#include "kvwmi/named_event.h"
#include "kvwmi/supervision.h"
#include "support/further_polls.h"
#include "support/load_process.h"
#include "support/machine_figures.h"

namespace kvwmi {
namespace {

using std::chrono::milliseconds;
using tests::expect_size;
using tests::LoadProcess;
using tests::meminfo;
using tests::value_in;

// That events arrive in time is arrivals_test.cpp's to see.
constexpr milliseconds kPatience{20'000};

struct WatchesTest : ::testing::Test {
  std::string event_name = "kvwmi-watches-" + std::to_string(::getpid());
  NamedEvent event{event_name, NamedEvent::Reset::automatic};
  Supervision engine;
  tests::FurtherPolls further_polls;

  WatchesTest() {
    engine.p_strSupervisionEventName(event_name);
    engine.m_Initialize();
  }
  ~WatchesTest() override { engine.m_Release(); }

  struct Record {
    std::int32_t supervision = 0;
    std::string detail;
  };
  Record pop(std::int32_t step) {
    Record record;
    engine.m_PopEventInfos(step, record.supervision, record.detail);
    return record;
  }
  /// The next record of the step, which must have set the event.
  std::optional<Record> next(std::int32_t step) {
    std::optional<Record> record;
    static_cast<void>(message_loop::run_until(
        [&] {
          if (Record popped = pop(step); popped.supervision != 0) record = popped;
          return record.has_value();
        },
        kPatience));
    if (record) {
      EXPECT_TRUE(event.wait(milliseconds(0))) << "the named event is set with the record";
    }
    return record;
  }
  bool quiet(std::int32_t step, int polls = 2) {
    further_polls.pass(polls);
    return pop(step).supervision == 0;
  }
};

TEST_F(WatchesTest, AProcessThatRunsAlreadyIsNoStart) {
  const std::string name = "kvw-there-" + std::to_string(::getpid() % 10000);
  const LoadProcess process(name, 1, LoadProcess::Work::idle);
  EXPECT_EQ(engine.m_SuperviseProcess(1, 10, name, true, true, 1), 0);
  EXPECT_TRUE(quiet(1));
}

TEST_F(WatchesTest, AGroupCountsTheStarts) {
  const std::string name = "kvw-group-" + std::to_string(::getpid() % 10000);
  EXPECT_EQ(engine.m_SuperviseProcess(1, 10, name, true, false, 1, 2, 3), 0);
  {
    const LoadProcess one(name, 0, LoadProcess::Work::idle);
    EXPECT_TRUE(quiet(1, 4)) << "one is too few";
  }
  const LoadProcess one(name, 0, LoadProcess::Work::idle);
  const LoadProcess two(name, 0, LoadProcess::Work::idle);
  const LoadProcess three(name, 0, LoadProcess::Work::idle);
  const auto record = next(1);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->supervision, 10);
  EXPECT_TRUE(quiet(1));
}

TEST_F(WatchesTest, AProcessOverItsMemoryTellsItsSize) {
  const std::string name = "kvw-memory-" + std::to_string(::getpid() % 1000);
  EXPECT_EQ(engine.m_SuperviseProcessMemorySize(2, 7, name, 1, Currency::from_integer(10), 2, 1), 0);
  // Busy, so that its times change from poll to poll.
  const LoadProcess process(name, 20, LoadProcess::Work::busy);
  const auto record = next(2);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->supervision, 7);
  ASSERT_TRUE(record->detail.starts_with("Value: ")) << record->detail;
  ASSERT_TRUE(record->detail.ends_with(" Bytes")) << record->detail;
  const double bytes = std::strtod(record->detail.c_str() + 7, nullptr);
  EXPECT_GT(bytes, 20.0 * 1024 * 1024);
  EXPECT_LT(bytes, 40.0 * 1024 * 1024);
}

TEST_F(WatchesTest, FreeMemoryBelowAHundredPercentIsTheMachines) {
  EXPECT_EQ(engine.m_SuperviseFreePhysicalMemorySize(3, 1, 2, Currency::from_integer(100), 4, 1), 0);
  const auto record = next(3);
  ASSERT_TRUE(record);
  EXPECT_LT(value_in(record->detail, "Kilobytes"), meminfo("MemTotal"));
  expect_size(record->detail, {"MemAvailable"});
}

TEST_F(WatchesTest, AfterTheReleaseNothingArrivesAndTheQueueStays) {
  const std::string name = "kvw-release-" + std::to_string(::getpid() % 1000);
  EXPECT_EQ(engine.m_SuperviseProcess(1, 10, name, true, true, 1), 0);
  const LoadProcess first(name, 0, LoadProcess::Work::idle);
  EXPECT_TRUE(event.wait(milliseconds(0)) ||
              message_loop::run_until([&] { return event.wait(milliseconds(0)); }, kPatience));
  const LoadProcess second(name, 0, LoadProcess::Work::idle);
  engine.m_Release();
  further_polls.pass();
  EXPECT_EQ(pop(1).supervision, 10);
  EXPECT_EQ(pop(1).supervision, 0);
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
}  // namespace kvwmi
