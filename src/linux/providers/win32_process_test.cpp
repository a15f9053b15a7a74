#include <sys/mman.h>
#include <sys/prctl.h>

#include <array>
#include <cerrno>
#include <set>

#include "frame/wmi_status.h"
#include "kvwmi/error.h"
#include "linux/providers/factories.h"
#include "linux/testing/child_process.h"
#include "linux/testing/no_descriptors.h"
#include "linux/testing/recorded_machine.h"
#include "wmi/cim/datetime.h"

namespace kvwmi::ground {
namespace {

using namespace testing;
using namespace std::string_literals;

/// A machine with a first process, a process with a cut name, a kernel thread and one that has just ended.
class RecordedProcesses : public ::testing::Test {
 protected:
  RecordedProcesses() {
    machine.write("/proc/sys/kernel/hostname", "host1\n");
    machine.write("/etc/os-release", "PRETTY_NAME=\"Some System 12\"\nVERSION_ID=\"12\"\n");
    machine.write("/proc/loadavg", "0.42 0.29 0.17 1/135 14469\n");
    machine.write("/proc/stat", "btime 1699999000\nprocesses 14460\n");
    machine.write("/proc/uptime", "1000.00 900.00\n");
    add(1, "init", "1 (init) S 0 1 1 0 -1 4194560 500 60 7 2 250 125 11 12 20 0 1 0 5 10485760 900 0");
    machine.write("/proc/1/statm", "3000 712 400 5 0 90 0\n");
    machine.write("/proc/1/status",
                  "Name:\tinit\nTgid:\t1\nVmPeak:\t   12000 kB\nVmHWM:\t    3100 kB\nRssAnon:\t     500 kB\n"
                  "VmSwap:\t      24 kB\n");
    machine.write("/proc/1/io", "rchar: 8686\nwchar: 1710\nsyscr: 14\nsyscw: 2\n");
    machine.write("/proc/1/cmdline", "/sbin/init\0splash arg\0"s);
    machine.write("/proc/1/sessionid", "4294967295");
    machine.write("/proc/1/fd/0", "");
    machine.write("/proc/1/fd/1", "");
    machine.link("/proc/1/exe", "/usr/lib/systemd/systemd");
    add(2, "kthreadd", "2 (kthreadd) S 0 0 0 0 -1 2129984 0 0 0 0 0 3 0 0 20 0 1 0 5 0 0 0");
    machine.write("/proc/2/cmdline", "");
    add(140, "a-rather-long-n",
        "140 (a-rather-long-n) R 1 140 140 0 -1 4194304 9 0 0 0 7 8 0 0 20 19 4 0 90000 4096 1 0");
    machine.write("/proc/140/status", "Name:\ta-rather-long-n\nTgid:\t140\n");
    machine.write("/proc/140/cmdline", "a-rather-long-name\0"s);
    machine.write("/proc/140/sessionid", "7");
    machine.link("/proc/140/exe", "/opt/x/a-rather-long-name (deleted)");
    add(33, "INIT", "33 (INIT) Z 1 33 33 0 -1 4194304 0 0 0 0 0 0 0 0 20 -20 1 0 80000 0 0 0");
    provider = providers::make_win32_process(machine);
  }

  void add(int pid, std::string_view comm, std::string_view stat) {
    const std::string folder = "/proc/" + std::to_string(pid);
    machine.write(folder + "/comm", std::string(comm) + "\n");
    machine.write(folder + "/stat", std::string(stat) + "\n");
  }
  std::vector<std::string> handles(const std::vector<embedded::Equality>& any_of) {
    return texts_of(rows_of(*provider, any_of), "Handle");
  }
  embedded::Equality named(std::string name) {
    return equals(*provider, "Name", cim::Value(std::move(name)));
  }
  embedded::Equality numbered(std::uint64_t pid) { return equals(*provider, "ProcessId", cim::Value(pid)); }

