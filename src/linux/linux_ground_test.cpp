#include "linux/linux_ground.h"

#include <gtest/gtest.h>

#include <ctime>

#include "frame/wow64.h"

namespace kvwmi {
namespace {

TEST(LinuxGroundTest, IsOneForTheProcess) {
  EXPECT_EQ(&local_ground(), &local_ground());
}

TEST(LinuxGroundTest, LocalTimeIsTheWallClocks) {
  const std::time_t before = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&before, &local);
  const std::chrono::local_seconds now = local_ground().clock().local_now();
  const std::int64_t expected = before + local.tm_gmtoff;
  EXPECT_NEAR(static_cast<double>(now.time_since_epoch().count()), static_cast<double>(expected), 2.0);
}

TEST(LinuxGroundTest, NoProcessRunsUnderA32BitEmulation) {
  EXPECT_EQ(local_ground().system_info().wow64_process(), std::nullopt);
  EXPECT_EQ(PublicFunctions::IsWow64(local_ground().system_info()), 0);
}

}  // namespace
}  // namespace kvwmi
