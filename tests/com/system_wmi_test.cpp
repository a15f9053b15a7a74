// CheckPoint against the system's own WMI, for what Wine's can answer; the answers are held against Win32.

#include <gtest/gtest.h>
#include <windows.h>

#include <winsvc.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "checkpoint_client.h"
#include "server.h"
#include "windows/text/unicode.h"

namespace {

using kvwmi::windows::to_utf8;

using MakeClient = std::function<std::unique_ptr<CheckPointClient>()>;

class SystemWmi : public testing::TestWithParam<std::pair<const char*, MakeClient>> {
 protected:
  CheckPointClient::Outcome call(const std::string& method, const std::string& name = {}) {
    return client_->call(method, name);
  }

  server::Apartment apartment_;
  server::RegistrationFree registration_free_;
  std::unique_ptr<CheckPointClient> client_ = GetParam().second();
};

INSTANTIATE_TEST_SUITE_P(
    Clients, SystemWmi,
    testing::Values(std::pair<const char*, MakeClient>("EarlyBound", make_early_bound_client),
                    std::pair<const char*, MakeClient>("LateBound", make_late_bound_client)),
    [](const auto& client) { return std::string(client.param.first); });

/// Display names and states of all services, from the service manager.
std::map<std::string, DWORD> services() {
  std::map<std::string, DWORD> result;
  const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE);
  DWORD needed = 0;
  DWORD count = 0;
  DWORD resume = 0;
  std::vector<std::byte> buffer(256 * 1024);
  if (EnumServicesStatusExW(manager, SC_ENUM_PROCESS_INFO, SERVICE_WIN32 | SERVICE_DRIVER, SERVICE_STATE_ALL,
                            reinterpret_cast<BYTE*>(buffer.data()), static_cast<DWORD>(buffer.size()),
                            &needed, &count, &resume, nullptr)) {
    const auto* entries = reinterpret_cast<const ENUM_SERVICE_STATUS_PROCESSW*>(buffer.data());
    for (DWORD i = 0; i < count; ++i) {
      result[to_utf8(std::wstring_view(entries[i].lpDisplayName))] =
          entries[i].ServiceStatusProcess.dwCurrentState;
    }
  }
  CloseServiceHandle(manager);
  return result;
}

std::string own_program() {
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::string whole = to_utf8(std::wstring_view(path, length));
  return whole.substr(whole.find_last_of('\\') + 1);
}

TEST_P(SystemWmi, EveryServiceIsThereInItsState) {
  const auto expected = services();
  ASSERT_FALSE(expected.empty());
  int running = 0;
  for (const auto& [name, state] : expected) {
    EXPECT_EQ(call("m_GetServiceExistence", name).output, "boolean -1") << name;
    const auto outcome = call("m_GetServiceState", name);
    EXPECT_EQ(outcome.status, S_OK);
    EXPECT_EQ(outcome.result, 0) << name;
    // The codes of the states are the service manager's own.
    EXPECT_EQ(outcome.output, "long " + std::to_string(state)) << name;
    running += state == SERVICE_RUNNING;
  }
  EXPECT_GT(running, 0);
}

TEST_P(SystemWmi, AnUnknownServiceHasNoStateAndDoesNotExist) {
  const auto state = call("m_GetServiceState", "Some service");
  EXPECT_EQ(state.status, S_OK);
  EXPECT_EQ(state.result, 1);
  EXPECT_EQ(state.output, "long 0");
  const auto existence = call("m_GetServiceExistence", "Some service");
  EXPECT_EQ(existence.result, 0);
  EXPECT_EQ(existence.output, "boolean 0");
}

TEST_P(SystemWmi, ThisProcessExists) {
  EXPECT_EQ(call("m_GetProcessExistence", own_program()).output, "boolean -1");
  EXPECT_EQ(call("m_GetProcessExistence", "no_such_program.exe").output, "boolean 0");
}

TEST_P(SystemWmi, AMissingProcessHasNoMemoryAndNoLoad) {
  const auto memory = call("m_GetProcessMemorySize", "no_such_program.exe");
  EXPECT_EQ(memory.result, 1);
  EXPECT_EQ(memory.output, "currency 0");
  const auto load = call("m_GetProcessCPULoadPercentage", "no_such_program.exe");
  EXPECT_EQ(load.result, 1);
  EXPECT_EQ(load.output, "long 0");
}

TEST_P(SystemWmi, PhysicalMemoryIsTheSystems) {
  MEMORYSTATUSEX memory{};
  memory.dwLength = sizeof(memory);
  ASSERT_TRUE(GlobalMemoryStatusEx(&memory));
  const auto total = call("m_GetPhysicalMemorySize");
  EXPECT_EQ(total.result, 0);
  // Kilobytes, in ten-thousandths.
  EXPECT_EQ(total.output, "currency " + std::to_string(memory.ullTotalPhys / 1024 * 10'000));
  const auto free = call("m_GetFreePhysicalMemorySize");
  EXPECT_EQ(free.result, 0);
  const long long kilobytes = std::atoll(free.output.c_str() + sizeof("currency ") - 1) / 10'000;
  EXPECT_GT(kilobytes, 0);
  EXPECT_LE(kilobytes, static_cast<long long>(memory.ullTotalPhys / 1024));
}

TEST_P(SystemWmi, VirtualMemoryIsAnswered) {
  for (const char* method : {"m_GetVirtualMemorySize", "m_GetFreeVirtualMemorySize"}) {
    const auto outcome = call(method);
    EXPECT_EQ(outcome.result, 0) << method;
    EXPECT_GT(std::atoll(outcome.output.c_str() + sizeof("currency ") - 1), 0) << method;
  }
}

TEST_P(SystemWmi, WithoutABatteryThePowerComesFromTheMains) {
  const auto outcome = call("m_GetPowerSource");
  EXPECT_EQ(outcome.result, 0);
  EXPECT_EQ(outcome.output, "long 25");
}

TEST_P(SystemWmi, AQuoteInANameIsWmisInvalidQuery) {
  for (const char* method : {"m_GetServiceState", "m_GetServiceExistence", "m_GetProcessExistence",
                             "m_GetProcessMemorySize", "m_GetProcessCPULoadPercentage"}) {
    const auto outcome = call(method, "it's");
    EXPECT_EQ(outcome.status, static_cast<HRESULT>(0x80040211)) << method;
    EXPECT_EQ(outcome.result, client_->no_result()) << method;
    EXPECT_EQ(outcome.source, std::string("SWbemServicesEx\r\n\tKVWMI : CheckPoint.") + method);
    EXPECT_EQ(outcome.description, "Invalid query ");
    // Reset before the failure.
    EXPECT_EQ(outcome.output.substr(outcome.output.find(' ')), " 0") << method;
  }
}

/// Wine's WMI lacks these properties; the failure must arrive as WMI's own.
TEST_P(SystemWmi, AMissingPropertyIsWmisNotFound) {
  for (const char* method :
       {"m_GetFreePagingFilesSize", "m_GetPagingFilesSize", "m_GetProcessorLoadPercentage"}) {
    const auto outcome = call(method);
    EXPECT_EQ(outcome.status, static_cast<HRESULT>(0x80040211)) << method;
    EXPECT_EQ(outcome.source, std::string("SWbemObjectEx\r\n\tKVWMI : CheckPoint.") + method);
    EXPECT_EQ(outcome.description, "Not found ");
  }
}

}  // namespace
