#include "supervision/clauses.h"

#include <gtest/gtest.h>

#include <limits>

#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using testing::error_of;
using testing::kClassError;
using testing::tag;

constexpr const char* kFreeSpace = "TargetInstance.FreeSpace";
constexpr const char* kFreeMemory = "TargetInstance.FreePhysicalMemory";

struct FilterCase {
  const char* property;
  std::int32_t condition;
  const char* value;
  std::int32_t value_unit;
  std::int32_t property_unit;
  const char* expected;
};

class ConditionFilterTest : public ::testing::TestWithParam<FilterCase> {};

TEST_P(ConditionFilterTest, Text) {
  const FilterCase& c = GetParam();
  EXPECT_EQ(strGetConditionFilter(c.property, c.condition, Currency::from_text(c.value), c.value_unit,
                                  c.property_unit),
            c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Operators, ConditionFilterTest,
    ::testing::Values(FilterCase{kFreeSpace, 1, "7", 0, 0, " AND TargetInstance.FreeSpace>7"},
                      FilterCase{kFreeSpace, 2, "7", 0, 0, " AND TargetInstance.FreeSpace<7"},
                      FilterCase{kFreeSpace, 3, "7", 0, 0, " AND TargetInstance.FreeSpace>=7"},
                      FilterCase{kFreeSpace, 4, "7", 0, 0, " AND TargetInstance.FreeSpace<=7"},
                      FilterCase{kFreeSpace, 5, "7", 0, 0, " AND TargetInstance.FreeSpace=7"},
                      FilterCase{kFreeSpace, 6, "7", 0, 0, " AND TargetInstance.FreeSpace<>7"}));

INSTANTIATE_TEST_SUITE_P(
    Units, ConditionFilterTest,
    ::testing::Values(
        FilterCase{kFreeSpace, 2, "10", 1, 0, " AND TargetInstance.FreeSpace<10240"},
        FilterCase{kFreeSpace, 2, "10", 2, 0, " AND TargetInstance.FreeSpace<10485760"},
        FilterCase{kFreeSpace, 2, "10", 3, 0, " AND TargetInstance.FreeSpace<10737418240"},
        // Only 1, 2 and 3 scale; a percentage and unknown codes count as bytes.
        FilterCase{kFreeSpace, 2, "10", 4, 0, " AND TargetInstance.FreeSpace<10"},
        FilterCase{kFreeSpace, 2, "10", 9, 0, " AND TargetInstance.FreeSpace<10"},
        FilterCase{kFreeSpace, 2, "10", -1, 0, " AND TargetInstance.FreeSpace<10"},
        FilterCase{kFreeSpace, 2, "10", 0, 4, " AND TargetInstance.FreeSpace<10"},
        FilterCase{kFreeMemory, 3, "512", 2, 1, " AND TargetInstance.FreePhysicalMemory>=524288"},
        FilterCase{kFreeMemory, 3, "512", 1, 1, " AND TargetInstance.FreePhysicalMemory>=512"},
        FilterCase{kFreeMemory, 3, "512", 3, 2, " AND TargetInstance.FreePhysicalMemory>=524288"},
        FilterCase{kFreeMemory, 3, "512", 3, 3, " AND TargetInstance.FreePhysicalMemory>=512"},
        // 1000 / 1024 is 0.9766 as currency, rounded 1.
        FilterCase{kFreeMemory, 1, "1000", 0, 1, " AND TargetInstance.FreePhysicalMemory>1"},
        // 1.5 kilobytes, halves to the even neighbour.
        FilterCase{kFreeMemory, 1, "1536", 0, 1, " AND TargetInstance.FreePhysicalMemory>2"},
        FilterCase{kFreeMemory, 1, "2560", 0, 1, " AND TargetInstance.FreePhysicalMemory>2"}));

INSTANTIATE_TEST_SUITE_P(
    HalvesGoToTheEvenNeighbour, ConditionFilterTest,
    ::testing::Values(FilterCase{kFreeSpace, 5, "0.5", 0, 0, " AND TargetInstance.FreeSpace=0"},
                      FilterCase{kFreeSpace, 5, "1.5", 0, 0, " AND TargetInstance.FreeSpace=2"},
                      FilterCase{kFreeSpace, 5, "2.5", 0, 0, " AND TargetInstance.FreeSpace=2"},
                      FilterCase{kFreeSpace, 5, "3.5", 0, 0, " AND TargetInstance.FreeSpace=4"},
                      FilterCase{kFreeSpace, 5, "-0.5", 0, 0, " AND TargetInstance.FreeSpace=0"},
                      FilterCase{kFreeSpace, 5, "-2.5", 0, 0, " AND TargetInstance.FreeSpace=-2"},
                      FilterCase{kFreeSpace, 5, "-12", 0, 0, " AND TargetInstance.FreeSpace=-12"},
                      FilterCase{kFreeSpace, 5, "922337203685477.5807", 0, 0,
                                 " AND TargetInstance.FreeSpace=922337203685478"}));

TEST(ConditionFilterErrorTest, UnknownConditions) {
  for (const std::int32_t condition : {0, 7, -1}) {
    const Error error =
        error_of([&] { (void)strGetConditionFilter(kFreeSpace, condition, Currency(), 0, 0); });
    EXPECT_EQ(error.number(), kClassError);
    EXPECT_EQ(error.source(), "KVWMI" + tag("strGetConditionFilter"));
    EXPECT_EQ(error.description(), "Condition unknown: '" + std::to_string(condition) + "'");
  }
}

TEST(ConditionFilterErrorTest, OverflowKeepsTheRunTimesNumber) {
  const Error error =
      error_of([] { (void)strGetConditionFilter(kFreeSpace, 1, Currency::from_integer(858'994), 3, 0); });
  EXPECT_EQ(error.number(), 6);
  EXPECT_EQ(error.source(), "KVWMI" + tag("strGetConditionFilter"));
  EXPECT_EQ(error.description(), "Overflow");
}

TEST(ConditionFilterErrorTest, LargestThresholdThatFits) {
  EXPECT_EQ(strGetConditionFilter(kFreeSpace, 1, Currency::from_integer(858'993), 3, 0),
            " AND TargetInstance.FreeSpace>922336710623232");
}

struct GroupCase {
  std::int32_t period;
  std::int32_t threshold;
  const char* expected;
};

TEST(GroupClauseTest, Texts) {
  constexpr GroupCase kCases[]{
      {0, 0, ""},
      {0, 5, ""},  // a threshold means nothing without a period
      {60, 0, " GROUP WITHIN 60"},
      {60, 3, " GROUP WITHIN 60 HAVING NumberOfEvents>=3"},
      // Negative numbers are written as given; WMI refuses the query.
      {-10, 0, " GROUP WITHIN -10"},
      {60, -3, " GROUP WITHIN 60 HAVING NumberOfEvents>=-3"},
      {std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::min(),
       " GROUP WITHIN 2147483647 HAVING NumberOfEvents>=-2147483648"},
  };
  for (const GroupCase& c : kCases) EXPECT_EQ(strGetGroupClause(c.period, c.threshold), c.expected);
}

}  // namespace
}  // namespace kvwmi::supervision
