#include "linux/device_classes.h"

#include <gtest/gtest.h>

namespace kvwmi::ground {
namespace {

constexpr DeviceClasses::Id kNetwork{
    0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

TEST(LinuxDeviceClasses, AClassHasItsDescription) {
  EXPECT_EQ(LinuxDeviceClasses().description(kNetwork), "Network adapters");
  constexpr DeviceClasses::Id kBattery{
      0x72631E54, 0x78A4, 0x11D0, {0xBC, 0xF7, 0x00, 0xAA, 0x00, 0xB7, 0xB3, 0x2A}};
  EXPECT_EQ(LinuxDeviceClasses().description(kBattery), "Batteries");
}

TEST(LinuxDeviceClasses, EveryPartOfTheIdentifierCounts) {
  DeviceClasses::Id other = kNetwork;
  other.second = 0xE326;
  EXPECT_EQ(LinuxDeviceClasses().description(other), std::nullopt);
  other = kNetwork;
  other.rest.back() = 0x19;
  EXPECT_EQ(LinuxDeviceClasses().description(other), std::nullopt);
  EXPECT_EQ(LinuxDeviceClasses().description({}), std::nullopt);
}

}  // namespace
}  // namespace kvwmi::ground
