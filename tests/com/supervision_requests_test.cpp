// Every request of Supervision that WMI serves, through both doors: what WMI is asked must be what the core
// asks it for, whole texts and contexts.

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "frame/testing/fake_ground.h"
#include "frame/wow64.h"
#include "server.h"
#include "stand_in/class_objects.h"
#include "stand_in/fake_backend.h"
#include "supervision_client.h"

namespace {

using automation::Variant;
using kvwmi::Currency;
using kvwmi::stand_in::FakeBackend;
using kvwmi::stand_in::InProcessStandIn;
using kvwmi::testing::FakeGround;
using kvwmi::testing::FakeObject;
using kvwmi::testing::Objects;
using Core = kvwmi::Supervision;
using Outcome = SupervisionClient::Outcome;
using Record = SupervisionClient::Record;
using MakeClient = std::function<std::unique_ptr<SupervisionClient>()>;

/// A folder with one folder in it, both for the moment.
class Folder {
 public:
  Folder() { std::filesystem::create_directories(path_ / "deep"); }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] std::string path() const { return path_.string(); }
  [[nodiscard]] std::string subfolder() const { return (path_ / "deep").string(); }

 private:
  std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("kvwmi-requests-" + std::to_string(GetCurrentProcessId()));
};

/// One request with all of its arguments, none being its default, and the same with what must be given only.
struct Case {
  SupervisionRequest all;
  std::size_t required;
  std::function<void(Core&)> core_with_defaults;
};

std::vector<Case> cases(const std::string& folder) {
  const Currency ten = Currency::from_text("10.5");
  return {
      {REQUEST(m_SuperviseDiskFreeSpace, 7, 3, "C:", 2, ten, 3, 11, 60, 4, true), 6,
       [=](Core& s) { s.m_SuperviseDiskFreeSpace(7, 3, "C:", 2, ten, 3); }},
      {REQUEST(m_SuperviseFile, 7, 3, R"(C:\é.txt)", false, true, false, 11, 60, 4, true), 3,
       [](Core& s) { s.m_SuperviseFile(7, 3, R"(C:\é.txt)"); }},
      {REQUEST(m_SuperviseFileInDirectory, 7, 3, "*.log", folder, true, false, true, 11, 60, 4, true), 4,
       [=](Core& s) { s.m_SuperviseFileInDirectory(7, 3, "*.log", folder); }},
      {REQUEST(m_SuperviseDirectory, 7, 3, R"(C:\logs)", true, false, false, 11, 60, 4, true), 3,
       [](Core& s) { s.m_SuperviseDirectory(7, 3, R"(C:\logs)"); }},
      {REQUEST(m_SuperviseEventLog, 7, 3, "System", 1, "Disk", 12, 11, 60, 4, true), 2,
       [](Core& s) { s.m_SuperviseEventLog(7, 3); }},
      {REQUEST(m_SuperviseRegistry, 7, 3, R"(HKEY_LOCAL_MACHINE\SOFTWARE\App)", true, "", 11, 60, 4, true,
               true),
       3, [](Core& s) { s.m_SuperviseRegistry(7, 3, R"(HKEY_LOCAL_MACHINE\SOFTWARE\App)"); }},
      {REQUEST(m_SuperviseRegistry, 7, 3, R"(HKEY_LOCAL_MACHINE\SOFTWARE\App)", false, "Level", 11, 60, 4,
               true, true),
       3, [](Core& s) { s.m_SuperviseRegistry(7, 3, R"(HKEY_LOCAL_MACHINE\SOFTWARE\App)"); }},
      {REQUEST(m_SuperviseService, 7, 3, "Some service", false, true, 11, 60, 4, true), 3,
       [](Core& s) { s.m_SuperviseService(7, 3, "Some service"); }},
      {REQUEST(m_SupervisePowerSource, 7, 3, 26, 11, 60, 4, true), 2,
       [](Core& s) { s.m_SupervisePowerSource(7, 3); }},
      {REQUEST(m_SuperviseProcess, 7, 3, "a.exe", false, true, 11, 60, 4, true), 3,
       [](Core& s) { s.m_SuperviseProcess(7, 3, "a.exe"); }},
      {REQUEST(m_SuperviseProcessMemorySize, 7, 3, "a.exe", 1, ten, 2, 11, 60, 4, true), 6,
       [=](Core& s) { s.m_SuperviseProcessMemorySize(7, 3, "a.exe", 1, ten, 2); }},
      {REQUEST(m_SuperviseFreePhysicalMemorySize, 7, 3, 1, ten, 2, 11, 60, 4, true), 5,
       [=](Core& s) { s.m_SuperviseFreePhysicalMemorySize(7, 3, 1, ten, 2); }},
      {REQUEST(m_SuperviseFreeVirtualMemorySize, 7, 3, 1, ten, 2, 11, 60, 4, true), 5,
       [=](Core& s) { s.m_SuperviseFreeVirtualMemorySize(7, 3, 1, ten, 2); }},
      {REQUEST(m_SuperviseFreePagingFilesSize, 7, 3, 1, ten, 2, 11, 60, 4, true), 5,
       [=](Core& s) { s.m_SuperviseFreePagingFilesSize(7, 3, 1, ten, 2); }},
      {REQUEST(m_SuperviseProcessorLoadPercentage, 7, 3, 1, 90, 11, 60, 4, true), 4,
       [](Core& s) { s.m_SuperviseProcessorLoadPercentage(7, 3, 1, 90); }},
  };
}

