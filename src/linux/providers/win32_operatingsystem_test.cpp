#include <sys/sysinfo.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "frame/wmi_status.h"
#include "kvwmi/error.h"
#include "linux/providers/factories.h"
#include "linux/testing/no_descriptors.h"
#include "linux/testing/recorded_machine.h"
#include "wmi/cim/datetime.h"

namespace kvwmi::ground {
namespace {

using namespace testing;

class RecordedSystem : public ::testing::Test {
 protected:
  RecordedSystem() {
    machine.write("/proc/meminfo",
                  "MemTotal:       24684092 kB\nMemFree:        1000 kB\nMemAvailable:   24206596 kB\n"
                  "SwapTotal:       2000000 kB\nSwapFree:        1500000 kB\n");
    machine.write("/proc/stat", "cpu  1 2 3 4\nbtime 1699999000\nprocesses 7\n");
    machine.write("/proc/sys/kernel/hostname", "host1\n");
    machine.write("/proc/sys/kernel/osrelease", "6.1.0-18-amd64\n");
    machine.write("/proc/sys/kernel/pid_max", "4194304\n");
    machine.write("/proc/1/comm", "init\n");
    machine.write("/proc/22/comm", "x\n");
    machine.write("/etc/os-release", "PRETTY_NAME=\"Some System 12\"\nVERSION_ID=\"12\"\n");
  }

  std::shared_ptr<cim::Instance> row() {
    const auto provider = providers::make_win32_operatingsystem(machine);
    Rows rows = rows_of(*provider);
    if (rows.size() != 1) throw std::runtime_error("not one row");
    return rows.front();
  }

  RecordedMachine machine;
};

TEST_F(RecordedSystem, MemoryIsInKilobytesAsTheKernelCountsIt) {
  const auto system = row();
  EXPECT_EQ(number_of(*system, "FreePhysicalMemory"), 24206596U) << "caches that can be given up are free";
  EXPECT_EQ(number_of(*system, "TotalVisibleMemorySize"), 24684092U);
  EXPECT_EQ(number_of(*system, "SizeStoredInPagingFiles"), 2000000U);
  EXPECT_EQ(number_of(*system, "FreeSpaceInPagingFiles"), 1500000U);
  EXPECT_EQ(number_of(*system, "TotalVirtualMemorySize"), 26684092U);
  EXPECT_EQ(number_of(*system, "FreeVirtualMemory"), 25706596U);
}

TEST_F(RecordedSystem, WithoutADescriptorNothingIsCalledOtherwise) {
  const auto system = row();
  {
    const NoDescriptors shortage;
    for (const char* property : {"Name", "Version", "BuildNumber", "CSName", "MaxNumberOfProcesses"}) {
      EXPECT_THROW(get(*system, property), Error) << property;
    }
  }
  EXPECT_EQ(text_of(*system, "Name"), "Some System 12");
}

TEST_F(RecordedSystem, NamesAndVersions) {
  const auto system = row();
  EXPECT_EQ(text_of(*system, "Caption"), "Some System 12");
  EXPECT_EQ(text_of(*system, "Version"), "12");
  EXPECT_EQ(text_of(*system, "BuildNumber"), "6.1.0-18-amd64");
  EXPECT_EQ(text_of(*system, "CSName"), "host1");
  EXPECT_EQ(get(*system, "Primary"), cim::Value(true));
  EXPECT_EQ(number_of(*system, "NumberOfProcesses"), 2U);
  EXPECT_EQ(number_of(*system, "MaxNumberOfProcesses"), 4194304U);
  EXPECT_EQ(number_of(*system, "OSType"), 36U);
}

TEST_F(RecordedSystem, DatesCarryTheOffsetOfLocalTime) {
  const auto system = row();
  EXPECT_EQ(text_of(*system, "LastBootUpTime"), "20231114225640.000000+060");
  EXPECT_EQ(text_of(*system, "LocalDateTime"), "20231114231320.000000+060");
  EXPECT_EQ(get(*system, "CurrentTimeZone"), cim::Value(std::int64_t{60}));
}

TEST_F(RecordedSystem, WithoutALoginManagerTheNumberOfUsersIsNull) {
  EXPECT_TRUE(get(*row(), "NumberOfUsers").is_null());
}

TEST_F(RecordedSystem, DistributionWithoutANumberHasItsKernelsVersion) {
  machine.write("/etc/os-release", "PRETTY_NAME=\"Rolling\"\n");
  EXPECT_EQ(text_of(*row(), "Version"), "6.1.0-18-amd64");
}

TEST_F(RecordedSystem, OldKernelWithoutMemAvailableHasNoFreeMemory) {
  machine.write("/proc/meminfo", "MemTotal: 100 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n");
  const auto system = row();
  EXPECT_TRUE(get(*system, "FreePhysicalMemory").is_null());
  EXPECT_TRUE(get(*system, "FreeVirtualMemory").is_null());
}

TEST_F(RecordedSystem, UnreadableMemoryFileIsAFailure) {
  machine.remove("/proc/meminfo");
  EXPECT_THROW(get(*row(), "FreePhysicalMemory"), Error);
}

TEST_F(RecordedSystem, ShutdownWithoutABusIsAFailure) {
  const auto system = row();
  try {
    call(*system, "Reboot");
    FAIL();
  } catch (const Error& error) {
    EXPECT_TRUE(wmi::is_status(error, wmi::Status::provider_failure));
  }
}

TEST_F(RecordedSystem, UnknownShutdownFlagsAreRefusedUnasked) {
  const auto system = row();
  EXPECT_EQ(call(*system, "Win32Shutdown", {cim::Value(std::int64_t{3})}), 87U);
  EXPECT_EQ(call(*system, "Win32Shutdown", {cim::Value(std::int64_t{-1})}), 87U);
  EXPECT_EQ(call(*system, "Win32Shutdown", {cim::Value(), cim::Value()}), 87U) << "left out";
}

TEST(Win32OperatingSystem, AgreesWithThisMachine) {
  const Machine machine;
  const auto provider = providers::make_win32_operatingsystem(machine);
  const auto system = rows_of(*provider).front();

  const auto pages = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES));
  EXPECT_EQ(number_of(*system, "TotalVisibleMemorySize"),
            pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) / 1024);
  struct sysinfo info {};
  ASSERT_EQ(sysinfo(&info), 0);
  EXPECT_EQ(number_of(*system, "SizeStoredInPagingFiles"), info.totalswap * info.mem_unit / 1024);
  EXPECT_GT(number_of(*system, "FreePhysicalMemory"), info.freeram * info.mem_unit / 1024 / 2);
  EXPECT_LE(number_of(*system, "FreePhysicalMemory"), number_of(*system, "TotalVisibleMemorySize"));

  utsname names{};
  ASSERT_EQ(uname(&names), 0);
  EXPECT_EQ(text_of(*system, "BuildNumber"), names.release);
  EXPECT_EQ(text_of(*system, "CSName"), names.nodename);

  const auto boot = cim::DateTime::parse(text_of(*system, "LastBootUpTime"));
  ASSERT_TRUE(boot);
  const auto expected =
      machine.wall_time() - std::chrono::duration_cast<std::chrono::microseconds>(machine.boot_time());
  EXPECT_NEAR(static_cast<double>((boot->utc().time_since_epoch() - expected).count()), 0, 2e6);
}

}  // namespace
}  // namespace kvwmi::ground
