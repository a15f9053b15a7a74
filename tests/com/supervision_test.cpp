// Supervision through both doors of the built server: a change of a machine that the test makes up, or of the
// real one, comes through the thread's message loop to the record and to the agent's event.

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "frame/ground.h"
#include "kvwmi/codes.h"
#include "kvwmi/message_loop.h"
#include "kvwmi/named_event.h"
#include "process.h"
#include "server.h"
#include "stand_in/class_objects.h"
#include "stand_in/repository.h"
#include "supervision_client.h"
#include "support/top_level_window.h"
#include "windows/text/unicode.h"

namespace {

namespace message_loop = kvwmi::message_loop;
using kvwmi::Currency;
using kvwmi::NamedEvent;
using kvwmi::stand_in::InProcessStandIn;
using kvwmi::stand_in::Repository;
using Number = std::uint64_t;
using Outcome = SupervisionClient::Outcome;
using Record = SupervisionClient::Record;
using namespace kvwmi::condition;
using namespace kvwmi::unit;
using MakeClient = std::function<std::unique_ptr<SupervisionClient>()>;
using std::chrono::milliseconds;

constexpr std::chrono::seconds kDeadline{30};
constexpr HRESULT kClassError = -2147220977;
const Record kNothing{0, ""};

std::string unique_name(const std::string& what) {
  return "kvwmi " + what + " " + std::to_string(GetCurrentProcessId());
}

std::pair<const char*, MakeClient> early_bound() {
  return {"EarlyBound", make_early_bound_supervision};
}
std::pair<const char*, MakeClient> late_bound() {
  return {"LateBound", make_late_bound_supervision};
}

/// An initialised object and its agent's event, on a machine that the test makes up.
class SupervisionEvents : public testing::TestWithParam<std::pair<const char*, MakeClient>> {
 protected:
  SupervisionEvents() : client_(GetParam().second()) {
    client_->name_event(event_name_);
    EXPECT_EQ(client_->initialize().status, S_OK);
  }
  ~SupervisionEvents() override { EXPECT_EQ(client_->release().status, S_OK); }

  void ask(const SupervisionRequest& request) {
    const Outcome outcome = client_->request(request);
    ASSERT_EQ(outcome.status, S_OK) << outcome.source << ": " << outcome.description;
    EXPECT_EQ(outcome.result, 0);
  }
  /// The next record of the step. The event says only that there is one, perhaps of another step.
  Record next_record(long step = 7) {
    Record record = kNothing;
    const auto arrived = [&] {
      if (event_.wait(milliseconds(0))) record = client_->pop(step);
      return record != kNothing;
    };
    if (!message_loop::run_until(arrived, kDeadline)) return {0, "nothing was signalled"};
    return record;
  }
  void expect_refusal(const SupervisionRequest& request, const std::string& source,
                      const std::string& description) {
    const Outcome outcome = client_->request(request);
    EXPECT_EQ(outcome.status, kClassError);
    EXPECT_EQ(outcome.result, client_->no_result());
    EXPECT_EQ(outcome.source, source);
    EXPECT_EQ(outcome.description, description);
  }