std::string text_of(const kvwmi::wmi::NamedValues& values) {
  std::string text;
  for (const auto& [name, value] : values) {
    text += " " + name + "=";
    if (const auto* number = value.get_if<std::int32_t>()) text += "long " + std::to_string(*number);
    if (const auto* number = value.get_if<std::int16_t>()) text += "short " + std::to_string(*number);
    if (const auto* string = value.get_if<std::string>()) text += "string " + *string;
  }
  return text;
}

/// The subscriptions as lines.
std::vector<std::string> asked(const FakeGround& ground) {
  std::vector<std::string> lines;
  for (const auto& subscription : ground.wmi.subscriptions) {
    lines.push_back(subscription.name_space + " " + subscription.language + " " +
                    std::to_string(subscription.flags) + " options" +
                    (subscription.options ? text_of(*subscription.options) : " none") + " context" +
                    text_of(subscription.context) + ": " + subscription.query);
  }
  return lines;
}

class SupervisionRequests : public testing::TestWithParam<std::pair<const char*, MakeClient>> {
 protected:
  SupervisionRequests() { know_event_logs(backend_->ground); }

  static void know_event_logs(FakeGround& ground) {
    ground.wmi.answer("SELECT * FROM meta_class WHERE __Class = 'Win32_NTLogEvent'",
                      Objects{std::make_shared<FakeObject>(
                          kvwmi::wmi::NamedValues{{"EventType", kvwmi::wmi::Value()}}, "Win32_NTLogEvent")});
  }
  /// What the core itself asks for on this machine.
  std::vector<std::string> expected(const std::function<void(Core&)>& request) const {
    FakeGround ground;
    know_event_logs(ground);
    ground.fake_system_info.wow64 = kvwmi::PublicFunctions::IsWow64(kvwmi::local_ground().system_info());
    ground.fake_file_system.folders = {{escaped(folder_.path()), {folder_.subfolder()}},
                                       {escaped(folder_.subfolder()), {}}};
    Core core(ground);
    core.m_Initialize();
    request(core);
    std::vector<std::string> lines = asked(ground);
    core.m_Release();
    return lines;
  }
  std::vector<std::string> asked_by(SupervisionClient& client, const SupervisionRequest& request) {
    backend_->ground.wmi.subscriptions.clear();
    const Outcome outcome = client.request(request);
    EXPECT_EQ(outcome.status, S_OK) << request.method << ": " << outcome.description;
    EXPECT_EQ(outcome.result, 0) << request.method;
    return asked(backend_->ground);
  }
  static std::string escaped(const std::string& path) {
    std::string result;
    for (const char c : path) result.append(c == '\\' ? 4 : 1, c);
    return result;
  }

