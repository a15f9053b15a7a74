#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "kvwmi/codes.h"
#include "stand_in/supervision_fixture.h"

// The watches that WMI serves, end to end: from a change of the machine through
// the service's worker thread, the sink's connection point and this thread's
// message loop, to the record and the agent's event.
namespace kvwmi::stand_in {
namespace {

using namespace condition;
using namespace unit;
using U = std::uint64_t;

Currency currency(const char* text) {
  return Currency::from_text(text);
}

std::size_t add_operating_system(Repository& machine) {
  return machine.add("Win32_OperatingSystem", {{"Name", "os"},
                                               {"FreePhysicalMemory", U{900'000}},
                                               {"TotalVisibleMemorySize", U{1'000'000}},
                                               {"FreeVirtualMemory", U{900'000}},
                                               {"TotalVirtualMemorySize", U{1'000'000}},
                                               {"FreeSpaceInPagingFiles", U{900'000}},
                                               {"SizeStoredInPagingFiles", U{1'000'000}}});
}

TEST_F(SupervisionOnWindows, DiskFreeSpace) {
  const auto disk = machine->add("Win32_LogicalDisk", {{"DeviceID", "C:"},
                                                       {"DriveType", U{3}},
                                                       {"FreeSpace", U{90'000'000'000}},
                                                       {"Size", U{100'000'000'000}}});
  EXPECT_EQ(
      supervision.m_SuperviseDiskFreeSpace(kStep, kWatch, "C:", kLess, currency("10"), kPercent, kPeriod), 0);
  machine->rows("Win32_LogicalDisk").set(disk, "FreeSpace", U{9'999'999'999});
  EXPECT_EQ(next_record(), Record(kWatch, "Value: 9999999999 Bytes"));
}

TEST_F(SupervisionOnWindows, AChangeThatDoesNotCrossTheThresholdIsNoEvent) {
  const auto disk = machine->add("Win32_LogicalDisk",
                                 {{"DeviceID", "C:"}, {"DriveType", U{3}}, {"FreeSpace", U{90'000'000'000}}});
  supervision.m_SuperviseDiskFreeSpace(kStep, kWatch, "C:", kLess, currency("10"), kMegabytes, kPeriod);
  change_and_be_seen("Win32_LogicalDisk",
                     [&](auto& disks) { disks.set(disk, "FreeSpace", U{80'000'000'000}); });
  machine->rows("Win32_LogicalDisk").set(disk, "FreeSpace", U{9'000'000});
  EXPECT_EQ(next_record(), Record(kWatch, "Value: 9000000 Bytes"));  // the first and only one
  EXPECT_EQ(pop(), Record(0, ""));
}

TEST_F(SupervisionOnWindows, ProcessMemorySize) {
  const auto process =
      machine->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}, {"WorkingSetSize", U{1}}});
  supervision.m_SuperviseProcessMemorySize(kStep, kWatch, "a.exe", kGreater, currency("1"), kMegabytes,
                                           kPeriod);
  machine->rows("Win32_Process").set(process, "WorkingSetSize", U{2'000'000});
  EXPECT_EQ(next_record(), Record(kWatch, "Value: 2000000 Bytes"));
}

TEST_F(SupervisionOnWindows, FreeMemoryOfEveryKind) {
  using Request = std::int32_t (Supervision::*)(std::int32_t, std::int32_t, std::int32_t, Currency,
                                                std::int32_t, std::int32_t, std::int32_t, std::int32_t, bool);
  const std::vector<std::pair<Request, const char*>> kinds{
      {&Supervision::m_SuperviseFreePhysicalMemorySize, "FreePhysicalMemory"},
      {&Supervision::m_SuperviseFreeVirtualMemorySize, "FreeVirtualMemory"},
      {&Supervision::m_SuperviseFreePagingFilesSize, "FreeSpaceInPagingFiles"},
  };
  const auto row = add_operating_system(*machine);
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const auto watch = static_cast<std::int32_t>(10 + i);
    (supervision.*kinds[i].first)(kStep, watch, kLess, currency("20"), kPercent, kPeriod, 0, 0, false);
    // The watch before this one sees every change of the row, and its own value
    // is low already.
    machine->rows("Win32_OperatingSystem").set(row, kinds[i].second, U{100'000});
    EXPECT_EQ(next_record(), Record(watch, "Value: 100000 Kilobytes")) << kinds[i].second;
    EXPECT_EQ(pop(), Record(0, ""));
    change_and_be_seen("Win32_OperatingSystem",
                       [&](auto& systems) { systems.set(row, kinds[i].second, U{900'000}); });
  }
}

TEST_F(SupervisionOnWindows, ProcessorLoadPercentage) {
  const auto processor = machine->add("Win32_Processor", {{"DeviceID", "CPU0"}, {"LoadPercentage", U{5}}});
  supervision.m_SuperviseProcessorLoadPercentage(kStep, kWatch, kGreater, 90, kPeriod);
  machine->rows("Win32_Processor").set(processor, "LoadPercentage", U{95});
  EXPECT_EQ(next_record(), Record(kWatch, "Value: 95 %"));
}

TEST_F(SupervisionOnWindows, Service) {
  const auto service = machine->add(
      "Win32_Service",
      {{"Name", "svc"}, {"DisplayName", "Some service"}, {"State", "Running"}, {"Started", true}});
  supervision.m_SuperviseService(kStep, kWatch, "Some service", true, true, kPeriod);
  machine->rows("Win32_Service").set(service, "State", "Stopped");
  EXPECT_EQ(next_record(), Record(kWatch, ""));
  machine->rows("Win32_Service").set(service, "State", "Running");
  EXPECT_EQ(next_record(), Record(kWatch, ""));
}

TEST_F(SupervisionOnWindows, AGroupOfChangesIsOneRecord) {
  const auto service =
      machine->add("Win32_Service", {{"Name", "svc"}, {"DisplayName", "Some service"}, {"State", "Running"}});
  supervision.m_SuperviseService(kStep, kWatch, "Some service", true, true, kPeriod, 3, 0);
  change_and_be_seen("Win32_Service", [&](auto& services) { services.set(service, "State", "Stopped"); });
  machine->rows("Win32_Service").set(service, "State", "Running");
  EXPECT_EQ(next_record(), Record(kWatch, ""));
  EXPECT_EQ(pop(), Record(0, ""));
}

TEST_F(SupervisionOnWindows, PowerSource) {
  const auto battery = machine->add("Win32_Battery", {{"DeviceID", "b"}, {"BatteryStatus", U{2}}});
  supervision.m_SupervisePowerSource(kStep, kWatch, 26, kPeriod);
  machine->rows("Win32_Battery").set(battery, "BatteryStatus", U{1});
  EXPECT_EQ(next_record(), Record(kWatch, ""));
}

TEST_F(SupervisionOnWindows, Process) {
  supervision.m_SuperviseProcess(kStep, kWatch, "a.exe", true, true, kPeriod);
  const auto process = machine->add("Win32_Process", {{"Handle", "7"}, {"Name", "A.exe"}});
  EXPECT_EQ(next_record(), Record(kWatch, ""));
  machine->rows("Win32_Process").remove(process);
  EXPECT_EQ(next_record(), Record(kWatch, ""));
  change_and_be_seen("Win32_Process", [](auto& processes) {
    processes.add({{"Handle", "8"}, {"Name", "other.exe"}});
  });
  machine->add("Win32_Process", {{"Handle", "9"}, {"Name", "a.exe"}});
  EXPECT_EQ(next_record(), Record(kWatch, ""));
  EXPECT_EQ(pop(), Record(0, ""));
}

TEST_F(SupervisionOnWindows, AfterTheReleaseNothingIsDelivered) {
  const auto processor = machine->add("Win32_Processor", {{"DeviceID", "CPU0"}, {"LoadPercentage", U{5}}});
  supervision.m_SuperviseProcessorLoadPercentage(kStep, kWatch, kGreater, 90, kPeriod);
  supervision.m_Release();
  // Another engine tells when the change has been delivered.
  Supervision other;
  other.p_strSupervisionEventName(event_name);
  other.m_Initialize();
  other.m_SuperviseProcessorLoadPercentage(kStep, kWatch, kGreater, 90, kPeriod);
  machine->rows("Win32_Processor").set(processor, "LoadPercentage", U{95});
  ASSERT_TRUE(message_loop::run_until([&] { return event.wait(std::chrono::milliseconds(0)); }, kDeadline));
  EXPECT_EQ(pop(), Record(0, ""));
  other.m_Release();
}

TEST_F(SupervisionOnWindows, ARefusedQueryIsTheServicesOwnError) {
  try {
    supervision.m_SuperviseService(kStep, kWatch, "O'Neil");
    FAIL() << "the query was taken";
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x8004020F));
    EXPECT_EQ(error.source(), "SWbemServicesEx\r\n\tKVWMI : Supervision.m_SuperviseService");
    EXPECT_EQ(error.description(), "Unparsable query. ");
  }
}

}  // namespace
}  // namespace kvwmi::stand_in
