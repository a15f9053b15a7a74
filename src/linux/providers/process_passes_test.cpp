// How often a query goes through the processes of the machine: the folder of a recorded one tells when it is
// opened, whoever does it and in whichever way.
#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "linux/descriptor.h"
#include "linux/providers/factories.h"
#include "linux/providers/make_providers.h"
#include "linux/testing/recorded_machine.h"
#include "wmi/service.h"

namespace kvwmi::ground {
namespace {

using namespace testing;

/// Counts how often things are opened from now on.
class Opened {
 public:
  explicit Opened(const std::string& folder)
      : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
        // With the ends of its readings in between, two openings are never told as one.
        watch_(inotify_add_watch(events_.get(), folder.c_str(), IN_OPEN | IN_CLOSE_NOWRITE | IN_ACCESS)) {
    if (watch_ < 0) throw std::runtime_error("cannot watch " + folder);
  }
  /// The folder itself, opened to be listed.
  int listings() { return count(""); }
  /// A file in it, opened or, as IN_ACCESS, read.
  int count(std::string_view wanted, std::uint32_t how = IN_OPEN) {
    int found = 0;
    alignas(inotify_event) std::array<char, 16384> buffer{};
    for (ssize_t got = 0; (got = read(events_.get(), buffer.data(), buffer.size())) > 0;) {
      for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof event);
        const std::string_view name = event.len == 0 ? "" : buffer.data() + at + sizeof event;
        if ((event.mask & IN_Q_OVERFLOW) != 0) throw std::runtime_error("too many openings to count");
        if ((event.mask & how) != 0 && name == wanted) ++found;
        at += sizeof event + event.len;
      }
    }
    return found;
  }

 private:
  Descriptor events_;
  int watch_;
};

class ProcessPasses : public ::testing::Test {
 protected:
  ProcessPasses() {
    machine.write("/proc/stat", "cpu0 1 2 3 4 5 6 7 8\nbtime 1699999000\nprocesses 14460\n");
    machine.write("/proc/loadavg", "0.42 0.29 0.17 1/135 14469\n");
    machine.write("/proc/uptime", "1000.00 900.00\n");
    machine.write("/proc/meminfo", "MemTotal: 100 kB\n");
    for (int pid = 1; pid <= 40; ++pid) {
      const std::string folder = "/proc/" + std::to_string(pid);
      const std::string name = pid % 4 == 0 ? "needle" : "sleeper";
      machine.write(folder + "/comm", name + "\n");
      machine.write(folder + "/stat", std::to_string(pid) + " (" + name +
                                          ") S 0 1 1 0 -1 4194560 500 60 7 2 250 125 11 12 20 0 1 0 5 "
                                          "10485760 900 0\n");
      machine.write(folder + "/statm", "3000 712 400 5 0 90 0\n");
      machine.write(folder + "/status", "Name:\t" + name + "\nTgid:\t" + std::to_string(pid) + "\n");
    }
    for (auto& provider : make_providers(machine)) service.add(std::move(provider));
    services = service.create_locator()->connect_server(wmi::ConnectArguments());
  }

  /// Asks, and reads every property of every object, or those that are named; the passes that it took.
  int passes(const std::string& query, const std::vector<std::string>& properties = {}) {
    Opened opened(machine.proc);
    const auto set = services->exec_query(query);
    rows = set->count();
    const auto objects = set->enumerate();
    while (const auto object = objects->next()) {
      if (properties.empty()) static_cast<void>(object->properties());
      for (const std::string& property : properties) static_cast<void>(object->get(property));
    }
    return opened.listings();
  }

  RecordedMachine machine;
  embedded::Service service;
  std::shared_ptr<wmi::Services> services;
  std::int32_t rows = 0;
};

TEST_F(ProcessPasses, AreCounted) {
  Opened opened(machine.proc);
  for (int i = 0; i < 3; ++i) static_cast<void>(std::filesystem::directory_iterator(machine.proc));
  static_cast<void>(Descriptor(open((machine.proc + "/stat").c_str(), O_RDONLY)));
  EXPECT_EQ(opened.listings(), 3);
}

TEST_F(ProcessPasses, ExistenceByNameIsOne) {
  Opened opened(machine.proc);
  EXPECT_EQ(services->exec_query("SELECT * FROM Win32_Process WHERE Name='needle'")->count(), 10);
  EXPECT_EQ(opened.listings(), 1);
  EXPECT_EQ(passes("SELECT * FROM Win32_Process WHERE Name='nobody'"), 1);
  EXPECT_EQ(rows, 0);
}

