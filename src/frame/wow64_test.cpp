#include "frame/wow64.h"

#include <gtest/gtest.h>

#include "frame/testing/fake_ground.h"
#include "frame/testing/raises.h"

namespace kvwmi {
namespace {

using testing::FakeSystemInfo;
using testing::Raised;
using testing::raised_by;

struct BrokenSystem final : FakeSystemInfo {
  std::optional<std::int32_t> wow64_process() override { throw Error(5, "System", "broken"); }
};

std::int16_t is_wow64(std::optional<std::int32_t> flag) {
  FakeSystemInfo system;
  system.wow64 = flag;
  return PublicFunctions::IsWow64(system);
}

TEST(IsWow64, IsOneAndNotMinusOneUnderEmulation) {
  EXPECT_EQ(is_wow64(1), 1);
}

TEST(IsWow64, IsZeroInANativeProcess) {
  EXPECT_EQ(is_wow64(0), 0);
}

TEST(IsWow64, IsZeroOnASystemWithoutTheEntry) {
  EXPECT_EQ(is_wow64(std::nullopt), 0);
}

TEST(IsWow64, TheFlagIsCutToSixteenBits) {
  EXPECT_EQ(is_wow64(0x10001), 1);
  EXPECT_EQ(is_wow64(0x10000), 0);
}

TEST(IsWow64, AFailureCarriesItsTagWithoutTheComponent) {
  BrokenSystem system;
  EXPECT_EQ(raised_by([&] { return PublicFunctions::IsWow64(system); }),
            (Raised{5, "System\r\n\tPublicFunctions.IsWow64", "broken"}));
}

}  // namespace
}  // namespace kvwmi
