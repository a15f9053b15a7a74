// A minute of processes coming and going, 50 and more a second, against 1,000 watches: each start and each
// end is counted once, and neither memory nor descriptors grow. Of four rounds the first brings about
// whatever there is only once; between two of them nothing is under way, so that they can be compared.

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "kvwmi/message_loop.h"
#include "kvwmi/supervision.h"
#include "support/further_polls.h"
#include "support/watching.h"

namespace kvwmi {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr int kWatches = 1000;
constexpr milliseconds kBetweenSpawns{18};
constexpr int kRounds = 4;
constexpr seconds kRound{15};
/// A leak would be of an object, which takes more; what an allocator keeps by the way is less.
constexpr std::int64_t kMostPerEvent = 16;
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

/// Bytes that are allocated.
std::int64_t memory_in_use() {
  return static_cast<std::int64_t>(::mallinfo2().uordblks);
}

TEST(ChurnSoakTest, EveryStartAndEndCountsOnceAndNothingGrows) {
  tests::FurtherPolls further_polls;
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
    for (const auto& [step, counts] : {std::pair(1, &started), std::pair(2, &ended)}) {
      for (const auto& [supervision, detail] : tests::take_records(engine, step))
        ++(*counts)[static_cast<std::size_t>(supervision - 1)];
    }
    while (!children.empty() && ::waitpid(children.front(), nullptr, WNOHANG) != 0) children.pop_front();
  };

  std::size_t spawns = 0;
  const auto churn = [&] {
    const auto begin = Clock::now();
    auto next = begin;
    while (Clock::now() - begin < kRound) {
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
    }
    static_cast<void>(message_loop::run_until(
        [&] {
          drain();
          return children.empty() && started == spawned && ended == spawned;
        },
        seconds(15)));
    // What was told once too often comes late.
    further_polls.pass();
    drain();
    const auto sum = [](const std::vector<int>& counts) {
      return std::accumulate(counts.begin(), counts.end(), 0);
    };
    EXPECT_TRUE(children.empty() && started == spawned && ended == spawned)
        << spawns << " processes, " << sum(started) << " starts and " << sum(ended) << " ends were told";
  };

  churn();
  const std::int64_t memory = memory_in_use();
  const std::size_t descriptors = open_descriptors();
  const std::size_t spawns_before = spawns;
  for (int round = 1; round < kRounds; ++round) churn();
  const auto events = static_cast<std::int64_t>(2 * (spawns - spawns_before));
  EXPECT_GE(spawns, 50U * 60U);
  // At either moment a poll may have had a file open.
  EXPECT_LE(open_descriptors(), descriptors + 2);
  const std::int64_t growth = memory_in_use() - memory;
  EXPECT_LT(growth, kMostPerEvent * events) << "for " << events << " events";
  std::printf(
      "%zu processes; %lld bytes in use after the first round, %lld more at the end; %zu descriptors\n",
      spawns, static_cast<long long>(memory), static_cast<long long>(growth), descriptors);
  engine.m_Release();
}

}  // namespace
}  // namespace kvwmi
