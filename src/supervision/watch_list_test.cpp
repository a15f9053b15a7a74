#include "supervision/watch_list.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace kvwmi::supervision {
namespace {

TEST(WatchList, KeyIsStepPointSupervision) {
  EXPECT_EQ(supervision_key(12, 3), "12.3");
  EXPECT_EQ(supervision_key(1, 23), "1.23");
  EXPECT_EQ(supervision_key(-1, 7), "-1.7");
  EXPECT_EQ(supervision_key(0, 0), "0.0");
  EXPECT_EQ(
      supervision_key(std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()),
      "-2147483648.2147483647");
}

TEST(WatchList, NeighbouringNumbersAreDistinctEntries) {
  WatchList watches;
  watches.add(1, 23, false);
  watches.add(12, 3, true);
  EXPECT_EQ(watches.entries().size(), 2U);
  EXPECT_FALSE(watches.find("1.23")->p_blnNotifyIfUndetected);
  EXPECT_TRUE(watches.find("12.3")->p_blnNotifyIfUndetected);
  EXPECT_EQ(watches.find("12.30"), nullptr);
}

TEST(WatchList, FirstRegistrationStays) {
  WatchList watches;
  watches.add(5, 1, true);
  watches.find("5.1")->p_blnHasBeenDetected = true;
  watches.add(5, 1, false);
  ASSERT_EQ(watches.entries().size(), 1U);
  EXPECT_TRUE(watches.entries().front().p_blnNotifyIfUndetected);
  EXPECT_TRUE(watches.entries().front().p_blnHasBeenDetected);
}

TEST(WatchList, NewEntryIsUndetectedAndWithoutDetail) {
  WatchList watches;
  watches.add(5, 1, true);
  const SupervisionInfos& entry = watches.entries().front();
  EXPECT_EQ(entry.p_lngCurrentStepId, 5);
  EXPECT_EQ(entry.p_lngSupervisionId, 1);
  EXPECT_EQ(entry.p_strDetail, "");
  EXPECT_FALSE(entry.p_blnHasBeenDetected);
}

TEST(WatchList, EntriesComeInTheOrderOfRegistration) {
  WatchList watches;
  std::vector<std::int32_t> given;
  for (std::int32_t i = 0; i < 1'000; ++i) {
    given.push_back((i * 617) % 1'000);
    watches.add(given.back(), 1, false);
  }
  std::vector<std::int32_t> found;
  for (const SupervisionInfos& entry : watches.entries()) found.push_back(entry.p_lngCurrentStepId);
  EXPECT_EQ(found, given);
}

}  // namespace
}  // namespace kvwmi::supervision
