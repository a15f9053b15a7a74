#include "linux/parsers/cpuinfo.h"

#include <gtest/gtest.h>

namespace kvwmi::ground::parsers {
namespace {

TEST(Cpuinfo, OneBlockForEachLogicalProcessor) {
  const auto cpus = parse_cpuinfo(
      "processor\t: 0\nvendor_id\t: AuthenticAMD\ncpu family\t: 23\nmodel\t\t: 49\nmodel name\t: Some CPU\n"
      "stepping\t: 0\ncpu MHz\t\t: 2249.998\nflags\t\t: fpu svm npt\n\n"
      "processor\t: 5\ncpu MHz\t\t: 1500.2\n\n");
  ASSERT_EQ(cpus.size(), 2U);
  EXPECT_EQ(cpus[0].cpu, 0U);
  EXPECT_EQ(cpus[0].vendor, "AuthenticAMD");
  EXPECT_EQ(cpus[0].family, 23U);
  EXPECT_EQ(cpus[0].model, 49U) << "not the model name";
  EXPECT_EQ(cpus[0].model_name, "Some CPU");
  EXPECT_EQ(cpus[0].stepping, 0U);
  EXPECT_EQ(cpus[0].megahertz, 2250U) << "rounded";
  EXPECT_TRUE(cpus[0].has_flag("svm"));
  EXPECT_FALSE(cpus[0].has_flag("sv"));
  EXPECT_EQ(cpus[1].cpu, 5U);
  EXPECT_EQ(cpus[1].megahertz, 1500U);
  EXPECT_EQ(cpus[1].family, std::nullopt);
}

TEST(Cpuinfo, ArmBlocksHaveNoModelNames) {
  const auto cpus = parse_cpuinfo(
      "processor\t: 0\nBogoMIPS\t: 50.00\nFeatures\t: fp asimd\nCPU implementer\t: 0x41\n\n"
      "Hardware\t: Board\nSerial\t\t: 10\n");
  ASSERT_EQ(cpus.size(), 1U);
  EXPECT_EQ(cpus[0].model_name, "");
  EXPECT_EQ(cpus[0].megahertz, std::nullopt);
}

TEST(Cpuinfo, CacheSizesAreKilobytes) {
  EXPECT_EQ(parse_size_kilobytes("512K\n"), 512U);
  EXPECT_EQ(parse_size_kilobytes("32M"), 32768U);
  EXPECT_EQ(parse_size_kilobytes("7"), 7U);
  EXPECT_EQ(parse_size_kilobytes(""), std::nullopt);
  EXPECT_EQ(parse_size_kilobytes("xK"), std::nullopt);
  EXPECT_EQ(parse_size_kilobytes("18446744073709551615M"), std::nullopt);
}

}  // namespace
}  // namespace kvwmi::ground::parsers
