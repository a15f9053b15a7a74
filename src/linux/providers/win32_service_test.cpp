#include <algorithm>

#include "kvwmi/error.h"
#include "linux/providers/factories.h"
#include "linux/testing/fake_service_manager.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using namespace testing;
using Texts = std::vector<std::string>;

constexpr std::uint32_t kNotFound = 0x80041002;
constexpr std::uint32_t kAccessDenied = 0x80041003;
constexpr std::uint32_t kProviderFailure = 0x80041004;

class RecordedServices : public ::testing::Test {
 protected:
  RecordedServices() {
    machine.open_system_bus = [this] { return bus.connect(); };
    manager.units = {{"cron.service", "Regular jobs", "active"}, {"ssh.service", "Secure shell"}};
    provider = providers::make_win32_service(machine);
  }

  std::shared_ptr<cim::Instance> row(const std::string& name) {
    const Rows rows = rows_of(*provider, {equals(*provider, "Name", name)});
    if (rows.size() != 1) throw std::runtime_error("not one row");
    return rows.front();
  }
  Texts names(const std::vector<embedded::Equality>& any_of = {}) {
    return texts_of(rows_of(*provider, any_of), "Name");
  }
  bool asked_for(std::string_view method) {
    const auto calls = bus.calls();
    return std::find(calls.begin(), calls.end(), method) != calls.end();
  }
  /// What a method answers, or the number of what is raised.
  template <typename Steps>
  static std::uint32_t answer_of(Steps&& steps) {
    try {
      return steps();
    } catch (const Error& error) {
      EXPECT_EQ(error.description().back(), ' ') << "WMI's own text";
      return static_cast<std::uint32_t>(error.number());
    }
  }
  std::uint32_t start(const std::string& name = "ssh") {
    return answer_of([&] { return call(*row(name), "StartService"); });
  }
  std::uint32_t stop(const std::string& name = "cron") {
    return answer_of([&] { return call(*row(name), "StopService"); });
  }
  std::uint32_t listing() {
    return answer_of([&] { return static_cast<std::uint32_t>(rows_of(*provider).size()); });
  }

  FakeServiceManager manager;
  FakeBus bus{[this](sd_bus_message* call) { return manager.answer(call); }};
  RecordedMachine machine;
  std::unique_ptr<embedded::Provider> provider;
};

TEST_F(RecordedServices, StatesAreThoseOfTheManager) {
  struct Case {
    const char* active_state;
    const char* state;
    bool started;
  };
  for (const auto& [active_state, state, started] :
       {Case{"active", "Running", true}, Case{"reloading", "Running", true},
        Case{"refreshing", "Running", true}, Case{"activating", "Start Pending", false},
        Case{"deactivating", "Stop Pending", false}, Case{"inactive", "Stopped", false},
        Case{"failed", "Stopped", false}, Case{"maintenance", "Unknown", false}}) {
    manager.unit("cron.service").active_state = active_state;
    const auto service = row("cron");
    EXPECT_EQ(text_of(*service, "State"), state) << active_state;
    EXPECT_EQ(get(*service, "Started"), cim::Value(started)) << active_state;
  }
  EXPECT_FALSE(asked_for("GetAll")) << "all that is in the list";
}

TEST_F(RecordedServices, StartModes) {
  struct Case {
    const char* unit_file_state;
    const char* mode;
  };
  for (const auto& [unit_file_state, mode] :
       {Case{"enabled", "Auto"}, Case{"enabled-runtime", "Auto"}, Case{"alias", "Auto"},
        Case{"masked", "Disabled"}, Case{"masked-runtime", "Disabled"}, Case{"disabled", "Manual"},
        Case{"static", "Manual"}, Case{"indirect", "Manual"}, Case{"generated", "Manual"},
        Case{"", "Manual"}}) {
    manager.unit("cron.service").unit_file_state = unit_file_state;
    EXPECT_EQ(text_of(*row("cron"), "StartMode"), mode) << unit_file_state;
  }
  manager.unit("cron.service").load_state = "masked";
  EXPECT_EQ(text_of(*row("cron"), "StartMode"), "Disabled");
}

