// The checks compared with what this machine says of itself.
#include <gtest/gtest.h>
#include <kvwmi/checkpoint.h>
#include <kvwmi/error.h>
#include <kvwmi/wmi_session.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "frame/testing/eventually.h"
#include "support/load_process.h"
#include "support/machine_figures.h"
#include "support/own_name.h"

namespace kvwmi::tests {
namespace {

/// The size that a check tells, which must answer.
std::int64_t size_of(std::int32_t (CheckPoint::*method)(Currency&)) {
  CheckPoint check_point;
  Currency size;
  EXPECT_EQ((check_point.*method)(size), 0);
  return size.rounded();
}

/// Other programs run while we look: a moving figure must lie between what it was before and after, give or
/// take.
template <typename Floor>
void expect_moving(std::int32_t (CheckPoint::*method)(Currency&), Floor figure) {
  constexpr std::int64_t kSlack = 256 * 1024;
  const std::int64_t before = figure();
  const std::int64_t told = size_of(method);
  const std::int64_t after = figure();
  EXPECT_GE(told, std::min(before, after) - kSlack);
  EXPECT_LE(told, std::max(before, after) + kSlack);
}

TEST(ChecksLive, MemoryInAllIsTheKernels) {
  EXPECT_EQ(size_of(&CheckPoint::m_GetPhysicalMemorySize), meminfo("MemTotal"));
  EXPECT_EQ(size_of(&CheckPoint::m_GetPagingFilesSize), meminfo("SwapTotal"));
  EXPECT_EQ(size_of(&CheckPoint::m_GetVirtualMemorySize), meminfo("MemTotal") + meminfo("SwapTotal"));
}

TEST(ChecksLive, MemoryToBeHadIsTheKernels) {
  expect_moving(&CheckPoint::m_GetFreePhysicalMemorySize, [] { return meminfo("MemAvailable"); });
  expect_moving(&CheckPoint::m_GetFreePagingFilesSize, [] { return meminfo("SwapFree"); });
  expect_moving(&CheckPoint::m_GetFreeVirtualMemorySize,
                [] { return meminfo("MemAvailable") + meminfo("SwapFree"); });
}

TEST(ChecksLive, AProcessExistsFromItsStartToItsEnd) {
  CheckPoint check_point;
  const std::string name = own_name("exists");
  bool exists = true;
  EXPECT_EQ(check_point.m_GetProcessExistence(name, exists), 0);
  EXPECT_FALSE(exists);
  LoadProcess process(name, 0, LoadProcess::Work::idle);
  EXPECT_EQ(check_point.m_GetProcessExistence(name, exists), 0);
  EXPECT_TRUE(exists);
  std::string other_case = name;
  other_case[0] = 'K';
  EXPECT_EQ(check_point.m_GetProcessExistence(other_case, exists), 0);
  EXPECT_TRUE(exists) << "names compare in any case";
  process.end();
  EXPECT_EQ(check_point.m_GetProcessExistence(name, exists), 0);
  EXPECT_FALSE(exists);
}

TEST(ChecksLive, AProcessIsAsBigAsTheMemoryItTouched) {
  constexpr int kMegabytes = 64;
  const LoadProcess process(own_name("memory"), kMegabytes, LoadProcess::Work::idle);
  CheckPoint check_point;
  Currency size;
  ASSERT_EQ(check_point.m_GetProcessMemorySize(process.name(), size), 0);
  const std::int64_t touched = std::int64_t{kMegabytes} << 20U;
  EXPECT_GE(size.rounded(), touched);
  EXPECT_LE(size.rounded(), touched + (16 << 20)) << "the program itself takes a few megabytes";

  // It sleeps, so its size stands still and can be compared exactly.
  std::ifstream statm("/proc/" + std::to_string(process.pid()) + "/statm");
  std::int64_t pages_in_all = 0;
  std::int64_t pages = 0;
  statm >> pages_in_all >> pages;
  EXPECT_EQ(size.rounded(), pages * sysconf(_SC_PAGESIZE));
}

TEST(ChecksLive, NoProcessHasNoSizeAndNoLoad) {
  CheckPoint check_point;
  Currency size = Currency::from_integer(7);
  EXPECT_EQ(check_point.m_GetProcessMemorySize(own_name("absent"), size), 1);
  EXPECT_EQ(size, Currency());
  std::int32_t load = 7;
  EXPECT_EQ(check_point.m_GetProcessCPULoadPercentage(own_name("absent"), load), 1);
  EXPECT_EQ(load, 0);
}

/// Share of the machine's processor time that processes of `name` use, told by the check, with what their own
/// clocks say of the same time.
void expect_load(const std::string& name, const std::vector<const LoadProcess*>& processes) {
  const auto used = [&] {
    double seconds = 0;
    for (const LoadProcess* process : processes) seconds += process->processor_seconds();
    return seconds;
  };
  CheckPoint check_point;
  std::int32_t told = -1;
  const double used_before = used();
  const auto began = std::chrono::steady_clock::now();
  ASSERT_EQ(check_point.m_GetProcessCPULoadPercentage(name, told), 0);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - began;
  EXPECT_GE(elapsed.count(), 0.5);
  const double processors = static_cast<double>(sysconf(_SC_NPROCESSORS_ONLN));
  const double expected = (used() - used_before) / (elapsed.count() * processors) * 100.0;
  EXPECT_NEAR(told, expected, 5.0);
}

TEST(ChecksLive, ABusyProcessUsesWhatItsOwnClockSays) {
  const LoadProcess process(own_name("busy"), 0, LoadProcess::Work::busy);
  expect_load(process.name(), {&process});
}

TEST(ChecksLive, ProcessesOfOneNameAreSummed) {
  const std::string name = own_name("busytwo");
  const LoadProcess one(name, 0, LoadProcess::Work::busy);
  const LoadProcess two(name, 0, LoadProcess::Work::busy);
  expect_load(name, {&one, &two});
}

TEST(ChecksLive, ASleepingProcessUsesNothing) {
  const LoadProcess process(own_name("idle"), 0, LoadProcess::Work::idle);
  CheckPoint check_point;
  std::int32_t load = -1;
  EXPECT_EQ(check_point.m_GetProcessCPULoadPercentage(process.name(), load), 0);
  EXPECT_EQ(load, 0);
}

TEST(ChecksLive, TheProcessorsAreLoadedWhenAllOfThemAreBusy) {
  std::vector<std::unique_ptr<LoadProcess>> load;
  for (long i = 0; i < sysconf(_SC_NPROCESSORS_ONLN); ++i) {
    load.push_back(std::make_unique<LoadProcess>(own_name("load"), 0, LoadProcess::Work::busy));
  }
  CheckPoint check_point;
  std::int32_t percentage = -1;
  EXPECT_TRUE(testing::eventually([&] {
    return check_point.m_GetProcessorLoadPercentage(percentage) == 0 && percentage >= 90;
  })) << percentage;
  EXPECT_LE(percentage, 100);
}

TEST(ChecksLive, TheSystemDiskIsTheRootFileSystem) {
  WmiSession session;
  const auto disks = session.query("SELECT FreeSpace, Size FROM Win32_LogicalDisk WHERE DeviceID='C:'");
  ASSERT_EQ(disks.size(), 1U);
  std::uint64_t free_space = 0;
  std::uint64_t size = 0;
  for (const WmiProperty& property : disks[0].properties) {
    const auto* text = property.value.get_if<std::string>();  // 64-bit numbers arrive as text
    if (property.name == "FreeSpace") free_space = std::stoull(*text);
    if (property.name == "Size") size = std::stoull(*text);
  }
  struct statvfs root {};
  ASSERT_EQ(statvfs("/", &root), 0);
  EXPECT_EQ(size, root.f_blocks * root.f_frsize);
  EXPECT_NEAR(static_cast<double>(free_space), static_cast<double>(root.f_bavail * root.f_frsize), 512e6);
}

TEST(ChecksLive, WithoutABatteryTheMachineIsOnMains) {
  const std::filesystem::path supplies = "/sys/class/power_supply";
  if (std::filesystem::exists(supplies)) {
    for (const auto& supply : std::filesystem::directory_iterator(supplies)) {
      std::string type;
      std::getline(std::ifstream(supply.path() / "type"), type);
      if (type == "Battery") GTEST_SKIP() << "this machine has a battery";
    }
  }
  CheckPoint check_point;
  std::int32_t state = 0;
  EXPECT_EQ(check_point.m_GetPowerSource(state), 0);
  EXPECT_EQ(state, 25);
}

TEST(ChecksLive, AQuoteInANameIsAnInvalidQuery) {
  CheckPoint check_point;
  bool exists = false;
  try {
    check_point.m_GetProcessExistence("it's", exists);
    FAIL() << "nothing was raised";
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80040211));
    EXPECT_EQ(error.source(), "SWbemObjectSet\r\n\tKVWMI : CheckPoint.m_GetProcessExistence");
    EXPECT_EQ(error.description(), "Invalid query ");
    ASSERT_NE(error.query_diagnostic(), nullptr);
    EXPECT_EQ(error.query_diagnostic()->query, "SELECT * FROM Win32_Process WHERE Name='it's'");
  }
}

TEST(ChecksLive, ServicesWithoutASystemdAreAProviderFailureAndNotNone) {
  if (std::filesystem::exists("/run/systemd/private")) GTEST_SKIP() << "a systemd runs on this machine";
  CheckPoint check_point;
  bool exists = false;
  try {
    check_point.m_GetServiceExistence("Anything", exists);
    FAIL() << "nothing was raised";
  } catch (const Error& error) {
    EXPECT_EQ(error.description(), "Provider failure ");
    ASSERT_NE(error.query_diagnostic(), nullptr);
    EXPECT_TRUE(error.query_diagnostic()->message.starts_with(
        "the service manager does not answer on the system bus ("))
        << error.query_diagnostic()->message;
  }
}

}  // namespace
}  // namespace kvwmi::tests