TEST_F(ProcessPasses, ANameThatTheProgramCompletesCostsNoLookAtTheArguments) {
  machine.write("/proc/7/comm", "a-rather-long-n\n");
  machine.write("/proc/7/cmdline", "a-rather-long-name");
  Opened opened(machine.proc + "/7");
  EXPECT_EQ(passes("SELECT Name FROM Win32_Process WHERE Name='a-rather-long-name'"), 1);
  EXPECT_EQ(rows, 1);
  EXPECT_EQ(opened.count("cmdline"), 1);
  machine.link("/proc/7/exe", "/bin/a-rather-long-name");
  EXPECT_EQ(passes("SELECT Name FROM Win32_Process WHERE Name='a-rather-long-name'"), 1);
  EXPECT_EQ(rows, 1);
  EXPECT_EQ(opened.count("cmdline"), 0);
}

TEST_F(ProcessPasses, ByNumberThereIsNone) {
  EXPECT_EQ(passes("SELECT * FROM Win32_Process WHERE ProcessId=7"), 0);
  EXPECT_EQ(rows, 1);
  EXPECT_EQ(passes("SELECT * FROM Win32_Process WHERE ProcessId=7 OR Handle='8' OR ProcessId=999"), 0);
  EXPECT_EQ(rows, 2);
}

TEST_F(ProcessPasses, TheWholeListWithItsMemoryIsOne) {
  EXPECT_EQ(passes("SELECT Handle, WorkingSetSize FROM Win32_Process"), 1);
  EXPECT_EQ(rows, 40);
  EXPECT_EQ(passes("SELECT * FROM Win32_Process"), 1) << "and with everything else";
  EXPECT_EQ(passes("SELECT * FROM Win32_Process WHERE WorkingSetSize > 1 AND Name LIKE 'n%'"), 1);
  EXPECT_EQ(rows, 10);
}

TEST_F(ProcessPasses, TheCountersAreOne) {
  EXPECT_EQ(passes("SELECT * FROM Win32_PerfRawData_PerfProc_Process"), 1)
      << "names, sums of all and the list itself";
  EXPECT_EQ(rows, 42) << "with Idle and _Total";
  EXPECT_EQ(passes("SELECT * FROM Win32_PerfRawData_PerfProc_Process WHERE Name='_Total'"), 1)
      << "one for all its sums";
  EXPECT_EQ(rows, 1);
  EXPECT_EQ(passes("SELECT * FROM Win32_PerfRawData_PerfProc_Process WHERE Name='needle#3'"), 1);
  EXPECT_EQ(rows, 1);
}

// What m_GetProcessCPULoadPercentage asks: for the processes of a name once, for their counters twice.
TEST_F(ProcessPasses, TheLoadOfAProcessIsOneForEachQuery) {
  EXPECT_EQ(passes("SELECT * FROM Win32_Process WHERE Name='needle'", {"ProcessId"}), 1);
  EXPECT_EQ(rows, 10);
  const std::string counters =
      "SELECT * FROM Win32_PerfRawData_PerfProc_Process WHERE Name='_Total' OR IDProcess=8 OR IDProcess=12";
  EXPECT_EQ(passes(counters, {"Name", "PercentProcessorTime"}), 1)
      << "an instance name depends on all others";
  EXPECT_EQ(rows, 3);
  EXPECT_EQ(passes(counters, {"PercentProcessorTime"}), 0) << "the times alone";
}

// Reading it takes the kernel time for each processor and each interrupt.
TEST_F(ProcessPasses, TheTokenOfTheProcessesReadsStatOnce) {
  const auto provider = providers::make_win32_process(machine);
  Opened opened(machine.proc);
  EXPECT_TRUE(provider->change_token(std::vector{column_of(provider->schema(), "Handle")}));
  EXPECT_EQ(opened.count("stat", IN_ACCESS), 1);
}

TEST_F(ProcessPasses, TheNumberOfProcessesIsOne) {
  EXPECT_EQ(passes("SELECT NumberOfProcesses FROM Win32_OperatingSystem"), 1);
  EXPECT_EQ(passes("SELECT FreePhysicalMemory FROM Win32_OperatingSystem", {"FreePhysicalMemory"}), 0);
}

}  // namespace
}  // namespace kvwmi::ground