  server::Apartment apartment_;
  server::RegistrationFree registration_free_;
  std::string event_name_ = unique_name("agent");
  NamedEvent event_{event_name_, NamedEvent::Reset::automatic};
  std::shared_ptr<Repository> machine_ = std::make_shared<Repository>();
  InProcessStandIn stand_in_{machine_};
  std::unique_ptr<SupervisionClient> client_;
};

INSTANTIATE_TEST_SUITE_P(Clients, SupervisionEvents, testing::Values(early_bound(), late_bound()),
                         [](const auto& client) { return std::string(client.param.first); });

TEST_P(SupervisionEvents, EventNameIsKept) {
  EXPECT_EQ(client_->event_name(), event_name_);
  client_->name_event("\xC3\xA9");
  EXPECT_EQ(client_->event_name(), "\xC3\xA9");
  client_->name_event("");
  EXPECT_EQ(client_->event_name(), "");
}

TEST_P(SupervisionEvents, Service) {
  const auto row = machine_->add("Win32_Service",
                                 {{"Name", "svc"}, {"DisplayName", "Some service"}, {"State", "Running"}});
  ask(REQUEST(m_SuperviseService, 7, 3, "Some service", true, true, 1, 0, 0, false));
  machine_->rows("Win32_Service").set(row, "State", "Stopped");
  EXPECT_EQ(client_->pop(7), kNothing);  // nobody has run the message loop yet
  EXPECT_EQ(next_record(), Record(3, ""));
  machine_->rows("Win32_Service").set(row, "State", "Running");
  EXPECT_EQ(next_record(), Record(3, ""));
  EXPECT_EQ(client_->pop(7), kNothing);
}

TEST_P(SupervisionEvents, ProcessOfEachStepToItself) {
  ask(REQUEST(m_SuperviseProcess, 7, 3, "a.exe", true, false, 1, 0, 0, false));
  ask(REQUEST(m_SuperviseProcess, 8, 4, "a.exe", false, true, 1, 0, 0, false));
  const auto row = machine_->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}});
  EXPECT_EQ(next_record(), Record(3, ""));
  machine_->rows("Win32_Process").remove(row);
  ASSERT_TRUE(message_loop::run_until([&] { return event_.wait(milliseconds(0)); }, kDeadline));
  EXPECT_EQ(client_->pop(7), kNothing);
  EXPECT_EQ(client_->pop(8), Record(4, ""));
}