TEST_F(RecordedServices, LoadedOnesAndUnitFilesAreListedOnceByName) {
  manager.units.push_back({"home.mount", "Home", "active"});
  manager.units.push_back({"wanted.service", "wanted.service", "inactive", "not-found"});
  machine.write("/units/cron.service", "[Unit]\nDescription=Loaded otherwise\n");
  machine.write("/units/at.service", "[Unit]\nDescription=Jobs at a time\n");
  machine.write("/units/getty@.service", "[Unit]\nDescription=Terminal\n");
  machine.link("/units/sshd.service", "ssh.service");
  machine.link("/units/zap.service", "/dev/null");
  const Rows rows = rows_of(*provider);
  EXPECT_EQ(texts_of(rows, "Name"), (Texts{"at", "cron", "ssh", "zap"}));
  EXPECT_EQ(texts_of(rows, "DisplayName"),
            (Texts{"Jobs at a time", "Regular jobs", "Secure shell", "zap.service"}));
  EXPECT_EQ(texts_of(rows, "State"), (Texts{"Stopped", "Running", "Stopped", "Stopped"}));
  EXPECT_EQ(text_of(*rows[3], "StartMode"), "Disabled") << "masked, though not loaded";
}

TEST_F(RecordedServices, OneThatRunsOnWithoutItsUnitFileIsListed) {
  FakeUnit& unit = manager.unit("cron.service");
  unit.load_state = "not-found";
  unit.unit_file_state = "";
  for (const char* state : {"active", "reloading", "activating", "deactivating"}) {
    unit.active_state = state;
    EXPECT_EQ(names(), (Texts{"cron", "ssh"})) << state;
    EXPECT_EQ(text_of(*row("cron"), "StartMode"), "Manual");
  }
  for (const char* state : {"inactive", "failed"}) {
    unit.active_state = state;
    EXPECT_EQ(names(), Texts{"ssh"}) << state;
  }
}

TEST_F(RecordedServices, NoneIsLoadedForItsStartModeOrExitCode) {
  struct Case {
    const char* unit;
    const char* state;
    const char* mode;
  };
  const Case cases[]{
      {"at", "enabled", "Auto"}, {"bat", "masked-runtime", "Disabled"}, {"cat", "static", "Manual"}};
  for (const auto& [unit, state, mode] : cases) {
    machine.write("/units/" + std::string(unit) + ".service", "[Unit]\n");
    manager.file_states[std::string(unit) + ".service"] = state;
  }
  for (const auto& [unit, state, mode] : cases) {
    const auto service = row(unit);
    EXPECT_EQ(text_of(*service, "StartMode"), mode) << unit;
    EXPECT_EQ(number_of(*service, "ExitCode"), 0U);
  }
  EXPECT_FALSE(asked_for("LoadUnit")) << "the manager would announce it";
  const auto gone = row("at");
  manager.file_states.clear();
  manager.units.push_back({"at.service", "at.service", "inactive", "not-found", ""});
  EXPECT_EQ(text_of(*gone, "StartMode"), "Manual") << "loaded without a file";
}

TEST_F(RecordedServices, AreNarrowedByEitherName) {
  const auto named = [&](const char* property, const char* text) {
    return equals(*provider, property, text);
  };
  EXPECT_EQ(names({named("Name", "SSH")}), Texts{"ssh"});
  EXPECT_EQ(names({named("DisplayName", "regular JOBS")}), Texts{"cron"});
  EXPECT_EQ(names({named("DisplayName", "cron")}), Texts{});
  EXPECT_EQ(names({named("Name", "Secure shell")}), Texts{});
  EXPECT_EQ(names({named("Name", "ssh"), named("DisplayName", "Regular jobs")}), (Texts{"cron", "ssh"}));
  EXPECT_EQ(names({named("State", "Running")}), (Texts{"cron", "ssh"})) << "the engine picks among these";
}

