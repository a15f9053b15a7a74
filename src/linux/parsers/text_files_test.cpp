#include <gtest/gtest.h>

#include "linux/parsers/field_file.h"
#include "linux/parsers/os_release.h"
#include "linux/parsers/system_stat.h"

namespace kvwmi::ground::parsers {
namespace {

TEST(FieldFile, FindsAFieldByItsWholeName) {
  constexpr std::string_view kText =
      "MemTotal:       24684092 kB\nMemFree:        23646288 kB\nHugePages_Total:       0\nName:\tmy name \n";
  EXPECT_EQ(number_field(kText, "MemTotal"), 24684092U);
  EXPECT_EQ(number_field(kText, "HugePages_Total"), 0U);
  EXPECT_EQ(number_field(kText, "Mem"), std::nullopt);
  EXPECT_EQ(number_field(kText, "SwapFree"), std::nullopt);
  EXPECT_EQ(field(kText, "Name"), "my name");
  EXPECT_EQ(number_field(kText, "Name"), std::nullopt);
}

TEST(FieldFile, BlanksMayStandBeforeTheColon) {
  EXPECT_EQ(number_field("cpu cores\t: 2\n", "cpu cores"), 2U);
  EXPECT_EQ(number_field("VmRSS: 99999999999999999999 kB\n", "VmRSS"), std::nullopt);
}

TEST(OsRelease, UndoesShellQuoting) {
  constexpr std::string_view kText =
      "# comment\nID=debian\nPRETTY_NAME=\"Some \\\"System\\\" 12\"\nVERSION='1 2'\nVERSION=2\nEMPTY=\n";
  EXPECT_EQ(shell_variable(kText, "ID"), "debian");
  EXPECT_EQ(shell_variable(kText, "PRETTY_NAME"), "Some \"System\" 12");
  EXPECT_EQ(shell_variable(kText, "VERSION"), "2") << "the last assignment counts";
  EXPECT_EQ(shell_variable(kText, "EMPTY"), "");
  EXPECT_EQ(shell_variable(kText, "PRETTY"), std::nullopt);
}

constexpr std::string_view kStat =
    "cpu  30 0 20 940 10 0 0 0 0 0\n"
    "cpu0 10 0 10 470 10 0 0 0 0 0\n"
    "cpu2 20 0 10 470 0 0 0 0 5 0\n"
    "intr 5 1 2\nctxt 99\nbtime 1795170760\nprocesses 14460\nprocs_running 4\n";

TEST(SystemStat, HoldsTheProcessorsThatAreOnline) {
  const SystemStat stat = parse_system_stat(kStat);
  ASSERT_EQ(stat.cpus.size(), 2U);
  EXPECT_EQ(stat.cpus[0].cpu, 0U);
  EXPECT_EQ(stat.cpus[0].idle, 480U) << "waiting for a disk is rest";
  EXPECT_EQ(stat.cpus[0].total, 500U);
  EXPECT_EQ(stat.cpus[1].cpu, 2U);
  EXPECT_EQ(stat.cpus[1].total, 500U) << "a guest's time is user time already";
  EXPECT_EQ(stat.boot_time, 1795170760U);
  EXPECT_EQ(stat.forks, 14460U);
}

TEST(SystemStat, LoadIsTheShareNotRestedBetweenTwoSamples) {
  const auto all = [](std::uint32_t) { return true; };
  const std::vector<CpuTimes> before{{0, 100, 200}, {1, 100, 200}};
  EXPECT_EQ(load_percentage(before, {{0, 150, 300}, {1, 200, 300}}, all), 25U);
  EXPECT_EQ(load_percentage(before, {{0, 150, 300}, {1, 200, 300}}, [](auto cpu) { return cpu == 0; }), 50U);
  EXPECT_EQ(load_percentage(before, {{0, 100, 203}}, all), 100U);
  // A step back of the idle counter is no load beyond 100.
  EXPECT_EQ(load_percentage(before, {{0, 90, 300}}, all), 100U);
  // A processor that came online meanwhile has no first sample.
  EXPECT_EQ(load_percentage(before, {{5, 100, 300}}, all), std::nullopt);
  EXPECT_EQ(load_percentage(before, before, all), std::nullopt) << "no time passed";
}

TEST(SystemStat, ThreadsStandBehindTheSlashOfLoadavg) {
  EXPECT_EQ(parse_tasks("0.42 0.29 0.17 1/135 14469\n"), (Tasks{135, 14469}));
  EXPECT_EQ(parse_tasks("0.42 0.29 0.17 1/135"), std::nullopt);
  EXPECT_EQ(parse_tasks(""), std::nullopt);
}

}  // namespace
}  // namespace kvwmi::ground::parsers
