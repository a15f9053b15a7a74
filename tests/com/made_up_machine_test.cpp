// CheckPoint's thirteen methods through both doors of the built server, on a machine that the test makes up.

#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "checkpoint_client.h"
#include "frame/wmi_status.h"
#include "server.h"
#include "stand_in/class_objects.h"
#include "stand_in/repository.h"
#include "windows/com/kvwmi.h"

namespace {

using kvwmi::stand_in::InProcessStandIn;
using kvwmi::stand_in::Repository;
using Number = std::uint64_t;
using MakeClient = std::function<std::unique_ptr<CheckPointClient>()>;

class MadeUpMachine : public testing::TestWithParam<std::pair<const char*, MakeClient>> {
 protected:
  /// The method's result and its output, "failed" instead of a result that there is none of.
  std::string ask(const std::string& method, const std::string& name = {}) {
    const auto outcome = client().call(method, name);
    return (SUCCEEDED(outcome.status) ? std::to_string(outcome.result.value()) : "failed") + ", " +
           outcome.output;
  }
  CheckPointClient& client() {
    if (!client_) client_ = GetParam().second();
    return *client_;
  }
  void expect_failure(const std::string& method, const std::string& name, const std::string& source,
                      const std::string& description, const std::string& output) {
    const auto outcome = client().call(method, name);
    EXPECT_EQ(outcome.status, static_cast<HRESULT>(0x80040211)) << method;
    EXPECT_EQ(outcome.result, client().no_result()) << method;
    EXPECT_EQ(outcome.source, source + "\r\n\tKVWMI : CheckPoint." + method);
    EXPECT_EQ(outcome.description, description) << method;
    EXPECT_EQ(outcome.output, output) << method;
  }