TEST_F(RecordedServices, DetailsComeFromTheUnit) {
  FakeUnit& unit = manager.unit("cron.service");
  unit.command = {"/bin/sh", "-c", "run all"};
  unit.main_process = 42;
  unit.exit_status = 3;
  const auto service = row("cron");
  EXPECT_EQ(text_of(*service, "PathName"), "/bin/sh -c \"run all\"");
  EXPECT_EQ(number_of(*service, "ProcessId"), 42U);
  EXPECT_EQ(number_of(*service, "ExitCode"), 3U);
  EXPECT_EQ(text_of(*service, "StartName"), "root");
  EXPECT_EQ(get(*service, "AcceptStop"), cim::Value(true));
  EXPECT_EQ(std::ranges::count(bus.calls(), std::string("GetAll")), 2) << "asked once for all of them";

  unit.user = "daemon";
  unit.can_stop = false;
  EXPECT_EQ(text_of(*row("cron"), "StartName"), "daemon");
  EXPECT_EQ(get(*row("cron"), "AcceptStop"), cim::Value(false));
  unit.can_stop = true;
  unit.active_state = "failed";
  EXPECT_EQ(get(*row("cron"), "AcceptStop"), cim::Value(false));
  EXPECT_EQ(number_of(*row("cron"), "ProcessId"), 0U);
}

TEST_F(RecordedServices, ARefusedQuestionIsAccessDenied) {
  manager.refusal = SD_BUS_ERROR_ACCESS_DENIED;
  manager.refused_method = "ListUnits";
  EXPECT_EQ(listing(), kAccessDenied);
  manager.refused_method = "Get";
  EXPECT_EQ(listing(), kAccessDenied) << "the folders of unit files";
  manager.refused_method = "GetAll";
  EXPECT_EQ(listing(), 2U);
  EXPECT_EQ(answer_of([&] { return text_of(*row("cron"), "StartMode").empty() ? 0U : 1U; }), kAccessDenied);
}

TEST_F(RecordedServices, AnErrorIsAFailureAndNeverAnEmptyList) {
  manager.refusal = SD_BUS_ERROR_SERVICE_UNKNOWN;
  manager.refused_method = "ListUnits";
  EXPECT_EQ(listing(), kProviderFailure);
  try {
    rows_of(*provider);
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.description(), "Provider failure ");
    ASSERT_TRUE(error.query_diagnostic());
    EXPECT_EQ(error.query_diagnostic()->message,
              "the service manager does not answer on the system bus (" SD_BUS_ERROR_SERVICE_UNKNOWN ")");
  }
}

TEST(RecordedServicesWithoutABus, AreAFailureAndNoEmptyList) {
  const RecordedMachine machine;
  const auto provider = providers::make_win32_service(machine);
  try {
    rows_of(*provider);
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(static_cast<std::uint32_t>(error.number()), kProviderFailure);
    EXPECT_EQ(error.description(), "Provider failure ");
  }
}

TEST_F(RecordedServices, StartAndStopThatAreDone) {
  manager.job = [](FakeUnit& unit) { unit.active_state = "active"; };
  EXPECT_EQ(start(), 0U);
  EXPECT_EQ(text_of(*row("ssh"), "State"), "Running");
  manager.job = [](FakeUnit& unit) { unit.active_state = "inactive"; };
  EXPECT_EQ(stop(), 0U);
  EXPECT_EQ(text_of(*row("cron"), "State"), "Stopped");
}

TEST_F(RecordedServices, WhatIsThereAlreadyIsNotAskedFor) {
  for (const char* state : {"active", "reloading", "refreshing", "activating"}) {
    manager.unit("ssh.service").active_state = state;
    EXPECT_EQ(start(), 10U) << state;
  }
  for (const char* state : {"inactive", "failed"}) {
    manager.unit("cron.service").active_state = state;
    EXPECT_EQ(stop(), 10U) << state;
  }
  manager.unit("ssh.service").active_state = "inactive";
  manager.unit("ssh.service").load_state = "masked";
  EXPECT_EQ(start(), 14U);
  EXPECT_FALSE(asked_for("StartUnit"));
  EXPECT_FALSE(asked_for("StopUnit"));
}

