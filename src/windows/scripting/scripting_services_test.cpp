#include "windows/scripting/scripting_services.h"

#include <gtest/gtest.h>

#include "frame/conversion.h"
#include "frame/ground.h"
#include "frame/wmi_status.h"

// Against the system's own WMI, with what every such system answers, Wine's included.
namespace kvwmi::ground {
namespace {

std::shared_ptr<wmi::Services> connect(const std::string& name_space = wmi::kCimv2) {
  wmi::ConnectArguments arguments;
  arguments.name_space = name_space;
  return local_ground().create_locator()->connect_server(arguments);
}

template <typename Action>
std::optional<Error> error_of(Action action) {
  try {
    action();
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

TEST(ScriptingServices, CountsAndWalksAResultSet) {
  const auto set = connect()->exec_query("SELECT * FROM Win32_Service");
  const std::int32_t count = set->count();
  EXPECT_GT(count, 0);
  std::int32_t walked = 0;
  for (const auto walk = set->enumerate(); const auto service = walk->next();) {
    EXPECT_FALSE(to_text(service->get("Name")).empty());
    ++walked;
  }
  EXPECT_EQ(walked, count);
}

TEST(ScriptingServices, AnEmptyResultSetHasNoFirstObject) {
  const auto set = connect()->exec_query("SELECT * FROM Win32_Service WHERE DisplayName='no such service'");
  EXPECT_EQ(set->count(), 0);
  EXPECT_EQ(wmi::first_of(*set), nullptr);
}

TEST(ScriptingServices, ValuesArriveInTheirAutomationTypes) {
  const auto system = wmi::first_of(*connect()->exec_query("SELECT * FROM Win32_OperatingSystem"));
  ASSERT_NE(system, nullptr);
  EXPECT_NE(system->get("FreePhysicalMemory").get_if<std::string>(), nullptr);  // uint64
  EXPECT_NE(system->get("LocalDateTime").get_if<std::string>(), nullptr);       // datetime
  EXPECT_NE(system->get("OSType").get_if<std::int32_t>(), nullptr);             // uint16
  EXPECT_NE(system->get("CountryCode").get_if<std::string>(), nullptr);
  EXPECT_NE(system->get("Primary").get_if<bool>(), nullptr);
  EXPECT_NE(system->get("CurrentTimeZone").get_if<std::int16_t>(), nullptr);
}

TEST(ScriptingServices, NamesAreTakenInAnyCaseAndSystemPropertiesToo) {
  const auto system = wmi::first_of(*connect()->exec_query("SELECT * FROM Win32_OperatingSystem"));
  ASSERT_NE(system, nullptr);
  EXPECT_EQ(system->get("CAPTION"), system->get("Caption"));
  EXPECT_EQ(to_text(system->get("__CLASS")), "Win32_OperatingSystem");
  EXPECT_EQ(system->class_name(), "Win32_OperatingSystem");
}

TEST(ScriptingServices, AnUnknownPropertyIsNotFound) {
  const auto system = wmi::first_of(*connect()->exec_query("SELECT * FROM Win32_OperatingSystem"));
  ASSERT_NE(system, nullptr);
  const auto error = error_of([&] { static_cast<void>(system->get("NoSuchProperty")); });
  ASSERT_TRUE(error);
  EXPECT_TRUE(wmi::is_status(*error, wmi::Status::not_found));
  EXPECT_EQ(error->source(), "SWbemObjectEx");
  EXPECT_EQ(error->description(), "Not found ");
}

TEST(ScriptingServices, AMethodIsCalledAndGivesItsCode) {
  const auto service =
      wmi::first_of(*connect()->exec_query("SELECT * FROM Win32_Service WHERE Name='Schedule'"));
  if (!service) GTEST_SKIP() << "this system has no task scheduler";
  // 0 for started, 10 for one that runs already.
  const std::int32_t code = service->call("StartService", {});
  EXPECT_TRUE(code == 0 || code == 10) << code;
}

TEST(ScriptingServices, AnUnknownMethodIsRefused) {
  const auto service = wmi::first_of(*connect()->exec_query("SELECT * FROM Win32_Service"));
  ASSERT_NE(service, nullptr);
  const auto error = error_of([&] { service->call("NoSuchMethod", {}); });
  ASSERT_TRUE(error);
  EXPECT_LT(error->number(), 0);
}

TEST(ScriptingServices, AnInvalidQueryRaisesWithTheStandardText) {
  const auto services = connect();
  const auto error = error_of([&] {
    static_cast<void>(
        services->exec_query("SELECT * FROM Win32_Service WHERE DisplayName='O'Neil'")->count());
  });
  ASSERT_TRUE(error);
  EXPECT_TRUE(wmi::is_status(*error, wmi::Status::invalid_query)) << error->number();
  EXPECT_EQ(error->description(), "Invalid query ");
}

TEST(ScriptingServices, AnUnknownNamespaceRaises) {
  const auto error = error_of([] { static_cast<void>(connect(R"(root\no_such_namespace)")); });
  ASSERT_TRUE(error);
  EXPECT_TRUE(wmi::is_status(*error, wmi::Status::invalid_namespace)) << error->number();
  EXPECT_EQ(error->source(), "SWbemLocator");
  EXPECT_EQ(error->description(), "Invalid namespace ");
}

}  // namespace
}  // namespace kvwmi::ground
