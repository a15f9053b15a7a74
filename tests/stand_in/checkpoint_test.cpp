#include "kvwmi/checkpoint.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <objbase.h>

#include <optional>

#include "frame/runtime_error.h"
#include "frame/wmi_status.h"
#include "stand_in/class_objects.h"
#include "stand_in/repository.h"

// The core on the Windows ground, over the scripting objects of a machine that the test makes up.
namespace kvwmi::stand_in {
namespace {

struct CheckPointOnWindows : testing::Test {
  CheckPointOnWindows() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    machine = std::make_shared<Repository>();
    stand_in.emplace(machine);
  }

  template <typename Action>
  static std::optional<Error> error_of(Action action) {
    try {
      action();
    } catch (const Error& error) {
      return error;
    }
    return std::nullopt;
  }
  static void expect_error(const std::optional<Error>& error, const std::string& source,
                           const std::string& description) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->number(), static_cast<std::int32_t>(0x80040211));
    EXPECT_EQ(error->source(), source);
    EXPECT_EQ(error->description(), description);
  }

  std::shared_ptr<Repository> machine;
  std::optional<InProcessStandIn> stand_in;
};

using U = std::uint64_t;

TEST_F(CheckPointOnWindows, TellsThePowerSource) {
  CheckPoint check;
  std::int32_t source = 0;
  EXPECT_EQ(check.m_GetPowerSource(source), 0);
  EXPECT_EQ(source, 25);
  const auto battery = machine->add("Win32_Battery", {{"DeviceID", "b"}, {"BatteryStatus", U{1}}});
  EXPECT_EQ(check.m_GetPowerSource(source), 0);
  EXPECT_EQ(source, 26);
  machine->rows("Win32_Battery").set(battery, "BatteryStatus", U{2});
  EXPECT_EQ(check.m_GetPowerSource(source), 0);
  EXPECT_EQ(source, 25);
}

TEST_F(CheckPointOnWindows, TellsTheStateOfAService) {
  const auto row =
      machine->add("Win32_Service", {{"Name", "svc"}, {"DisplayName", "Some service"}, {"State", "Running"}});
  CheckPoint check;
  std::int32_t state = -1;
  EXPECT_EQ(check.m_GetServiceState("Some service", state), 0);
  EXPECT_EQ(state, 4);
  machine->rows("Win32_Service").set(row, "State", "Stop Pending");
  EXPECT_EQ(check.m_GetServiceState("some SERVICE", state), 0);
  EXPECT_EQ(state, 3);
  machine->rows("Win32_Service").set(row, "State", {});
  EXPECT_EQ(check.m_GetServiceState("Some service", state), 2);
  EXPECT_EQ(check.m_GetServiceState("No service", state), 1);
  bool exists = false;
  EXPECT_EQ(check.m_GetServiceExistence("Some service", exists), 0);
  EXPECT_TRUE(exists);
  EXPECT_EQ(check.m_GetServiceExistence("No service", exists), 0);
  EXPECT_FALSE(exists);
}