TEST_F(RecordedServices, RefusalsHaveTheirCodes) {
  struct Case {
    const char* name;
    std::uint32_t of_start;
    std::uint32_t of_stop;
  };
  for (const auto& [name, of_start, of_stop] : {
           Case{SD_BUS_ERROR_ACCESS_DENIED, 2, 2},
           Case{SD_BUS_ERROR_INTERACTIVE_AUTHORIZATION_REQUIRED, 2, 2},
           Case{"org.freedesktop.systemd1.NoSuchUnit", kNotFound, kNotFound},
           Case{"org.freedesktop.systemd1.UnitMasked", 14, 14},
           Case{"org.freedesktop.systemd1.OnlyByDependency", 1, 4},
           Case{"org.freedesktop.systemd1.JobTypeNotApplicable", 1, 1},
           Case{"org.freedesktop.systemd1.BadUnitSetting", 21, 21},
           Case{"org.freedesktop.systemd1.TransactionOrderIsCyclic", 18, 18},
           Case{"org.freedesktop.systemd1.TransactionIsDestructive", 8, 8},
           Case{SD_BUS_ERROR_TIMEOUT, 7, 7},
           Case{SD_BUS_ERROR_SERVICE_UNKNOWN, kProviderFailure, kProviderFailure},
       }) {
    manager.refusal = name;
    manager.refused_method = "StartUnit";
    EXPECT_EQ(start(), of_start) << name;
    manager.refused_method = "StopUnit";
    EXPECT_EQ(stop(), of_stop) << name;
  }
}

TEST_F(RecordedServices, JobsThatFailHaveTheirCodes) {
  struct Case {
    const char* job_result;
    const char* result;
    std::int32_t exit_code;
    std::int32_t exit_status;
    std::uint32_t code;
  };
  constexpr std::int32_t kExited = 1, kKilled = 2;
  for (const Case& ended : {
           Case{"failed", "exit-code", kExited, 1, 8},
           Case{"failed", "exit-code", kExited, 203, 9},
           Case{"failed", "exit-code", kExited, 217, 15},
           Case{"failed", "signal", kKilled, 9, 8},
           Case{"failed", "timeout", kKilled, 15, 7},
           Case{"timeout", "success", 0, 0, 7},
           Case{"dependency", "success", 0, 0, 13},
           Case{"canceled", "success", 0, 0, 8},
           Case{"done", "exit-code", kExited, 203, 9},
       }) {
    manager.job_result = ended.job_result;
    manager.job = [&](FakeUnit& unit) {
      unit.result = ended.result;
      unit.exit_code = ended.exit_code;
      unit.exit_status = ended.exit_status;
    };
    EXPECT_EQ(start(), ended.code) << ended.job_result << " " << ended.exit_status;
  }
  manager.job_result = "done";
  manager.job = [](FakeUnit& unit) {
    unit.result = "success";
    unit.condition_result = false;
  };
  EXPECT_EQ(start(), 8U) << "a condition is not met";
}

TEST_F(RecordedServices, AProgramThatCannotBeExecutedIsToldThoughTheJobIsDone) {
  manager.job = [](FakeUnit& unit) {
    unit.active_state = "active";
    unit.main_process = 42;
  };
  machine.sleep = [this](std::chrono::milliseconds) {
    FakeUnit& unit = manager.unit("ssh.service");
    unit.active_state = "failed";
    unit.result = "exit-code";
    unit.exit_code = 1;
    unit.exit_status = 203;
  };
  EXPECT_EQ(start(), 9U);
}

TEST_F(RecordedServices, OneThatRunningServicesNeedIsNotStopped) {
  manager.unit("cron.service").required_by = {"ssh.service", "multi-user.target"};
  for (const char* state : {"active", "reloading", "refreshing", "activating"}) {
    manager.unit("ssh.service").active_state = state;
    EXPECT_EQ(stop(), 3U) << state;
  }
  EXPECT_FALSE(asked_for("StopUnit"));
  manager.units.push_back({"multi-user.target", "Multi-User", "active"});
  for (const char* state : {"deactivating", "inactive", "failed"}) {
    manager.unit("ssh.service").active_state = state;
    EXPECT_EQ(stop(), 0U) << state;
  }
}

TEST_F(RecordedServices, CannotBeHeld) {
  EXPECT_EQ(call(*row("cron"), "PauseService"), 1U);
  EXPECT_EQ(call(*row("cron"), "ResumeService"), 1U);
}

}  // namespace
}  // namespace kvwmi::ground
