#include "frame/connection.h"

#include <gtest/gtest.h>

#include "frame/testing/fake_ground.h"
#include "frame/testing/raises.h"

namespace kvwmi {
namespace {

using testing::FakeGround;
using testing::Raised;
using testing::raised;
using testing::raised_by;

constexpr MethodFrame kFrame{"Management", kManagementError};

TEST(Connection, IsToTheLocalMachineWithNobodysCredentials) {
  FakeGround ground;
  ASSERT_NE(connect_at_construction(ground, kFrame), nullptr);
  ASSERT_EQ(ground.wmi.connections.size(), 1U);
  const wmi::ConnectArguments& arguments = ground.wmi.connections.front();
  EXPECT_EQ(arguments.server, ".");
  EXPECT_EQ(arguments.name_space, R"(root\CIMV2)");
  EXPECT_EQ(arguments.user, "");
  EXPECT_EQ(arguments.password, "");
  EXPECT_EQ(arguments.locale, "");
  EXPECT_EQ(arguments.authority, "");
  EXPECT_EQ(arguments.security_flags, 0);
  EXPECT_EQ(ground.wmi.contexts.front(), std::nullopt);
  EXPECT_TRUE(ground.wmi.privileges.empty());
}

TEST(Connection, OnlyTheServicesObjectIsKept) {
  FakeGround ground;
  auto services = connect_at_construction(ground, kFrame);
  EXPECT_EQ(ground.wmi.held(), 1U);
  EXPECT_EQ(ground.wmi.locators, 0);
  services = nullptr;
  EXPECT_EQ(ground.wmi.held(), 0U);
}

TEST(Connection, WithoutTheScriptingComponentWmiIsNotInstalled) {
  FakeGround ground;
  ground.wmi.installed = false;
  EXPECT_EQ(
      raised_by([&] { return connect_at_construction(ground, kFrame); }),
      (Raised{kManagementError, "KVWMI\r\n\tKVWMI : Management.Class_Initialize", "WMI not installed"}));
}

TEST(Connection, AnyOtherFailureKeepsItsDescription) {
  FakeGround ground;
  ground.wmi.connect_error = wmi::wmi_error(wmi::Status::access_denied, wmi::source::kLocator);
  EXPECT_EQ(
      raised_by([&] { return connect_at_construction(ground, kFrame); }),
      (Raised{kManagementError, "SWbemLocator\r\n\tKVWMI : Management.Class_Initialize", "Access denied "}));
}

TEST(Connection, OnlyNumber429MeansThatWmiIsMissing) {
  EXPECT_EQ(raised(explain_missing_wmi(Error(429, "S", "text"))), (Raised{429, "S", "WMI not installed"}));
  EXPECT_EQ(raised(explain_missing_wmi(Error(430, "S", "text"))), (Raised{430, "S", "text"}));
}

}  // namespace
}  // namespace kvwmi