TEST_F(CheckPointOnWindows, TellsProcessesAndTheirMemory) {
  machine->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}, {"WorkingSetSize", U{5'000'000'000}}});
  CheckPoint check;
  bool exists = false;
  EXPECT_EQ(check.m_GetProcessExistence("A.EXE", exists), 0);
  EXPECT_TRUE(exists);
  Currency size;
  EXPECT_EQ(check.m_GetProcessMemorySize("a.exe", size), 0);
  EXPECT_EQ(size, Currency::from_text("5000000000"));
  EXPECT_EQ(check.m_GetProcessMemorySize("b.exe", size), 1);
}

TEST_F(CheckPointOnWindows, TellsTheSizesOfTheOperatingSystem) {
  machine->add("Win32_OperatingSystem", {{"Name", "os"},
                                         {"FreePhysicalMemory", U{1}},
                                         {"TotalVisibleMemorySize", U{2}},
                                         {"FreeVirtualMemory", U{3}},
                                         {"TotalVirtualMemorySize", U{4}},
                                         {"FreeSpaceInPagingFiles", U{5}},
                                         {"SizeStoredInPagingFiles", U{6}}});
  CheckPoint check;
  const auto value_of = [&](std::int32_t (CheckPoint::*probe)(Currency&)) {
    Currency size;
    EXPECT_EQ((check.*probe)(size), 0);
    return size.to_double();
  };
  EXPECT_EQ(value_of(&CheckPoint::m_GetFreePhysicalMemorySize), 1);
  EXPECT_EQ(value_of(&CheckPoint::m_GetPhysicalMemorySize), 2);
  EXPECT_EQ(value_of(&CheckPoint::m_GetFreeVirtualMemorySize), 3);
  EXPECT_EQ(value_of(&CheckPoint::m_GetVirtualMemorySize), 4);
  EXPECT_EQ(value_of(&CheckPoint::m_GetFreePagingFilesSize), 5);
  EXPECT_EQ(value_of(&CheckPoint::m_GetPagingFilesSize), 6);
}

TEST_F(CheckPointOnWindows, TellsTheLoadOfTheProcessors) {
  machine->add("Win32_Processor", {{"DeviceID", "CPU0"}, {"LoadPercentage", U{10}}});
  machine->add("Win32_Processor", {{"DeviceID", "CPU1"}, {"LoadPercentage", U{21}}});
  CheckPoint check;
  std::int32_t load = 0;
  EXPECT_EQ(check.m_GetProcessorLoadPercentage(load), 0);
  EXPECT_EQ(load, 16);  // 15.5, to the even neighbour
}

TEST_F(CheckPointOnWindows, TellsTheShareOfAProcess) {
  machine->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}, {"ProcessId", U{7}}});
  machine->add("Win32_PerfRawData_PerfProc_Process",
               {{"Name", "_Total"}, {"IDProcess", U{0}}, {"PercentProcessorTime", U{1000}}});
  machine->add("Win32_PerfRawData_PerfProc_Process",
               {{"Name", "a"}, {"IDProcess", U{7}}, {"PercentProcessorTime", U{100}}});
  CheckPoint check;
  std::int32_t load = -1;
  // Nothing moved in between: 0 / 0.
  expect_error(error_of([&] { check.m_GetProcessCPULoadPercentage("a.exe", load); }),
               "KVWMI\r\n\tKVWMI : CheckPoint.m_GetProcessCPULoadPercentage", "Overflow");
}

// A quote in a name ends the literal early; what the service says of it is kept to the letter.
TEST_F(CheckPointOnWindows, AQuoteInANameIsTheServicesInvalidQuery) {
  CheckPoint check;
  std::int32_t state = -1;
  expect_error(error_of([&] { check.m_GetServiceState("O'Neil", state); }),
               "SWbemObjectSet\r\n\tKVWMI : CheckPoint.m_GetServiceState", "Invalid query ");
  EXPECT_EQ(state, 0);
  bool exists = true;
  expect_error(error_of([&] { check.m_GetServiceExistence("O'Neil", exists); }),
               "SWbemObjectSet\r\n\tKVWMI : CheckPoint.m_GetServiceExistence", "Invalid query ");
}

TEST_F(CheckPointOnWindows, AFailingProviderIsToldWithItsNumbersText) {
  machine->rows("Win32_Battery")
      .fail_with(wmi::wmi_error(wmi::Status::access_denied, wmi::source::kObjectSet));
  CheckPoint check;
  std::int32_t source = 0;
  expect_error(error_of([&] { check.m_GetPowerSource(source); }),
               "SWbemObjectSet\r\n\tKVWMI : CheckPoint.m_GetPowerSource", "Access denied ");
  EXPECT_EQ(source, 25);
}

TEST_F(CheckPointOnWindows, WithoutTheScriptingComponentWmiIsNotInstalled) {
  stand_in.reset();
  // In the place of the locator stands a class that cannot be made.
  DWORD registration = 0;
  const auto absent = make_factory(
      {__uuidof(SWbemLocator), []() -> ComPtr<IUnknown> { throw Error(REGDB_E_CLASSNOTREG, "", ""); }});
  ASSERT_EQ(CoRegisterClassObject(__uuidof(SWbemLocator), absent.get(), CLSCTX_INPROC_SERVER,
                                  REGCLS_MULTIPLEUSE, &registration),
            S_OK);
  expect_error(error_of([] { const CheckPoint check; }), "KVWMI\r\n\tKVWMI : CheckPoint.Class_Initialize",
               "WMI not installed");
  CoRevokeClassObject(registration);
}

}  // namespace
}  // namespace kvwmi::stand_in
