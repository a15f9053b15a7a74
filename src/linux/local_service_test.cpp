#include "linux/local_service.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <set>
#include <string>

#include "frame/wmi_status.h"
#include "kvwmi/error.h"
#include "linux/providers/system_bus.h"
#include "linux/testing/child_process.h"

namespace kvwmi::ground {
namespace {

using testing::ChildProcess;

std::shared_ptr<wmi::Services> connect() {
  return local_service().create_locator()->connect_server(wmi::ConnectArguments());
}

std::string text_of(wmi::Object& object, const char* property) {
  const wmi::Value value = object.get(property);
  const auto* text = value.get_if<std::string>();
  return text == nullptr ? "(no text)" : *text;
}

TEST(LocalService, IsOneForTheProcess) {
  EXPECT_EQ(&local_service(), &local_service());
}

TEST(LocalService, HasEveryClassOnce) {
  const auto catalog = local_service().catalog(wmi::kCimv2);
  std::multiset<std::string> names;
  for (const auto& name : catalog->names()) names.insert(std::string(name));
  for (const char* name :
       {"Win32_Battery", "Win32_LogicalDisk", "Win32_OperatingSystem", "Win32_PerfRawData_PerfProc_Process",
        "Win32_Process", "Win32_Processor", "Win32_Service"}) {
    EXPECT_EQ(names.count(name), 1U) << name;
  }
}

TEST(LocalService, EveryPropertyOfEveryClassIsDescribed) {
  const auto catalog = local_service().catalog(wmi::kCimv2);
  for (const auto& entry : catalog->entries()) {
    if (!entry.provider) continue;
    bool has_key = false;
    for (const cim::Property& property : entry.schema->properties) {
      EXPECT_TRUE(property.description.ends_with('.')) << entry.schema->name << "." << property.name;
      has_key = has_key || property.is_key();
    }
    EXPECT_TRUE(has_key) << entry.schema->name;
  }
}

TEST(LocalService, AnswersTheQueriesOfTheChecks) {
  const ChildProcess child("/bin/sleep", {"sleep", "1000"});
  const auto services = connect();
  EXPECT_GE(services->exec_query("SELECT * FROM Win32_Process WHERE Name='sleep'")->count(), 1);
  EXPECT_EQ(services->exec_query("SELECT * FROM Win32_OperatingSystem WHERE Primary=true")->count(), 1);
  const std::string pid = std::to_string(child.pid());
  const auto counters = services->exec_query(
      "SELECT * FROM Win32_PerfRawData_PerfProc_Process WHERE Name='_Total' OR IDProcess=" + pid);
  EXPECT_EQ(counters->count(), 2);
  const auto process =
      wmi::first_of(*services->exec_query("SELECT * FROM Win32_Process WHERE ProcessId=" + pid));
  ASSERT_TRUE(process);
  EXPECT_EQ(text_of(*process, "CommandLine"), "sleep 1000");
  // uint64 comes as text, uint32 as a signed number.
  EXPECT_GT(std::stoull(text_of(*process, "WorkingSetSize")), 0U);
  EXPECT_EQ(process->get("ProcessId"), wmi::Value(static_cast<std::int32_t>(child.pid())));
  EXPECT_EQ(process->class_name(), "Win32_Process");
}

/// Reads every property of every row of a class and counts the rows.
int read_all(wmi::Services& services, const std::string& name) {
  int count = 0;
  const auto set = services.exec_query("SELECT * FROM " + name);
  const auto rows = set->enumerate();
  for (; const auto row = rows->next(); ++count) EXPECT_FALSE(row->properties().empty()) << name;
  return count;
}

TEST(LocalService, EveryPropertyOfEveryRowCanBeRead) {
  const auto services = connect();
  for (const char* name : {"Win32_LogicalDisk", "Win32_OperatingSystem", "Win32_Process", "Win32_Processor",
                           "Win32_PerfRawData_PerfProc_Process"}) {
    EXPECT_GT(read_all(*services, name), 0) << name;
  }
  read_all(*services, "Win32_Battery");  // which not every machine has
}

TEST(LocalService, EveryPropertyOfEveryServiceCanBeReadWhereAManagerAnswers) {
  const auto services = connect();
  const auto question = [](sd_bus* bus) {
    call(bus, providers::kServiceManager, "GetDefaultTarget", std::chrono::seconds(5));
  };
  bool answers = true;
  try {
    providers::SystemBus(local_machine()).with(question);
  } catch (const providers::BusError&) {
    answers = false;
  }
  if (answers) {
    EXPECT_GT(read_all(*services, "Win32_Service"), 0);
    return;
  }
  try {
    read_all(*services, "Win32_Service");
    FAIL() << "a failure is no empty answer";
  } catch (const Error& error) {
    EXPECT_TRUE(wmi::is_status(error, wmi::Status::provider_failure));
    EXPECT_EQ(error.description(), "Provider failure ");
  }
}

TEST(LocalService, ProcessesEndThroughTheirObjects) {
  ChildProcess child("/bin/sleep", {"sleep", "1000"});
  const auto process = wmi::first_of(*connect()->exec_query("SELECT * FROM Win32_Process WHERE Handle='" +
                                                            std::to_string(child.pid()) + "'"));
  ASSERT_TRUE(process);
  EXPECT_EQ(process->call("Terminate", {{"Reason", wmi::Value(std::int32_t{1})}}), 0);
  EXPECT_TRUE(WIFSIGNALED(child.wait()));
  EXPECT_EQ(process->call("Terminate", {}), 9);
}

}  // namespace
}  // namespace kvwmi::ground
