// A minute of processes coming and going, 50 and more a second, against 1,000 watches: each start and each
// end is counted once, and neither memory nor descriptors grow.

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "kvwmi/message_loop.h"
#include "kvwmi/supervision.h"

namespace kvwmi {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr int kWatches = 1000;
constexpr milliseconds kBetweenSpawns{18};
// Longer than two periods, so that each process lives across a poll also where a poll is late.
constexpr timespec kLife{2, 500'000'000};

std::string name_of(int watch) {
  return "kvwc" + std::to_string(::getpid() % 100'000) + '-' + std::to_string(watch);
}

pid_t spawn(const std::string& name) {
  const pid_t pid = ::fork();
  if (pid != 0) return pid;
  ::prctl(PR_SET_NAME, name.c_str());
  ::nanosleep(&kLife, nullptr);
  ::_exit(0);
}

std::size_t open_descriptors() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
  return count;
}

long resident_kilobytes() {
  std::ifstream status("/proc/self/statm");
  long size = 0;
  long resident = 0;
  status >> size >> resident;
  return resident * ::sysconf(_SC_PAGESIZE) / 1024;
}

TEST(ChurnSoakTest, EveryStartAndEndCountsOnceAndNothingGrows) {
  Supervision engine;
  engine.m_Initialize();
  for (int watch = 0; watch < kWatches; ++watch) {
    ASSERT_EQ(engine.m_SuperviseProcess(1, watch + 1, name_of(watch), true, false, 1), 0);
    ASSERT_EQ(engine.m_SuperviseProcess(2, watch + 1, name_of(watch), false, true, 1), 0);
  }
  std::vector<int> spawned(kWatches);
  std::vector<int> started(kWatches);
  std::vector<int> ended(kWatches);
  std::deque<pid_t> children;
  const auto drain = [&] {
    std::int32_t supervision = 0;
    std::string detail;
    for (const auto& [step, counts] : {std::pair(1, &started), std::pair(2, &ended)}) {
      for (;;) {
        engine.m_PopEventInfos(step, supervision, detail);
        if (supervision == 0) break;
        ++(*counts)[static_cast<std::size_t>(supervision - 1)];
      }
    }
    while (!children.empty() && ::waitpid(children.front(), nullptr, WNOHANG) != 0) children.pop_front();
  };

  const auto begin = Clock::now();
  auto next = begin;
  std::size_t spawns = 0;
  long resident = 0;
  std::size_t descriptors = 0;
  while (Clock::now() - begin < seconds(60)) {
    if (const auto wait = std::chrono::ceil<milliseconds>(next - Clock::now()); wait.count() > 0) {
      message_loop::run_for(wait);
    } else {
      message_loop::run_once(milliseconds(0));
    }
    while (next <= Clock::now()) {
      const std::size_t watch = spawns++ * 7 % kWatches;
      const pid_t pid = spawn(name_of(static_cast<int>(watch)));
      ASSERT_GT(pid, 0);
      children.push_back(pid);
      ++spawned[watch];
      next += kBetweenSpawns;
    }
    drain();
    // Everything has happened a few times by then.
    if (resident == 0 && Clock::now() - begin > seconds(15)) {
      resident = resident_kilobytes();
      descriptors = open_descriptors();
    }
  }
  EXPECT_GE(spawns, 50U * 60U);
  const bool complete = message_loop::run_until(
      [&] {
        drain();
        return children.empty() && started == spawned && ended == spawned;
      },
      seconds(15));
  std::size_t starts = 0;
  std::size_t ends = 0;
  for (std::size_t watch = 0; watch < kWatches; ++watch) {
    starts += static_cast<std::size_t>(started[watch]);
    ends += static_cast<std::size_t>(ended[watch]);
  }
  EXPECT_TRUE(complete) << spawns << " processes, " << starts << " starts and " << ends << " ends were told";
  // At either moment a poll may have had a file open.
  EXPECT_LE(open_descriptors(), descriptors + 2);
  EXPECT_LT(resident_kilobytes() - resident, 4 * 1024) << "from " << resident << " KB";
  std::printf("%zu processes; resident %ld KB after 15 s, %ld KB at the end; %zu descriptors\n", spawns,
              resident, resident_kilobytes(), descriptors);
  engine.m_Release();
}

}  // namespace
}  // namespace kvwmi