  RecordedMachine machine;
  std::unique_ptr<embedded::Provider> provider;
};

TEST_F(RecordedProcesses, ComeInTheOrderOfTheirNumbers) {
  EXPECT_EQ(handles({}), (std::vector<std::string>{"1", "2", "33", "140"}));
}

TEST_F(RecordedProcesses, EveryPropertyOfOne) {
  const Rows rows = rows_of(*provider, {numbered(1)});
  ASSERT_EQ(rows.size(), 1U);
  cim::Instance& row = *rows.front();
  EXPECT_EQ(text_of(row, "Name"), "init");
  EXPECT_EQ(text_of(row, "Caption"), "init");
  EXPECT_EQ(text_of(row, "Handle"), "1");
  EXPECT_EQ(number_of(row, "ProcessId"), 1U);
  EXPECT_EQ(number_of(row, "ParentProcessId"), 0U);
  EXPECT_EQ(number_of(row, "ThreadCount"), 1U);
  EXPECT_EQ(number_of(row, "WorkingSetSize"), 712U * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
  EXPECT_EQ(number_of(row, "PeakWorkingSetSize"), 3100U) << "kilobytes";
  EXPECT_EQ(number_of(row, "PageFileUsage"), 24U) << "kilobytes";
  EXPECT_EQ(number_of(row, "PrivatePageCount"), 524U * 1024) << "bytes";
  EXPECT_EQ(number_of(row, "PeakVirtualSize"), 12000U * 1024) << "bytes";
  EXPECT_EQ(number_of(row, "VirtualSize"), 10485760U);
  EXPECT_EQ(number_of(row, "PageFaults"), 507U);
  EXPECT_EQ(number_of(row, "KernelModeTime"), 125U * 100'000) << "100 ns, from ticks of 10 ms";
  EXPECT_EQ(number_of(row, "UserModeTime"), 250U * 100'000);
  EXPECT_EQ(number_of(row, "ReadOperationCount"), 14U);
  EXPECT_EQ(number_of(row, "ReadTransferCount"), 8686U);
  EXPECT_EQ(number_of(row, "WriteOperationCount"), 2U);
  EXPECT_EQ(number_of(row, "WriteTransferCount"), 1710U);
  EXPECT_EQ(number_of(row, "HandleCount"), 2U);
  EXPECT_EQ(number_of(row, "SessionId"), 0U) << "no login session";
  EXPECT_EQ(number_of(row, "Priority"), 8U);
  EXPECT_EQ(number_of(row, "ExecutionState"), 4U);
  EXPECT_EQ(text_of(row, "CommandLine"), R"(/sbin/init "splash arg")");
  EXPECT_EQ(text_of(row, "ExecutablePath"), R"(C:\usr\lib\systemd\systemd)");
  EXPECT_EQ(text_of(row, "CSName"), "host1");
  EXPECT_EQ(text_of(row, "OSName"), "Some System 12");
  EXPECT_EQ(text_of(row, "WindowsVersion"), "12");
  EXPECT_EQ(text_of(row, "CreationClassName"), "Win32_Process");
  // Boot at 1,700,000,000 - 1000 s (21:56:40 UTC), started 5 ticks later; the clock is an hour ahead.
  EXPECT_EQ(text_of(row, "CreationDate"), "20231114225640.050000+060");
  EXPECT_TRUE(get(row, "TerminationDate").is_null());
}

TEST_F(RecordedProcesses, KernelThreadHasNoProgram) {
  const Rows rows = rows_of(*provider, {named("kthreadd")});
  ASSERT_EQ(rows.size(), 1U);
  for (const char* property : {"CommandLine", "ExecutablePath", "WorkingSetSize", "PageFileUsage"}) {
    EXPECT_TRUE(get(*rows.front(), property).is_null()) << property;
  }
}

// With the work it would seem to end and begin from one second to the next.
TEST_F(RecordedProcesses, KernelWorkerKeepsItsNameWhateverItWorksOn) {
  for (const char* comm : {"kworker/1:0-events", "kworker/1:0+mm_percpu_wq"}) {
    add(44, comm, "44 (" + std::string(comm) + ") I 2 0 0 0 -1 69238880 0 0 0 0 0 3 0 0 20 0 1 0 60 0 0 0");
    const Rows rows = rows_of(*provider, {named("kworker/1:0")});
    ASSERT_EQ(texts_of(rows, "Handle"), std::vector<std::string>{"44"});
    EXPECT_EQ(text_of(*rows.front(), "Name"), "kworker/1:0");
    EXPECT_EQ(handles({named(comm)}), std::vector<std::string>{});
  }
}

TEST_F(RecordedProcesses, NameQueryTakesAnyCase) {
  EXPECT_EQ(handles({named("Init")}), (std::vector<std::string>{"1", "33"}));
  EXPECT_EQ(handles({named("init2")}), std::vector<std::string>{});
}

TEST_F(RecordedProcesses, CutNameIsCompleted) {
  EXPECT_EQ(handles({named("A-rather-long-name")}), std::vector<std::string>{"140"});
  EXPECT_EQ(handles({named("a-rather-long-n")}), std::vector<std::string>{}) << "that is not its name";
  const Rows rows = rows_of(*provider, {numbered(140)});
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(text_of(*rows.front(), "Name"), "a-rather-long-name");
  EXPECT_EQ(text_of(*rows.front(), "ExecutablePath"), R"(C:\opt\x\a-rather-long-name)")
      << "though it was deleted";
  EXPECT_EQ(number_of(*rows.front(), "Priority"), 4U);
  EXPECT_EQ(number_of(*rows.front(), "SessionId"), 7U);
}

TEST_F(RecordedProcesses, NameQueryReadsNoOtherFileOfOtherProcesses) {
  for (const char* path :
       {"/proc/2/stat", "/proc/33/stat", "/proc/140/stat", "/proc/140/cmdline", "/proc/140/exe"}) {
    machine.remove(path);
  }
  EXPECT_EQ(handles({named("kthreadd")}), std::vector<std::string>{"2"});
}

TEST_F(RecordedProcesses, NumberQueryNeedsNoPass) {
  machine.remove("/proc/2");
  EXPECT_EQ(handles({numbered(140)}), std::vector<std::string>{"140"});
  EXPECT_EQ(handles({numbered(2)}), std::vector<std::string>{}) << "gone";
  EXPECT_EQ(handles({equals(*provider, "Handle", "140"), numbered(1)}),
            (std::vector<std::string>{"1", "140"}));
  EXPECT_EQ(handles({equals(*provider, "Handle", "x")}), std::vector<std::string>{});
  EXPECT_EQ(handles({numbered(0)}), std::vector<std::string>{});
  EXPECT_EQ(handles({numbered(4294967295)}), std::vector<std::string>{});
}

TEST_F(RecordedProcesses, NumberAndNameTogether) {
  EXPECT_EQ(handles({numbered(140), named("INIT")}), (std::vector<std::string>{"1", "33", "140"}));
}

TEST_F(RecordedProcesses, EndedButNotCollectedIsListedAndSaysSo) {
  machine.write("/proc/33/statm", "0 0 0 0 0 0 0\n");
  const Rows rows = rows_of(*provider, {named("INIT")});
  ASSERT_EQ(texts_of(rows, "Handle"), (std::vector<std::string>{"1", "33"}));
  EXPECT_EQ(number_of(*rows[1], "ExecutionState"), 7U);
  for (const char* property : {"WorkingSetSize", "VirtualSize", "PrivatePageCount", "ExecutablePath"}) {
    EXPECT_TRUE(get(*rows[1], property).is_null()) << property;
  }
}

TEST_F(RecordedProcesses, MemoryOfAKernelThreadIsNone) {
  machine.write("/proc/2/statm", "0 0 0 0 0 0 0\n");
  EXPECT_EQ(number_of(*rows_of(*provider, {named("kthreadd")}).at(0), "WorkingSetSize"), 0U);
}

// With the cut one it would seem to end and to begin once more under it.
TEST_F(RecordedProcesses, NameThatMayBeCutIsNoneOnceItsFilesAreGone) {
  const std::string_view numbers = " 1 140 140 0 -1 4194304 9 0 0 0 7 8 0 0 20 19 4 0 90000 0 0 0";
  const auto name = [&] { return text_of(*rows_of(*provider, {numbered(140)}).at(0), "Name"); };
  machine.remove("/proc/140/exe");
  machine.write("/proc/140/cmdline", "");
  EXPECT_EQ(name(), "a-rather-long-n") << "a kernel thread has no files";
  add(140, "a-rather-long-n", "140 (a-rather-long-n) Z" + std::string(numbers));
  EXPECT_EQ(name(), "(null)");
  EXPECT_EQ(handles({named("a-rather-long-n")}), std::vector<std::string>{});
  EXPECT_EQ(handles({named("a-rather-long-n"), numbered(140)}), std::vector<std::string>{"140"});
}

TEST_F(RecordedProcesses, WithoutADescriptorNothingHasEnded) {
  const auto row = rows_of(*provider, {numbered(1)}).front();
  {
    const NoDescriptors shortage;
    for (const char* property : {"Name", "CommandLine", "WorkingSetSize", "ThreadCount", "HandleCount"}) {
      EXPECT_THROW(get(*row, property), Error) << property;
    }
    EXPECT_THROW(rows_of(*provider), Error);
    EXPECT_THROW(handles({numbered(1)}), Error);
  }
  EXPECT_EQ(text_of(*row, "Name"), "init");
}

TEST_F(RecordedProcesses, WhatCouldNotBeOpenedAtTheBeginningIsOpenedLater) {
  const std::vector<std::size_t> handle{column_of(provider->schema(), "Handle")};
  {
    const NoDescriptors shortage;
    provider = providers::make_win32_process(machine);
    EXPECT_THROW(rows_of(*provider), Error);
    EXPECT_THROW(static_cast<void>(provider->change_token(handle)), Error);
  }
  EXPECT_EQ(handles({}), (std::vector<std::string>{"1", "2", "33", "140"}));
  EXPECT_TRUE(provider->change_token(handle));
}

TEST_F(RecordedProcesses, OneThatIsForkedWhileTheyAreListedIsNotTakenForAnother) {
  const auto fork_once = [&, forked = false]() mutable {
    const auto now = machine.booted;
    if (!std::exchange(forked, true)) {
      // Two ticks after this look at the clock.
      add(150, "late", "150 (late) S 1 150 150 0 -1 0 9 0 0 0 7 8 0 0 20 0 1 0 100002 0 0 0");
      machine.write("/proc/150/status", "Name:\tlate\nTgid:\t150\n");
      machine.booted += std::chrono::milliseconds(50);
    }
    return now;
  };
  const std::vector<embedded::Equality> all;
  for (const auto& wanted : {all, {named("late")}, {numbered(150)}}) {
    machine.remove("/proc/150");
    machine.booted = std::chrono::seconds(1000);
    machine.boot_time = fork_once;
    for (const char* when : {"meanwhile", "before"}) {
      for (const auto& row : rows_of(*provider, wanted)) {
        EXPECT_FALSE(get(*row, "ThreadCount").is_null()) << text_of(*row, "Handle") << " " << when;
      }
    }
    EXPECT_EQ(handles(wanted).back(), "150");
  }
}

TEST_F(RecordedProcesses, NumberOfAThreadIsNoProcess) {
  machine.write("/proc/141/status", "Name:\tx\nTgid:\t140\n");
  EXPECT_EQ(handles({numbered(141)}), std::vector<std::string>{});
}

TEST_F(RecordedProcesses, PropertiesOfAnEndedProcessAreNull) {
  const Rows rows = rows_of(*provider, {numbered(140)});
  machine.remove("/proc/140");
  for (const char* property :
       {"Name", "ThreadCount", "WorkingSetSize", "CommandLine", "CreationDate", "SessionId"}) {
    EXPECT_TRUE(get(*rows.front(), property).is_null()) << property;
  }
  EXPECT_EQ(text_of(*rows.front(), "Handle"), "140");
}

TEST_F(RecordedProcesses, LaterProcessOfTheSameNumberIsAnotherOne) {
  const Rows rows = rows_of(*provider, {numbered(140)});
  machine.booted += std::chrono::seconds(500);
  add(140, "other", "140 (other) R 1 140 140 0 -1 4194304 9 0 0 0 7 8 0 0 20 19 4 0 140000 4096 1 0");
  machine.write("/proc/140/statm", "10 10 0 0 0 0 0\n");
  for (const char* property : {"Name", "ThreadCount", "WorkingSetSize", "CommandLine"}) {
    EXPECT_TRUE(get(*rows.front(), property).is_null()) << property;
  }
}

TEST_F(RecordedProcesses, CreationDateDoesNotFollowTheClock) {
  const std::string before = text_of(*rows_of(*provider, {numbered(1)}).front(), "CreationDate");
  machine.wall += std::chrono::hours(5);
  EXPECT_EQ(text_of(*rows_of(*provider, {numbered(1)}).front(), "CreationDate"), before);
}

TEST_F(RecordedProcesses, CreationDateIsTheSameForEveryProgramThatAsks) {
  // Two programs never read the two clocks at the same distance from each other.
  machine.wall += std::chrono::milliseconds(4);
  const auto date = [&] { return text_of(*rows_of(*provider, {numbered(1)}).front(), "CreationDate"); };
  provider = providers::make_win32_process(machine);
  const std::string one = date();
  machine.wall += std::chrono::microseconds(37);
  provider = providers::make_win32_process(machine);
  EXPECT_EQ(date(), one);
}

TEST_F(RecordedProcesses, TerminateAnswersWmisCodes) {
  int result = 0;
  pid_t asked = 0;
  bool wanted = false;
  machine.kill_process = [&](pid_t pid, const std::function<bool()>& still_wanted) {
    asked = pid;
    wanted = still_wanted();
    return wanted ? result : ESRCH;
  };
  const Rows rows = rows_of(*provider, {numbered(140)});
  EXPECT_EQ(call(*rows.front(), "Terminate", {cim::Value(std::uint64_t{1})}), 0U);
  EXPECT_EQ(asked, 140);
  result = EPERM;
  EXPECT_EQ(call(*rows.front(), "Terminate"), 2U) << "access denied; the reason may be left out";
  result = EINVAL;
  EXPECT_EQ(call(*rows.front(), "Terminate"), 8U);
  add(140, "other", "140 (other) R 1 140 140 0 -1 4194304 9 0 0 0 7 8 0 0 20 19 4 0 140000 4096 1 0");
  EXPECT_EQ(call(*rows.front(), "Terminate"), 9U) << "the number belongs to another process now";
  EXPECT_FALSE(wanted);
}

TEST_F(RecordedProcesses, RowsEndWhenTheCallerHasEnough) {
  int rows = 0;
  provider->enumerate({}, [&](const std::shared_ptr<cim::Instance>&) { return ++rows < 2; });
  EXPECT_EQ(rows, 2);
}

TEST_F(RecordedProcesses, WithoutEventsOnlyFixedColumnsCanBeVouchedFor) {
  const std::size_t handle = column_of(provider->schema(), "Handle");
  const std::size_t name = column_of(provider->schema(), "Name");
  const auto token = provider->change_token(std::vector{handle});
  ASSERT_TRUE(token);
  EXPECT_EQ(provider->change_token(std::vector{handle}), token);
  EXPECT_FALSE(provider->change_token(std::vector{handle, name})) << "exec renames without a trace";
  machine.write("/proc/loadavg", "0.42 0.29 0.17 1/134 14469\n");
  EXPECT_NE(provider->change_token(std::vector{handle}), token) << "one has ended";
  machine.write("/proc/stat", "btime 1699999000\nprocesses 14461\n");
  machine.write("/proc/loadavg", "0.42 0.29 0.17 1/135 14470\n");
  EXPECT_NE(provider->change_token(std::vector{handle}), token) << "one has ended and another begun";
}

TEST(Win32Process, UnreadableProcIsAFailureAndNotEmpty) {
  RecordedMachine machine;
  machine.remove("/proc");
  const auto provider = providers::make_win32_process(machine);
  try {
    rows_of(*provider);
    FAIL();
  } catch (const Error& error) {
    EXPECT_TRUE(wmi::is_status(error, wmi::Status::provider_failure));
    EXPECT_EQ(error.description(), "Provider failure ");
  }
}

/// The machine that the test runs on.
class LiveProcesses : public ::testing::Test {
 protected:
  LiveProcesses() { machine.state = "/dev/null"; }  // tests keep nothing
  std::shared_ptr<cim::Instance> row_of(pid_t pid) {
    Rows rows =
        rows_of(*provider, {equals(*provider, "ProcessId", cim::Value(static_cast<std::uint64_t>(pid)))});
    if (rows.size() != 1) throw std::runtime_error("not one row");
    return rows.front();
  }
  std::vector<std::size_t> columns(const std::vector<std::string>& properties) {
    std::vector<std::size_t> found;
    found.reserve(properties.size());
    for (const auto& property : properties) found.push_back(column_of(provider->schema(), property));
    return found;
  }
  std::optional<std::uint64_t> token(const std::vector<std::string>& properties) {
    // Other processes may fork between the reads of the files.
    for (int attempt = 0; attempt < 1000; ++attempt) {
      if (const auto found = provider->change_token(columns(properties))) return found;
    }
    return std::nullopt;
  }

  Machine machine;
  std::unique_ptr<embedded::Provider> provider = providers::make_win32_process(machine);
};

TEST_F(LiveProcesses, EndedButNotCollectedIsListedAndSaysSo) {
  const pid_t pid = fork();
  if (pid == 0) _exit(0);
  siginfo_t ended{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT), 0);
  const auto row = row_of(pid);
  EXPECT_EQ(number_of(*row, "ExecutionState"), 7U);
  EXPECT_EQ(text_of(*row, "Name"), text_of(*row_of(getpid()), "Name")) << "as long as it is not collected";
  EXPECT_TRUE(get(*row, "WorkingSetSize").is_null());
  EXPECT_TRUE(get(*row, "ExecutablePath").is_null());
  EXPECT_TRUE(get(*row, "CommandLine").is_null());
  EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
}

TEST_F(LiveProcesses, ThisProcessIsAmongAll) {
  const Rows rows = rows_of(*provider);
  std::set<std::string> handles;
  for (const auto& row : rows) handles.insert(text_of(*row, "Handle"));
  EXPECT_EQ(handles.size(), rows.size());
  EXPECT_EQ(handles.count(std::to_string(getpid())), 1U);
  EXPECT_EQ(handles.count("1"), 1U);
}

TEST_F(LiveProcesses, ChildIsFoundByNameAndMeasuredAndEnded) {
  ChildProcess child("/bin/sleep", {"sleep", "1000"});
  const Rows rows = rows_of(*provider, {equals(*provider, "Name", "SLEEP")});
  const auto found = std::find_if(rows.begin(), rows.end(), [&](const auto& row) {
    return text_of(*row, "Handle") == std::to_string(child.pid());
  });
  ASSERT_NE(found, rows.end());
  cim::Instance& row = **found;
  EXPECT_EQ(text_of(row, "Name"), "sleep");
  EXPECT_EQ(text_of(row, "CommandLine"), "sleep 1000");
  EXPECT_EQ(number_of(row, "ParentProcessId"), static_cast<std::uint64_t>(getpid()));
  EXPECT_EQ(number_of(row, "ThreadCount"), 1U);
  EXPECT_GT(number_of(row, "WorkingSetSize"), 0U);
  EXPECT_EQ(call(row, "Terminate", {cim::Value(std::uint64_t{1})}), 0U);
  const int status = child.wait();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  EXPECT_EQ(call(row, "Terminate", {cim::Value(std::uint64_t{1})}), 9U) << "it is gone";
  EXPECT_TRUE(rows_of(*provider, {equals(*provider, "Handle", text_of(row, "Handle"))}).empty());
}

TEST_F(LiveProcesses, NameBeyondFifteenBytesComesFromTheProgramOrItsFirstArgument) {
  namespace fs = std::filesystem;
  RecordedMachine folder;
  const std::string program = folder.root + "/a-program-with-a-long-name";
  fs::copy_file("/bin/sleep", program);
  const ChildProcess child(program, {"x", "1000"});
  EXPECT_EQ(text_of(*row_of(child.pid()), "Name"), "a-program-with-a-long-name");
  EXPECT_EQ(rows_of(*provider, {equals(*provider, "Name", "A-Program-With-A-Long-Name")}).size(), 1U);
}

TEST_F(LiveProcesses, WorkingSetFollowsTheMemoryThatIsTouched) {
  const std::uint64_t before = number_of(*row_of(getpid()), "WorkingSetSize");
  constexpr std::size_t kSize = 64U << 20U;
  // Filled by the kernel, so that nothing but these pages comes into memory.
  void* memory =
      mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  const std::uint64_t after = number_of(*row_of(getpid()), "WorkingSetSize");
  EXPECT_GE(after, before + kSize * 9 / 10);
  EXPECT_LE(after, before + kSize * 12 / 10);
  EXPECT_EQ(munmap(memory, kSize), 0);
}

TEST_F(LiveProcesses, ComingAndGoingChangesTheToken) {
  const auto before = token({"Handle"});
  ASSERT_TRUE(before);
  ChildProcess child("/bin/sleep", {"sleep", "1000"});
  const auto during = token({"Handle"});
  EXPECT_NE(during, before);
  child.end();
  EXPECT_NE(token({"Handle"}), during);
}

// That nothing else of the machine has changed it is not to be had here; which events there are is
// process_events_test.cpp's.
TEST_F(LiveProcesses, ANewNameChangesTheToken) {
  const auto before = token({"Handle", "Name"});
  if (!before) GTEST_SKIP() << "the kernel tells this process of no process events";
  EXPECT_TRUE(token({"Handle", "Name", "ProcessId", "CreationClassName", "Status"}))
      << "what never changes is vouched for too";
  EXPECT_FALSE(provider->change_token(columns({"Handle", "Name", "WorkingSetSize"})));
  std::array<char, 16> name{};
  prctl(PR_GET_NAME, name.data());
  prctl(PR_SET_NAME, name.data());
  EXPECT_NE(token({"Handle", "Name"}), before);
}

TEST_F(LiveProcesses, CreationDateIsTheMomentOfTheStart) {
  const std::int64_t before = machine.wall_time().count();
  const ChildProcess child("/bin/sleep", {"sleep", "1000"});
  const std::int64_t after = machine.wall_time().count();
  const auto date = cim::DateTime::parse(text_of(*row_of(child.pid()), "CreationDate"));
  ASSERT_TRUE(date);
  const std::int64_t started = date->utc().time_since_epoch().count();
  // The kernel counts in steps of 10 ms and cuts.
  EXPECT_GE(started, before - 20'000);
  EXPECT_LE(started, after);
}

}  // namespace
}  // namespace kvwmi::ground