  server::Apartment apartment_;
  server::RegistrationFree registration_free_;
  std::shared_ptr<FakeBackend> backend_ = std::make_shared<FakeBackend>();
  InProcessStandIn stand_in_{backend_};
  Folder folder_;
};

INSTANTIATE_TEST_SUITE_P(
    Clients, SupervisionRequests,
    testing::Values(std::pair<const char*, MakeClient>("EarlyBound", make_early_bound_supervision),
                    std::pair<const char*, MakeClient>("LateBound", make_late_bound_supervision)),
    [](const auto& client) { return std::string(client.param.first); });

TEST_P(SupervisionRequests, EveryArgumentReachesWmi) {
  for (const Case& c : cases(folder_.path())) {
    const auto client = GetParam().second();
    ASSERT_EQ(client->initialize().status, S_OK);
    const std::vector<std::string> lines = asked_by(*client, c.all);
    EXPECT_FALSE(lines.empty()) << c.all.method;
    EXPECT_EQ(lines, expected(c.all.core)) << c.all.method;
    // The last but one, or the last: to be told that the watch has not fired.
    EXPECT_EQ(client->push_undetected().status, S_OK);
    EXPECT_EQ(client->pop(7), Record(3, "")) << c.all.method;
    EXPECT_EQ(client->release().status, S_OK);
  }
}

TEST_P(SupervisionRequests, FailWithoutInitialisation) {
  const auto client = GetParam().second();
  for (const Case& c : cases(folder_.path())) {
    const Outcome outcome = client->request(c.all);
    EXPECT_EQ(outcome.status, -2147220977) << c.all.method;
    EXPECT_EQ(outcome.result, client->no_result()) << c.all.method;
    EXPECT_EQ(outcome.source, "KVWMI\r\n\tKVWMI : Supervision." + c.all.method);
    EXPECT_EQ(outcome.description, "Object variable or With block variable not set") << c.all.method;
  }
  client->push_undetected();
  EXPECT_EQ(client->pop(7), Record(0, ""));
}

using LateBoundRequests = SupervisionRequests;

TEST_P(LateBoundRequests, WhatIsLeftOutGetsItsDefault) {
  for (const Case& c : cases(folder_.path())) {
    const std::vector<std::string> lines = expected(c.core_with_defaults);
    EXPECT_FALSE(lines.empty()) << c.all.method;
    // Cut off at the end, as in `Call(1, 2)`, and left out in between, as in `Call(1, 2, , )`.
    SupervisionRequest cut = c.all;
    cut.arguments.resize(c.required);
    SupervisionRequest left_out = cut;
    left_out.arguments.resize(c.all.arguments.size(), Variant::missing());
    for (const SupervisionRequest& request : {cut, left_out}) {
      const auto client = GetParam().second();
      ASSERT_EQ(client->initialize().status, S_OK);
      EXPECT_EQ(asked_by(*client, request), lines) << c.all.method;
      client->push_undetected();
      EXPECT_EQ(client->pop(7), Record(0, "")) << c.all.method;
      client->release();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Clients, LateBoundRequests,
                         testing::Values(std::pair<const char*, MakeClient>("LateBound",
                                                                            make_late_bound_supervision)),
                         [](const auto& client) { return std::string(client.param.first); });

TEST_P(SupervisionRequests, InitialisationConnectsToBothNamespaces) {
  const auto client = GetParam().second();
  ASSERT_EQ(client->initialize().status, S_OK);
  const auto& wmi = backend_->ground.wmi;
  ASSERT_EQ(wmi.connections.size(), 2U);
  EXPECT_EQ(wmi.connections[0].name_space, R"(root\CIMV2)");
  EXPECT_EQ(wmi.connections[1].name_space, R"(root\DEFAULT)");
  const bool emulated = kvwmi::PublicFunctions::IsWow64(kvwmi::local_ground().system_info()) != 0;
  ASSERT_TRUE(wmi.contexts[1]);
  EXPECT_EQ(text_of(*wmi.contexts[1]),
            std::string(" __ProviderArchitecture=short ") + (emulated ? "64" : "32"));
  EXPECT_EQ(wmi.privileges, (std::vector<std::pair<std::int32_t, bool>>{{7, true}}));
  client->release();
}

}  // namespace
