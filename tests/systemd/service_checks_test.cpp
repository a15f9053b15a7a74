// The service checks against real units. Runs inside a systemd of its own (in_systemd).
#include <gtest/gtest.h>
#include <kvwmi/checkpoint.h>
#include <kvwmi/error.h>
#include <kvwmi/wmi_session.h>

#include <fstream>
#include <string>

#include "frame/testing/eventually.h"
#include "support/command.h"

namespace kvwmi::tests {
namespace {

/// Writes a unit and makes systemd read it.
void write_unit(const std::string& name, const std::string& text) {
  std::ofstream("/run/systemd/system/" + name) << text;
  ASSERT_EQ(run_shell("systemctl daemon-reload").status, 0);
}

std::int32_t state_of(const std::string& display_name, std::int32_t expected_result = 0) {
  CheckPoint check_point;
  std::int32_t state = -1;
  EXPECT_EQ(check_point.m_GetServiceState(display_name, state), expected_result);
  return state;
}

bool exists(const std::string& display_name) {
  CheckPoint check_point;
  bool result = false;
  EXPECT_EQ(check_point.m_GetServiceExistence(display_name, result), 0);
  return result;
}

TEST(ServiceChecks, StartAndStopOfAUnitAreSeen) {
  write_unit("kvwmi-demo.service",
             "[Unit]\nDescription=KVWMI Demonstration Service\n[Service]\nExecStart=/bin/sleep infinity\n");
  EXPECT_TRUE(exists("KVWMI Demonstration Service"));
  EXPECT_EQ(state_of("KVWMI Demonstration Service"), 1);
  ASSERT_EQ(run_shell("systemctl start kvwmi-demo.service").status, 0);
  EXPECT_EQ(state_of("KVWMI Demonstration Service"), 4);
  EXPECT_EQ(state_of("kvwmi demonstration SERVICE"), 4) << "names compare in any case";
  ASSERT_EQ(run_shell("systemctl stop kvwmi-demo.service").status, 0);
  EXPECT_EQ(state_of("KVWMI Demonstration Service"), 1);
}

TEST(ServiceChecks, AUnitThatTakesItsTimeIsStartPendingAndStopPending) {
  write_unit("kvwmi-slow.service",
             "[Unit]\nDescription=KVWMI Slow Service\n[Service]\nType=oneshot\nRemainAfterExit=yes\n"
             "ExecStart=/bin/sh -c 'until [ -e /run/kvwmi-started ]; do sleep 0.01; done'\n"
             "ExecStop=/bin/sh -c 'until [ -e /run/kvwmi-stopped ]; do sleep 0.01; done'\n");
  ASSERT_EQ(run_shell("systemctl start --no-block kvwmi-slow.service").status, 0);
  EXPECT_TRUE(testing::eventually([] { return state_of("KVWMI Slow Service") == 2; }));
  std::ofstream("/run/kvwmi-started") << "";
  EXPECT_TRUE(testing::eventually([] { return state_of("KVWMI Slow Service") == 4; }));
  ASSERT_EQ(run_shell("systemctl stop --no-block kvwmi-slow.service").status, 0);
  EXPECT_TRUE(testing::eventually([] { return state_of("KVWMI Slow Service") == 3; }));
  std::ofstream("/run/kvwmi-stopped") << "";
  EXPECT_TRUE(testing::eventually([] { return state_of("KVWMI Slow Service") == 1; }));
}

TEST(ServiceChecks, AnUnknownDisplayNameIsResultOne) {
  EXPECT_EQ(state_of("KVWMI No Such Service", 1), 0);
  EXPECT_FALSE(exists("KVWMI No Such Service"));
}

TEST(ServiceChecks, ServicesAreFoundByDisplayNameAndNotByName) {
  write_unit("kvwmi-named.service",
             "[Unit]\nDescription=KVWMI Named Service\n[Service]\nExecStart=/bin/sleep infinity\n");
  EXPECT_TRUE(exists("KVWMI Named Service"));
  EXPECT_FALSE(exists("kvwmi-named"));
}

TEST(ServiceChecks, AUnitThatFailedIsStopped) {
  write_unit("kvwmi-failing.service",
             "[Unit]\nDescription=KVWMI Failing Service\n[Service]\nType=oneshot\nExecStart=/bin/false\n");
  EXPECT_NE(run_shell("systemctl start kvwmi-failing.service 2>/dev/null").status, 0);
  EXPECT_EQ(state_of("KVWMI Failing Service"), 1);
}

TEST(ServiceChecks, AQuoteInADisplayNameIsAnInvalidQuery) {
  CheckPoint check_point;
  std::int32_t state = 0;
  try {
    check_point.m_GetServiceState("Manager's service", state);
    FAIL() << "nothing was raised";
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80040211));
    EXPECT_EQ(error.description(), "Invalid query ");
  }
}

}  // namespace
}  // namespace kvwmi::tests
