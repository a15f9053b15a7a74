#include <ctime>

#include "kvwmi/error.h"
#include "linux/providers/factories.h"
#include "linux/testing/child_process.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using namespace testing;

class RecordedCounters : public ::testing::Test {
 protected:
  RecordedCounters() {
    machine.write("/proc/stat",
                  "cpu0 100 0 100 800 50 0 0 0\ncpu1 100 0 100 700 0 0 0 0\nbtime 1699999000\nprocesses 1\n");
    add(1, "init", "250 125", 3);
    add(20, "worker", "10 5", 1);
    add(30, "Worker", "20 5", 1);
    add(40, "idle", "7 0", 1);
    add(50, "worker", "30 5", 2);
    machine.process_cpu_time = [](pid_t pid) -> std::optional<std::chrono::nanoseconds> {
      if (pid == 20) return std::chrono::nanoseconds(1'234'567'899);
      return std::nullopt;
    };
    provider = providers::make_win32_perfrawdata_perfproc_process(machine);
  }
  void add(int pid, const std::string& comm, const std::string& ticks, int threads, int start = 5) {
    const std::string folder = "/proc/" + std::to_string(pid);
    machine.write(folder + "/comm", comm + "\n");
    machine.write(folder + "/status", "Tgid:\t" + std::to_string(pid) + "\nVmHWM:\t 40 kB\n");
    machine.write(folder + "/statm", "100 10 0 0 0 0 0\n");
    machine.write(folder + "/stat", std::to_string(pid) + " (" + comm + ") S 1 1 1 0 -1 4194304 5 0 2 0 " +
                                        ticks + " 0 0 20 0 " + std::to_string(threads) + " 0 " +
                                        std::to_string(start) + " 4096 1 0\n");
  }
  std::vector<std::string> names(const std::vector<embedded::Equality>& any_of) {
    return texts_of(rows_of(*provider, any_of), "Name");
  }
  embedded::Equality named(std::string name) {
    return equals(*provider, "Name", cim::Value(std::move(name)));
  }
  embedded::Equality numbered(std::uint64_t pid) { return equals(*provider, "IDProcess", cim::Value(pid)); }

  RecordedMachine machine;
  std::unique_ptr<embedded::Provider> provider;
};

TEST_F(RecordedCounters, FurtherProcessesOfANameAreNumbered) {
  EXPECT_EQ(names({}),
            (std::vector<std::string>{"Idle", "init", "worker", "Worker#1", "idle#1", "worker#2", "_Total"}));
}

TEST_F(RecordedCounters, NamesFoundByNumberAreTheSame) {
  EXPECT_EQ(names({numbered(50)}), std::vector<std::string>{"worker#2"});
  EXPECT_EQ(names({numbered(40)}), std::vector<std::string>{"idle#1"});
  EXPECT_EQ(names({numbered(99)}), std::vector<std::string>{});
}

TEST_F(RecordedCounters, QueryOfTotalAndSomeProcesses) {
  EXPECT_EQ(names({named("_Total"), numbered(50), numbered(1)}),
            (std::vector<std::string>{"init", "worker#2", "_Total"}));
  EXPECT_EQ(names({named("_total")}), std::vector<std::string>{"_Total"});
  EXPECT_EQ(names({named("Idle")}), std::vector<std::string>{"Idle"});
}

TEST_F(RecordedCounters, NameQueryFindsNumberedOnes) {
  // The engine picks among these.
  EXPECT_EQ(names({named("WORKER#2")}), (std::vector<std::string>{"worker", "Worker#1", "worker#2"}));
  EXPECT_EQ(names({named("init")}), std::vector<std::string>{"init"});
}

TEST_F(RecordedCounters, IdleAndTotalHaveNumberZero) {
  EXPECT_EQ(names({numbered(0)}), (std::vector<std::string>{"Idle", "_Total"}));
}

TEST_F(RecordedCounters, ProcessorTimeIsInUnitsOf100Nanoseconds) {
  const auto time = [&](const embedded::Equality& which) {
    return number_of(*rows_of(*provider, {which}).at(0), "PercentProcessorTime");
  };
  EXPECT_EQ(time(numbered(20)), 12'345'678U) << "from the process's own clock";
  EXPECT_EQ(time(numbered(1)), 375U * 100'000) << "from ticks where the clock cannot be read";
  EXPECT_EQ(time(named("Idle")), 1550U * 100'000) << "waiting for a disk is idle";
  EXPECT_EQ(time(named("_Total")), 20'000'000'000U) << "two processors for 1000 seconds";
}

TEST_F(RecordedCounters, TotalIsTheSumOfAllProcesses) {
  const auto total = rows_of(*provider, {named("_Total")}).at(0);
  EXPECT_EQ(number_of(*total, "ThreadCount"), 8U);
  EXPECT_EQ(number_of(*total, "WorkingSet"), 50U * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
  EXPECT_EQ(number_of(*total, "PercentUserTime"), (250U + 10 + 20 + 7 + 30) * 100'000);
  const auto idle = rows_of(*provider, {named("Idle")}).at(0);
  EXPECT_EQ(number_of(*idle, "ThreadCount"), 0U);
}

TEST_F(RecordedCounters, OneThatIsForkedWhileTheyAreListedIsNotTakenForAnother) {
  const auto fork_once = [&, forked = false]() mutable {
    const auto now = machine.booted;
    if (!std::exchange(forked, true)) {
      add(60, "late", "1 1", 4, 100'002);  // two ticks after this look at the clock
      machine.booted += std::chrono::milliseconds(50);
    }
    return now;
  };
  const std::vector<embedded::Equality> all;
  for (const auto& wanted : {all, {named("late")}, {numbered(60)}}) {
    machine.remove("/proc/60");
    machine.booted = std::chrono::seconds(1000);
    machine.boot_time = fork_once;
    for (const char* when : {"meanwhile", "before"}) {
      for (const auto& row : rows_of(*provider, wanted)) {
        EXPECT_FALSE(get(*row, "ThreadCount").is_null()) << number_of(*row, "IDProcess") << " " << when;
      }
    }
    EXPECT_EQ(rows_of(*provider, {numbered(60)}).size(), 1U);
  }
}

TEST_F(RecordedCounters, ATotalIsOfThoseThatAreThereWhenItIsRead) {
  const auto total = rows_of(*provider, {named("_Total")}).at(0);
  machine.booted += std::chrono::seconds(1);
  add(60, "late", "1 1", 4, 100'050);
  EXPECT_EQ(number_of(*total, "ThreadCount"), 12U);
}

TEST_F(RecordedCounters, TimestampsAndFrequencies) {
  const auto row = rows_of(*provider, {numbered(1)}).at(0);
  EXPECT_EQ(number_of(*row, "Timestamp_Sys100NS"), 133'444'736'000'000'000U)
      << "2023-11-14 22:13:20 since 1601";
  EXPECT_EQ(number_of(*row, "Frequency_Sys100NS"), 10'000'000U);
  EXPECT_EQ(number_of(*row, "ElapsedTime"), 133'444'736'000'000'000U - 10'000'000'000U + 500'000U);
  EXPECT_EQ(number_of(*row, "CreatingProcessID"), 1U);
  EXPECT_EQ(number_of(*row, "WorkingSetPeak"), 40U * 1024) << "bytes here, kilobytes in Win32_Process";
  EXPECT_EQ(number_of(*row, "PageFaultsPersec"), 7U);
}

TEST(Win32PerfRawDataPerfProcProcess, ProcessorTimeFollowsWhatThisProcessUses) {
  const Machine machine;
  const auto provider = providers::make_win32_perfrawdata_perfproc_process(machine);
  const std::vector<embedded::Equality> which{
      equals(*provider, "Name", "_Total"),
      equals(*provider, "IDProcess", static_cast<std::uint64_t>(getpid()))};
  const auto own_time = [] {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 10'000'000 +
           static_cast<std::uint64_t>(time.tv_nsec) / 100;
  };
  const auto sample = [&] {
    const Rows rows = rows_of(*provider, which);
    EXPECT_EQ(rows.size(), 2U);
    return std::pair(number_of(*rows.at(0), "PercentProcessorTime"),
                     number_of(*rows.at(1), "PercentProcessorTime"));
  };
  const auto now = [&] { return static_cast<std::uint64_t>(machine.running_time().count() / 100); };
  const std::uint64_t before = own_time();
  const std::uint64_t first_begun = now();
  const auto first = sample();
  const std::uint64_t first_ended = now();
  while (own_time() - before < 1'000'000) {
  }
  const std::uint64_t second_begun = now();
  const auto second = sample();
  const std::uint64_t second_ended = now();
  const std::uint64_t after = own_time();
  EXPECT_GE(first.first, before);
  EXPECT_LE(second.first, after);
  EXPECT_GE(second.first - first.first, 900'000U);
  // All processors, for as long as passed between two moments within the samples.
  const auto processors = static_cast<std::uint64_t>(sysconf(_SC_NPROCESSORS_ONLN));
  const std::uint64_t total = second.second - first.second;
  EXPECT_GE(total, processors * (second_begun - first_ended - 1));
  EXPECT_LE(total, processors * (second_ended - first_begun + 1));
}

TEST(Win32PerfRawDataPerfProcProcess, ClocksOfOtherUsersProcessesCanBeRead) {
  const Machine machine;
  EXPECT_TRUE(machine.process_cpu_time(1));
  ChildProcess child("/bin/sleep", {"sleep", "1000"});
  EXPECT_TRUE(machine.process_cpu_time(child.pid()));
  const pid_t pid = child.pid();
  child.end();
  EXPECT_FALSE(machine.process_cpu_time(pid));
}

}  // namespace
}  // namespace kvwmi::ground
