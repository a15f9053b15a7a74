#include "frame/platform.h"

#include <gtest/gtest.h>

#include "frame/testing/fake_ground.h"

namespace kvwmi {
namespace {

using namespace std::chrono_literals;

TEST(SystemInfoTest, DatesAndTimesHaveAFixedFormatWithoutRegionalSettings) {
  testing::FakeSystemInfo system;
  EXPECT_EQ(system.date_text(std::chrono::local_days(std::chrono::year(2026) / 1 / 9)), "2026-01-09");
  EXPECT_EQ(system.time_text(7h + 5min + 3s), "07:05:03");
  EXPECT_EQ(system.time_text(0s), "00:00:00");
}

TEST(GroundTest, EachThreadHasItsOwnSlotByDefault) {
  struct Marker final : ThreadBound {};
  testing::FakeGround ground;
  const auto slot = [&]() -> auto& {
    return ground.Ground::thread_slot();
  };

  EXPECT_EQ(slot(), nullptr);
  slot() = std::make_unique<Marker>();
  std::thread([&] { EXPECT_EQ(slot(), nullptr); }).join();
  EXPECT_NE(slot(), nullptr);
  slot() = nullptr;
}

}  // namespace
}  // namespace kvwmi