TEST_P(SupervisionEvents, DiskThreshold) {
  const auto row = machine_->add("Win32_LogicalDisk", {{"DeviceID", "C:"},
                                                       {"DriveType", Number{3}},
                                                       {"FreeSpace", Number{90'000'000'000}},
                                                       {"Size", Number{100'000'000'000}}});
  ask(REQUEST(m_SuperviseDiskFreeSpace, 7, 3, "C:\\", kLess, Currency::from_integer(10), kPercent, 1, 0, 0,
              false));
  machine_->rows("Win32_LogicalDisk").set(row, "FreeSpace", Number{9'999'999'999});
  EXPECT_EQ(next_record(), Record(3, "Value: 9999999999 Bytes"));
}

TEST_P(SupervisionEvents, MemoryOfAProcess) {
  const auto row =
      machine_->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}, {"WorkingSetSize", Number{1}}});
  ask(REQUEST(m_SuperviseProcessMemorySize, 7, 3, "a.exe", kGreater, Currency::from_text("1.5"), kMegabytes,
              1, 0, 0, false));
  machine_->rows("Win32_Process").set(row, "WorkingSetSize", Number{2'000'000});
  EXPECT_EQ(next_record(), Record(3, "Value: 2000000 Bytes"));
}

TEST_P(SupervisionEvents, FreeMemoryOfEveryKind) {
  const auto row = machine_->add("Win32_OperatingSystem", {{"Name", "os"},
                                                           {"FreePhysicalMemory", Number{900}},
                                                           {"TotalVisibleMemorySize", Number{1'000}},
                                                           {"FreeVirtualMemory", Number{1'900}},
                                                           {"TotalVirtualMemorySize", Number{2'000}},
                                                           {"FreeSpaceInPagingFiles", Number{2'900}},
                                                           {"SizeStoredInPagingFiles", Number{3'000}}});
  auto& systems = machine_->rows("Win32_OperatingSystem");
  const Currency half = Currency::from_integer(50);
  // A step each: a watch sees every change of the row, and its own value stays low.
  ask(REQUEST(m_SuperviseFreePhysicalMemorySize, 7, 3, kLess, half, kPercent, 1, 0, 0, false));
  systems.set(row, "FreePhysicalMemory", Number{499});
  EXPECT_EQ(next_record(), Record(3, "Value: 499 Kilobytes"));
  ask(REQUEST(m_SuperviseFreeVirtualMemorySize, 8, 4, kLess, half, kPercent, 1, 0, 0, false));
  systems.set(row, "FreeVirtualMemory", Number{999});
  EXPECT_EQ(next_record(8), Record(4, "Value: 999 Kilobytes"));
  ask(REQUEST(m_SuperviseFreePagingFilesSize, 9, 5, kLess, half, kPercent, 1, 0, 0, false));
  systems.set(row, "FreeSpaceInPagingFiles", Number{1'499});
  EXPECT_EQ(next_record(9), Record(5, "Value: 1499 Kilobytes"));
}

TEST_P(SupervisionEvents, LoadOfAProcessor) {
  const auto row = machine_->add("Win32_Processor", {{"DeviceID", "CPU0"}, {"LoadPercentage", Number{5}}});
  ask(REQUEST(m_SuperviseProcessorLoadPercentage, 7, 3, kGreater, 90, 1, 0, 0, false));
  machine_->rows("Win32_Processor").set(row, "LoadPercentage", Number{95});
  EXPECT_EQ(next_record(), Record(3, "Value: 95 %"));
}

TEST_P(SupervisionEvents, PowerSource) {
  const auto row = machine_->add("Win32_Battery", {{"DeviceID", "b"}, {"BatteryStatus", Number{2}}});
  using namespace kvwmi::power_source;
  ask(REQUEST(m_SupervisePowerSource, 7, 3, kBattery, 1, 0, 0, false));
  ask(REQUEST(m_SupervisePowerSource, 7, 4, kMains, 1, 0, 0, false));
  machine_->rows("Win32_Battery").set(row, "BatteryStatus", Number{1});
  EXPECT_EQ(next_record(), Record(3, ""));
  machine_->rows("Win32_Battery").set(row, "BatteryStatus", Number{2});
  EXPECT_EQ(next_record(), Record(4, ""));
  EXPECT_EQ(client_->pop(7), kNothing);
}

TEST_P(SupervisionEvents, FilesOfADirectoryThatMatchThePattern) {
  ask(REQUEST(m_SuperviseFileInDirectory, 7, 3, "*.log", R"(C:\logs)", false, true, false, 1, 0, 0, false));
  const auto add = [&](const char* file) {
    machine_->add("CIM_DirectoryContainsFile",
                  {{"GroupComponent", R"(Win32_Directory.Name="C:\\logs")"},
                   {"PartComponent", std::string(R"(CIM_DataFile.Name="C:\\logs\\)") + file + "\""}});
  };
  add("report.txt");
  add("a.log");
  EXPECT_EQ(next_record(), Record(3, R"(File: "C:\logs\a.log")"));
  EXPECT_EQ(client_->pop(7), kNothing);
}

TEST_P(SupervisionEvents, EntryOfTheEventLog) {
  ask(REQUEST(m_SuperviseEventLog, 7, 3, "System", 1, "Disk", 11, 1, 0, 0, false));
  machine_->add("Win32_NTLogEvent", {{"Logfile", "System"},
                                     {"RecordNumber", Number{1}},
                                     {"Type", "Error"},
                                     {"EventType", Number{1}},
                                     {"SourceName", "Disk"},
                                     {"EventCode", Number{11}},
                                     {"TimeGenerated", "20260131235958.123456+060"},
                                     {"Message", "The disk is full."},
                                     {"InsertionStrings", kvwmi::cim::Value::Array{"first"}}});
  const Record record = next_record();
  EXPECT_EQ(record.first, 3);
  // Date and time stand in the machine's regional format.
  auto& ground = kvwmi::local_ground().system_info();
  using namespace std::chrono;
  EXPECT_EQ(record.second, "Log: System\r\nType: Error\r\nSource: Disk\r\nEvent ID: 11\r\nDate: " +
                               ground.date_text(local_days(year(2026) / 1 / 31)) +
                               "\r\nTime: " + ground.time_text(hours(23) + minutes(59) + seconds(58)) +
                               "\r\nDescription: The disk is full.");
}

TEST_P(SupervisionEvents, RealWindowOpensAndCloses) {
  const std::string title = unique_name("window");
  ask(REQUEST(m_SuperviseWindow, 7, 3, title, true, true, 1, 0, 0, false));
  {
    const kvwmi::tests::TopLevelWindow window(title);
    if (!window.exists()) GTEST_SKIP() << "no top-level window can be made here";
    EXPECT_EQ(next_record(), Record(3, ""));
  }
  EXPECT_EQ(next_record(), Record(3, ""));
}

TEST_P(SupervisionEvents, AddressThatTheRealMachineLacks) {
  // The library tells of an absence once for each definition file and process.
  const std::filesystem::path definition =
      std::filesystem::temp_directory_path() / unique_name(std::string("addresses ") + GetParam().first);
  // An address for documentation: no machine has it.
  std::ofstream(definition) << "KVIPAddress definition 1\n\"no such interface\" 203.0.113.77\n";
  ask(REQUEST(m_SuperviseIPAddress, 7, 3, definition.string(), "203.0.113.77", false, true, 1, 0, 0, false));
  EXPECT_EQ(next_record(), Record(3, ""));
  std::filesystem::remove(definition);
}

TEST_P(SupervisionEvents, RealNetworkInterfacesAreRecordedUntilTheObjectGoes) {
  const std::filesystem::path state =
      std::filesystem::temp_directory_path() / unique_name(std::string("interfaces ") + GetParam().first);
  ask(REQUEST(m_SuperviseNetworkInterfaces, 7, 3, state.string(), true, true, 1, 0, 0, false));
  ASSERT_TRUE(message_loop::run_until([&] { return std::filesystem::exists(state); }, kDeadline));
  // An interface that the previous look is said to have seen and this machine lacks.
  std::ofstream(state, std::ios::binary) << "KVIPAddress interfaces 1\nactive no such interface\nend 1\n";
  EXPECT_EQ(next_record(), Record(3, ""));
  EXPECT_EQ(client_->release().status, S_OK);
  client_ = GetParam().second();
  EXPECT_FALSE(std::filesystem::exists(state));
}

TEST_P(SupervisionEvents, WatchThatDidNotFireIsReportedAtTheEndOfAStep) {
  ask(REQUEST(m_SuperviseProcess, 7, 3, "a.exe", true, false, 1, 0, 0, true));
  ask(REQUEST(m_SuperviseProcess, 7, 4, "b.exe", true, false, 1, 0, 0, true));
  ask(REQUEST(m_SuperviseProcess, 7, 5, "b.exe", true, false, 1, 0, 0, false));
  machine_->add("Win32_Process", {{"Handle", "8"}, {"Name", "b.exe"}});
  // Watch 5 tells that the event has come; 4, which came with it, is only marked.
  EXPECT_EQ(next_record(), Record(5, ""));
  EXPECT_EQ(client_->push_undetected().status, S_OK);
  EXPECT_FALSE(event_.wait(milliseconds(0)));  // signals nothing
  EXPECT_EQ(client_->pop(7), Record(3, ""));
  EXPECT_EQ(client_->pop(7), kNothing);
}

TEST_P(SupervisionEvents, AfterTheReleaseTheQueueIsLeftAndNothingComes) {
  ask(REQUEST(m_SuperviseProcess, 7, 3, "a.exe", true, true, 1, 0, 0, false));
  const auto row = machine_->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}});
  ASSERT_TRUE(message_loop::run_until([&] { return event_.wait(milliseconds(0)); }, kDeadline));
  EXPECT_EQ(client_->release().status, S_OK);
  EXPECT_EQ(client_->pop(7), Record(3, ""));
  // Another object tells when the change has been delivered.
  const auto other = GetParam().second();
  other->name_event(event_name_);
  ASSERT_EQ(other->initialize().status, S_OK);
  ASSERT_EQ(other->request(REQUEST(m_SuperviseProcess, 7, 4, "a.exe", true, true, 1, 0, 0, false)).status,
            S_OK);
  machine_->rows("Win32_Process").remove(row);
  ASSERT_TRUE(message_loop::run_until([&] { return event_.wait(milliseconds(0)); }, kDeadline));
  EXPECT_EQ(other->pop(7), Record(4, ""));
  EXPECT_EQ(other->release().status, S_OK);
  EXPECT_EQ(client_->pop(7), kNothing);
  expect_refusal(REQUEST(m_SuperviseProcess, 7, 3, "a.exe", true, true, 1, 0, 0, false),
                 "KVWMI\r\n\tKVWMI : Supervision.m_SuperviseProcess",
                 "Object variable or With block variable not set");
}

TEST_P(SupervisionEvents, WhatWmiRefusesIsNotRegistered) {
  expect_refusal(REQUEST(m_SuperviseProcess, 7, 3, "it's", true, true, 1, 0, 0, true),
                 "SWbemServicesEx\r\n\tKVWMI : Supervision.m_SuperviseProcess", "Unparsable query. ");
  client_->push_undetected();
  EXPECT_EQ(client_->pop(7), kNothing);
}

TEST_P(SupervisionEvents, OwnRefusalsHaveTheirTexts) {
  expect_refusal(REQUEST(m_SuperviseProcessorLoadPercentage, 7, 3, 7, 90, 1, 0, 0, true),
                 "KVWMI\r\n\tKVWMI : Supervision.strGetConditionFilter\r\n\tKVWMI : "
                 "Supervision.m_SuperviseProcessorLoadPercentage",
                 "Condition unknown: '7'");
  expect_refusal(REQUEST(m_SuperviseDiskFreeSpace, 7, 3, "Q:\\", kLess, Currency::from_integer(10), kPercent,
                         1, 0, 0, true),
                 "KVWMI\r\n\tKVWMI : Supervision.m_SuperviseDiskFreeSpace",
                 "Cannot retrieve disk capacity: 'Q:'");
  expect_refusal(REQUEST(m_SuperviseFile, 7, 3, R"(\\server\share\a.txt)", true, true, true, 1, 0, 0, true),
                 "CIM_DataFile\r\n\tKVWMI : Supervision.m_SuperviseFile",
                 R"(Use of UNC format file names is not authorized: \\server\share\a.txt)");
  expect_refusal(REQUEST(m_SuperviseRegistry, 7, 3, "", false, "", 1, 0, 0, true, false),
                 "KVWMI\r\n\tKVWMI : Supervision.m_SuperviseRegistry", "Incorrect registry key: ''");
  expect_refusal(REQUEST(m_SuperviseWindow, 7, 3, "title", true, true, 0, 0, 0, true),
                 "KVWMI\r\n\tKVWMI : Supervision.m_SuperviseWindow", "Invalid procedure call or argument");
  client_->push_undetected();
  EXPECT_EQ(client_->pop(7), kNothing);
}

TEST_P(SupervisionEvents, AnotherProcessSeesTheSignal) {
  const std::string name = unique_name("shared");
  const NamedEvent shared(name, NamedEvent::Reset::manual);
  client_->name_event(name);
  const Process agent(L"event_waiter.exe \"" + kvwmi::windows::to_utf16(name) + L"\"");
  ASSERT_TRUE(agent.started());
  ask(REQUEST(m_SuperviseProcess, 7, 3, "a.exe", true, false, 1, 0, 0, false));
  machine_->add("Win32_Process", {{"Handle", "7"}, {"Name", "a.exe"}});
  ASSERT_TRUE(message_loop::run_until([&] { return agent.has_ended(); }, kDeadline));
  EXPECT_EQ(agent.exit_status(), 0U);
  EXPECT_EQ(client_->pop(7), Record(3, ""));
}

// --- Without WMI ---

using SupervisionWithoutWmi = testing::TestWithParam<std::pair<const char*, MakeClient>>;

INSTANTIATE_TEST_SUITE_P(Clients, SupervisionWithoutWmi, testing::Values(early_bound(), late_bound()),
                         [](const auto& client) { return std::string(client.param.first); });

TEST_P(SupervisionWithoutWmi, CanBeCreatedAndNotInitialised) {
  const server::Apartment apartment;
  const server::RegistrationFree registration_free;
  const server::NoWmi no_wmi;
  const auto client = GetParam().second();
  const Outcome outcome = client->initialize();
  EXPECT_EQ(outcome.status, kClassError);
  EXPECT_EQ(outcome.source, "KVWMI\r\n\tKVWMI : Supervision.m_Initialize");
  EXPECT_EQ(outcome.description, "WMI not installed");
}

}  // namespace