  server::Apartment apartment_;
  server::FoundClasses found_classes_;
  std::shared_ptr<Repository> machine_ = std::make_shared<Repository>();
  InProcessStandIn stand_in_{machine_};
  std::unique_ptr<CheckPointClient> client_;
};

INSTANTIATE_TEST_SUITE_P(
    Clients, MadeUpMachine,
    testing::Values(std::pair<const char*, MakeClient>("EarlyBound", make_early_bound_client),
                    std::pair<const char*, MakeClient>("LateBound", make_late_bound_client)),
    [](const auto& client) { return std::string(client.param.first); });

TEST_P(MadeUpMachine, PowerSource) {
  EXPECT_EQ(ask("m_GetPowerSource"), "0, long 25");
  const auto battery = machine_->add("Win32_Battery", {{"DeviceID", "b"}, {"BatteryStatus", Number{1}}});
  EXPECT_EQ(ask("m_GetPowerSource"), "0, long 26");
  machine_->rows("Win32_Battery").set(battery, "BatteryStatus", Number{2});
  EXPECT_EQ(ask("m_GetPowerSource"), "0, long 25");
  machine_->rows("Win32_Battery").set(battery, "BatteryStatus", {});
  EXPECT_EQ(ask("m_GetPowerSource"), "0, long 25");
}

TEST_P(MadeUpMachine, Services) {
  const auto row = machine_->add("Win32_Service",
                                 {{"Name", "svc"}, {"DisplayName", "Some service"}, {"State", "Running"}});
  EXPECT_EQ(ask("m_GetServiceExistence", "Some service"), "0, boolean -1");
  EXPECT_EQ(ask("m_GetServiceExistence", "svc"), "0, boolean 0");
  int code = 1;
  for (const char* state : {"Stopped", "Start Pending", "Stop Pending", "Running", "Continue Pending",
                            "Pause Pending", "Paused"}) {
    machine_->rows("Win32_Service").set(row, "State", state);
    EXPECT_EQ(ask("m_GetServiceState", "Some service"), "0, long " + std::to_string(code++)) << state;
  }
  machine_->rows("Win32_Service").set(row, "State", "Unknown");
  EXPECT_EQ(ask("m_GetServiceState", "Some service"), "0, long 0");
  machine_->rows("Win32_Service").set(row, "State", {});
  EXPECT_EQ(ask("m_GetServiceState", "Some service"), "2, long 0");
  EXPECT_EQ(ask("m_GetServiceState", "No service"), "1, long 0");
}

TEST_P(MadeUpMachine, Processes) {
  machine_->add("Win32_Process",
                {{"Handle", "7"}, {"Name", "a.exe"}, {"WorkingSetSize", Number{5'000'000'000}}});
  machine_->add("Win32_Process", {{"Handle", "8"}, {"Name", "a.exe"}, {"WorkingSetSize", Number{1}}});
  machine_->add("Win32_Process", {{"Handle", "9"}, {"Name", "b.exe"}});
  EXPECT_EQ(ask("m_GetProcessExistence", "a.exe"), "0, boolean -1");
  EXPECT_EQ(ask("m_GetProcessExistence", "c.exe"), "0, boolean 0");
  // Only the first of the processes of one name is measured.
  EXPECT_EQ(ask("m_GetProcessMemorySize", "a.exe"), "0, currency 50000000000000");
  EXPECT_EQ(ask("m_GetProcessMemorySize", "b.exe"), "2, currency 0");
  EXPECT_EQ(ask("m_GetProcessMemorySize", "c.exe"), "1, currency 0");
}

TEST_P(MadeUpMachine, ProcessLoadIsTheShareOfTheMachinesTimeInBetween) {
  machine_->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}, {"ProcessId", Number{7}}});
  machine_->add("Win32_Process", {{"Handle", "8"}, {"Name", "a.exe"}, {"ProcessId", Number{8}}});
  auto& counters = machine_->rows("Win32_PerfRawData_PerfProc_Process");
  const auto counter = [&](const char* name, Number id, Number time) {
    const auto row = counters.add({{"Name", name}, {"IDProcess", id}, {"PercentProcessorTime", Number{500}}});
    counters.count_up(row, "PercentProcessorTime", time);
  };
  counter("_Total", 0, 10'000);
  counter("a", 7, 2'000);
  counter("a#1", 8, 1'250);
  counter("b", 9, 4'000);
  EXPECT_EQ(ask("m_GetProcessCPULoadPercentage", "a.exe"), "0, long 32");  // of 32.5, halves to the even one
}

TEST_P(MadeUpMachine, ProcessLoad) {
  EXPECT_EQ(ask("m_GetProcessCPULoadPercentage", "a.exe"), "1, long 0");
  machine_->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}, {"ProcessId", Number{7}}});
  EXPECT_EQ(ask("m_GetProcessCPULoadPercentage", "a.exe"), "1, long 0");
  // Counters that stand still: no time has passed in all, and 0 / 0 is an overflow.
  machine_->add("Win32_PerfRawData_PerfProc_Process",
                {{"Name", "_Total"}, {"IDProcess", Number{0}}, {"PercentProcessorTime", Number{1000}}});
  expect_failure("m_GetProcessCPULoadPercentage", "a.exe", "KVWMI", "Overflow", "long 0");
}

TEST_P(MadeUpMachine, MemorySizes) {
  const std::vector<std::pair<const char*, const char*>> sizes{
      {"m_GetFreePhysicalMemorySize", "FreePhysicalMemory"},
      {"m_GetPhysicalMemorySize", "TotalVisibleMemorySize"},
      {"m_GetFreeVirtualMemorySize", "FreeVirtualMemory"},
      {"m_GetVirtualMemorySize", "TotalVirtualMemorySize"},
      {"m_GetFreePagingFilesSize", "FreeSpaceInPagingFiles"},
      {"m_GetPagingFilesSize", "SizeStoredInPagingFiles"}};
  for (const auto& [method, property] : sizes) EXPECT_EQ(ask(method), "1, currency 0") << method;
  const auto system = machine_->add("Win32_OperatingSystem", {{"Name", "os"}});
  Number size = 3;
  for (const auto& [method, property] : sizes) {
    EXPECT_EQ(ask(method), "2, currency 0") << method;
    machine_->rows("Win32_OperatingSystem").set(system, property, size);
    EXPECT_EQ(ask(method), "0, currency " + std::to_string(size) + "0000") << method;
    ++size;
  }
}

TEST_P(MadeUpMachine, ProcessorLoad) {
  EXPECT_EQ(ask("m_GetProcessorLoadPercentage"), "1, long 0");
  machine_->add("Win32_Processor", {{"DeviceID", "CPU0"}, {"LoadPercentage", Number{50}}});
  const auto second =
      machine_->add("Win32_Processor", {{"DeviceID", "CPU1"}, {"LoadPercentage", Number{51}}});
  EXPECT_EQ(ask("m_GetProcessorLoadPercentage"), "0, long 50");  // 50.5: halves to the even neighbour
  machine_->rows("Win32_Processor").set(second, "LoadPercentage", Number{53});
  EXPECT_EQ(ask("m_GetProcessorLoadPercentage"), "0, long 52");
  machine_->rows("Win32_Processor").set(second, "LoadPercentage", {});
  EXPECT_EQ(ask("m_GetProcessorLoadPercentage"), "0, long 50");
}

TEST_P(MadeUpMachine, ProcessorsThatAllTellNoLoadAreAnOverflow) {
  machine_->add("Win32_Processor", {{"DeviceID", "CPU0"}});
  expect_failure("m_GetProcessorLoadPercentage", "", "KVWMI", "Overflow", "long 0");
}

TEST_P(MadeUpMachine, AQuoteInANameFailsWhenTheResultIsCounted) {
  expect_failure("m_GetServiceExistence", "it's", "SWbemObjectSet", "Invalid query ", "boolean 0");
}

TEST_P(MadeUpMachine, WhatWmiRefusesArrivesInItsOwnWords) {
  machine_->rows("Win32_Service")
      .fail_with(kvwmi::wmi::wmi_error(kvwmi::wmi::Status::access_denied, kvwmi::wmi::source::kObjectSet));
  expect_failure("m_GetServiceExistence", "Some service", "SWbemObjectSet", "Access denied ", "boolean 0");
}

/// The construction's failure is the creation's.
TEST(WithoutWmi, CheckPointCannotBeCreated) {
  server::Apartment apartment;
  server::FoundClasses found_classes;
  const server::NoWmi no_wmi;
  kvwmi::ground::ComPtr<IUnknown> object;
  EXPECT_EQ(CoCreateInstance(__uuidof(CheckPoint), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(object.put())),
            static_cast<HRESULT>(0x80040211));
  EXPECT_EQ(object.get(), nullptr);
  const auto error = server::take_error_text();
  EXPECT_EQ(error.description, "WMI not installed");
  EXPECT_EQ(error.source, "KVWMI\r\n\tKVWMI : CheckPoint.Class_Initialize");
}

}  // namespace
