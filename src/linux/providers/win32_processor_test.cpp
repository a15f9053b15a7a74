#include <unistd.h>

#include "kvwmi/error.h"
#include "linux/providers/factories.h"
#include "linux/testing/no_descriptors.h"
#include "linux/testing/recorded_machine.h"
#include "linux/testing/smbios_table.h"

namespace kvwmi::ground {
namespace {

using namespace testing;

class RecordedProcessors : public ::testing::Test {
 protected:
  RecordedProcessors() {
    machine.become_laptop();
    machine.processor_id = [] { return "BFEBFBFF000806EA"; };
    machine.sleep = [this](std::chrono::milliseconds duration) {
      slept += duration;
      machine.booted += duration;
      if (while_asleep) while_asleep();
    };
    provider = providers::make_win32_processor(machine);
  }
  void times(std::string_view cpu0, std::string_view cpu1, std::string_view cpu2) {
    machine.write("/proc/stat", "cpu0 " + std::string(cpu0) + "\ncpu1 " + std::string(cpu1) + "\ncpu2 " +
                                    std::string(cpu2) + "\nbtime 1\nprocesses 1\n");
  }
  std::uint64_t load(std::size_t row = 0) { return number_of(*rows_of(*provider).at(row), "LoadPercentage"); }

  RecordedMachine machine;
  std::chrono::milliseconds slept{0};
  std::function<void()> while_asleep;
  std::unique_ptr<embedded::Provider> provider;
};

TEST_F(RecordedProcessors, OneRowForEachSocket) {
  const Rows rows = rows_of(*provider);
  EXPECT_EQ(texts_of(rows, "DeviceID"), (std::vector<std::string>{"CPU0", "CPU1"}));
  EXPECT_EQ(number_of(*rows[0], "NumberOfLogicalProcessors"), 2U);
  EXPECT_EQ(number_of(*rows[0], "NumberOfCores"), 1U) << "two threads of one core";
  EXPECT_EQ(number_of(*rows[1], "NumberOfLogicalProcessors"), 1U);
  EXPECT_EQ(texts_of(rows_of(*provider, {equals(*provider, "DeviceID", "cpu1")}), "DeviceID"),
            std::vector<std::string>{"CPU1"});
}

TEST_F(RecordedProcessors, ModelClocksAndCaches) {
  const auto row = rows_of(*provider).front();
  EXPECT_EQ(text_of(*row, "Name"), "Intel(R) Core(TM) i5-8250U CPU @ 1.60GHz");
  EXPECT_EQ(text_of(*row, "Manufacturer"), "GenuineIntel");
  EXPECT_EQ(text_of(*row, "Caption"), "Intel64 Family 6 Model 142 Stepping 10");
  EXPECT_EQ(text_of(*row, "ProcessorId"), "BFEBFBFF000806EA");
  EXPECT_EQ(number_of(*row, "MaxClockSpeed"), 3400U);
  EXPECT_EQ(number_of(*row, "CurrentClockSpeed"), 1799U);
  EXPECT_EQ(number_of(*row, "L2CacheSize"), 256U) << "shared by both threads";
  EXPECT_EQ(number_of(*row, "L3CacheSize"), 6144U);
  EXPECT_EQ(number_of(*row, "Level"), 6U);
  EXPECT_EQ(number_of(*row, "Revision"), 142U * 256 + 10);
  EXPECT_EQ(text_of(*row, "Stepping"), "10");
  EXPECT_EQ(get(*row, "VirtualizationFirmwareEnabled"), cim::Value(true));
}

TEST_F(RecordedProcessors, WithoutFrequenciesAndCachesOfThemWhatCpuinfoTells) {
  machine.remove("/sys/devices/system/cpu");
  const Rows rows = rows_of(*provider);
  ASSERT_EQ(rows.size(), 1U) << "one socket where none is told";
  EXPECT_EQ(number_of(*rows[0], "MaxClockSpeed"), 1800U);
  EXPECT_EQ(number_of(*rows[0], "NumberOfCores"), 3U);
  EXPECT_TRUE(get(*rows[0], "L2CacheSize").is_null());
}

TEST_F(RecordedProcessors, FirmwareTellsOfTheSockets) {
  machine.remove("/sys/devices/system/cpu/cpu0/cpufreq");
  const std::string sockets = smbios_processor(100, 4200, {"U3E1", "S-1", "A-1", "P-1"}) +
                              smbios_processor(100, 4200, {"spare"}, false) +
                              smbios_processor(0, 3900, {"U3E2"});
  machine.write("/sys/firmware/dmi/tables/DMI", sockets);
  const Rows rows = rows_of(*provider);
  EXPECT_EQ(texts_of(rows, "SocketDesignation"), (std::vector<std::string>{"U3E1", "U3E2"}));
  EXPECT_EQ(texts_of(rows, "SerialNumber"), (std::vector<std::string>{"S-1", "(null)"}));
  EXPECT_EQ(text_of(*rows[0], "AssetTag"), "A-1");
  EXPECT_EQ(text_of(*rows[0], "PartNumber"), "P-1");
  EXPECT_EQ(number_of(*rows[0], "ExtClock"), 100U);
  EXPECT_TRUE(get(*rows[1], "ExtClock").is_null()) << "0 is unknown";
  EXPECT_EQ(number_of(*rows[0], "MaxClockSpeed"), 4200U);
  const Rows second = rows_of(*provider, {equals(*provider, "DeviceID", "CPU1")});
  EXPECT_EQ(texts_of(second, "SocketDesignation"), std::vector<std::string>{"U3E2"});
}

TEST_F(RecordedProcessors, FirmwareThatKnowsOfOtherSocketsIsNotBelieved) {
  machine.write("/sys/firmware/dmi/tables/DMI", smbios_processor(100, 4200, {"U3E1"}));
  EXPECT_EQ(texts_of(rows_of(*provider), "SocketDesignation"),
            (std::vector<std::string>{"(null)", "(null)"}));
  machine.remove("/sys/firmware");
  EXPECT_TRUE(get(*rows_of(*provider).front(), "ExtClock").is_null());
}

TEST_F(RecordedProcessors, CoresWhoseNumbersAreThoseOfTheirDieAreCountedEach) {
  const std::string cpus = "/sys/devices/system/cpu/";
  machine.write(cpus + "cpu0/topology/core_cpus_list", "0\n");
  machine.write(cpus + "cpu1/topology/core_cpus_list", "1\n");
  EXPECT_EQ(number_of(*rows_of(*provider)[0], "NumberOfCores"), 2U) << "both are core 0, of two dies";
}

TEST_F(RecordedProcessors, AnOlderKernelNamesTheThreadsOfACoreOtherwise) {
  const std::string cpus = "/sys/devices/system/cpu/";
  machine.write(cpus + "cpu0/topology/thread_siblings_list", "0-1\n");
  machine.write(cpus + "cpu1/topology/thread_siblings_list", "0-1\n");
  machine.write(cpus + "cpu1/topology/core_id", "7\n");
  EXPECT_EQ(number_of(*rows_of(*provider)[0], "NumberOfCores"), 1U);
}

TEST_F(RecordedProcessors, WhatStaysTheSameIsReadOnceAsLongAsTheSameAreOnline) {
  const std::string cpus = "/sys/devices/system/cpu/";
  const auto constants = [this] {
    const auto row = rows_of(*provider).at(0);
    return std::tuple(number_of(*row, "NumberOfCores"), number_of(*row, "L2CacheSize"),
                      number_of(*row, "L3CacheSize"), text_of(*row, "Name"),
                      text_of(*row, "SocketDesignation"));
  };
  machine.write("/sys/firmware/dmi/tables/DMI",
                smbios_processor(100, 4200, {"U3E1"}) + smbios_processor(100, 4200, {"U3E2"}));
  const auto first = constants();
  EXPECT_EQ(first, std::tuple(1U, 256U, 6144U, "Intel(R) Core(TM) i5-8250U CPU @ 1.60GHz", "U3E1"));
  machine.remove(cpus + "cpu0/topology");
  machine.remove(cpus + "cpu1/topology");
  machine.remove(cpus + "cpu0/cache");
  machine.remove(cpus + "cpu1/cache");
  machine.write("/proc/cpuinfo", "processor : 0\nmodel name : Other\ncpu MHz : 900.4\n");
  machine.remove("/sys/firmware");
  EXPECT_EQ(constants(), first);

  machine.write(cpus + "cpu0/cpufreq/scaling_cur_freq", "800000\n");
  EXPECT_EQ(number_of(*rows_of(*provider)[0], "CurrentClockSpeed"), 800U) << "clocks change";
  machine.remove(cpus + "cpu0/cpufreq");
  EXPECT_EQ(number_of(*rows_of(*provider)[0], "CurrentClockSpeed"), 900U);

  machine.write("/proc/stat", "cpu0 1 0 1 8 0 0 0 0\nbtime 1\nprocesses 1\n");
  const Rows rows = rows_of(*provider);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(text_of(*rows[0], "Name"), "Other");
  EXPECT_TRUE(get(*rows[0], "L2CacheSize").is_null());
}

TEST_F(RecordedProcessors, WhatCannotBeReadIsAFailureAndReadAgain) {
  const auto cores_of = [](embedded::Provider& asked) {
    return number_of(*rows_of(asked).at(0), "NumberOfCores");
  };
  const auto cores = [&] { return cores_of(*provider); };
  EXPECT_EQ(cores_of(*providers::make_win32_processor(machine)), 1U) << "as long as there are descriptors";
  {
    const NoDescriptors none;
    EXPECT_THROW(cores(), Error);
  }
  EXPECT_EQ(cores(), 1U);
  const auto row = rows_of(*provider).at(0);
  {
    const NoDescriptors none;
    EXPECT_THROW(get(*row, "L2CacheSize"), Error);
  }
  EXPECT_EQ(number_of(*row, "L2CacheSize"), 256U);
}

TEST_F(RecordedProcessors, FirstLoadWaitsForTheEndOfAWindow) {
  while_asleep = [&] { times("150 0 100 850 0 0 0 0", "100 0 100 900 0 0 0 0", "200 0 100 800 0 0 0 0"); };
  const Rows rows = rows_of(*provider);
  EXPECT_EQ(number_of(*rows[0], "LoadPercentage"), 25U) << "50 of 200 ticks";
  EXPECT_EQ(slept, std::chrono::milliseconds(250));
  EXPECT_EQ(number_of(*rows[1], "LoadPercentage"), 100U) << "the same window for all rows of a query";
  EXPECT_EQ(slept, std::chrono::milliseconds(250));
}

TEST_F(RecordedProcessors, LaterLoadIsThatSinceTheLastQuestion) {
  machine.booted += std::chrono::seconds(5);
  times("150 0 100 850 0 0 0 0", "100 0 100 900 0 0 0 0", "100 0 100 900 0 0 0 0");
  EXPECT_EQ(load(), 25U) << "since the provider was made";
  machine.booted += std::chrono::milliseconds(249);
  times("900 0 100 850 0 0 0 0", "900 0 100 900 0 0 0 0", "100 0 100 900 0 0 0 0");
  EXPECT_EQ(load(), 25U) << "too soon for another window";
  machine.booted += std::chrono::milliseconds(1);
  EXPECT_EQ(load(), 100U);
  EXPECT_EQ(slept, std::chrono::milliseconds(0));
}

TEST_F(RecordedProcessors, LoadOfLongAgoIsNotPresent) {
  machine.booted += std::chrono::hours(1);
  times("9150 0 100 850 0 0 0 0", "100 0 100 900 0 0 0 0", "100 0 100 900 0 0 0 0");
  while_asleep = [&] { times("9150 0 100 950 0 0 0 0", "100 0 100 1000 0 0 0 0", "100 0 100 1000 0 0 0 0"); };
  EXPECT_EQ(load(), 0U);
  EXPECT_EQ(slept, std::chrono::milliseconds(250));
}

TEST_F(RecordedProcessors, WithoutPassedTimeTheLoadIsNull) {
  EXPECT_TRUE(get(*rows_of(*provider).front(), "LoadPercentage").is_null());
}

TEST(Win32Processor, UnreadableStatIsAFailure) {
  const RecordedMachine machine;
  const auto provider = providers::make_win32_processor(machine);
  EXPECT_THROW(rows_of(*provider), Error);
}

TEST(Win32Processor, AgreesWithThisMachine) {
  const Machine machine;
  const auto provider = providers::make_win32_processor(machine);
  std::uint64_t logical = 0;
  for (const auto& row : rows_of(*provider)) {
    logical += number_of(*row, "NumberOfLogicalProcessors");
    EXPECT_LE(number_of(*row, "LoadPercentage"), 100U);
    EXPECT_GE(number_of(*row, "NumberOfCores"), 1U);
  }
  EXPECT_EQ(logical, static_cast<std::uint64_t>(sysconf(_SC_NPROCESSORS_ONLN)));
}

TEST(Win32Processor, BusyProcessorsShowAsLoad) {
  const Machine machine;
  const auto provider = providers::make_win32_processor(machine);
  const auto started = std::chrono::steady_clock::now();
  std::uint64_t turns = 0;
  while (std::chrono::steady_clock::now() - started < std::chrono::milliseconds(400)) ++turns;
  std::uint64_t load = 0;
  const Rows rows = rows_of(*provider);
  for (const auto& row : rows) load += number_of(*row, "LoadPercentage");
  EXPECT_GT(turns, 0U);
  // One processor of all was busy all the time.
  EXPECT_GE(load, 90 * rows.size() / static_cast<std::uint64_t>(sysconf(_SC_NPROCESSORS_ONLN)));
}

}  // namespace
}  // namespace kvwmi::ground
