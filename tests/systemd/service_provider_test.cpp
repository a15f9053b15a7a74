// Win32_Service, Reboot and log-off against a real service manager. Runs inside a systemd of its own
// (in_systemd).
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "frame/wmi_access.h"
#include "frame/wmi_status.h"
#include "kvwmi/error.h"
#include "linux/local_service.h"

namespace kvwmi {
namespace {

void run(const std::string& command) {
  ASSERT_EQ(std::system((command + " >/dev/null 2>&1").c_str()), 0) << command;
}

void write_unit(const std::string& name, const std::string& text) {
  std::ofstream("/run/systemd/system/" + name) << text;
}

class Services : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    write_unit("kvp-simple.service",
               "[Unit]\nDescription=KVP Simple\n[Service]\nExecStart=/bin/sleep \"1000000\"\nUser=nobody\n"
               "[Install]\nWantedBy=multi-user.target\n");
    write_unit("kvp-missing.service",
               "[Unit]\nDescription=KVP Missing\n[Service]\nExecStart=/no/such/program\n");
    write_unit("kvp-user.service",
               "[Unit]\nDescription=KVP User\n[Service]\nExecStart=/bin/sleep 1000000\nUser=nosuchuser\n");
    write_unit("kvp-silent.service",
               "[Unit]\nDescription=KVP Silent\n[Service]\nType=notify\nTimeoutStartSec=1\n"
               "ExecStart=/bin/sleep 1000000\n");
    write_unit("kvp-failing.service",
               "[Unit]\nDescription=KVP Failing\n[Service]\nType=oneshot\nExecStart=/bin/false\n");
    write_unit("kvp-once.service",
               "[Unit]\nDescription=KVP Once\n[Service]\nType=oneshot\nExecStart=/bin/true\n");
    write_unit(
        "kvp-needs-failing.service",
        "[Unit]\nDescription=KVP Needs Failing\nRequires=kvp-failing.service\nAfter=kvp-failing.service\n"
        "[Service]\nExecStart=/bin/sleep 1000000\n");
    write_unit("kvp-base.service", "[Unit]\nDescription=KVP Base\n[Service]\nExecStart=/bin/sleep 1000000\n");
    write_unit("kvp-dependent.service",
               "[Unit]\nDescription=KVP Dependent\nRequires=kvp-base.service\nAfter=kvp-base.service\n"
               "[Service]\nExecStart=/bin/sleep 1000000\n");
    write_unit("kvp-by-hand.service",
               "[Unit]\nDescription=KVP Not By Hand\nRefuseManualStart=yes\nRefuseManualStop=yes\n"
               "[Service]\nExecStart=/bin/sleep 1000000\n");
    write_unit("kvp-pulls.service",
               "[Unit]\nDescription=KVP Pulls\nWants=kvp-by-hand.service\n[Service]\nExecStart=/bin/sleep "
               "1000000\n");
    write_unit("kvp-condition.service",
               "[Unit]\nDescription=KVP Condition\nConditionPathExists=/no/such/file\n[Service]\n"
               "ExecStart=/bin/sleep 1000000\n");
    write_unit("kvp-bad.service", "[Unit]\nDescription=KVP Bad\n[Service]\nType=oneshot\n");
    write_unit("kvp-template@.service",
               "[Unit]\nDescription=KVP Template %i\n[Service]\nExecStart=/bin/true\n");
    ASSERT_EQ(symlink("/dev/null", "/run/systemd/system/kvp-masked.service"), 0);
    ASSERT_EQ(symlink("kvp-simple.service", "/run/systemd/system/kvp-alias.service"), 0);
    run("systemctl daemon-reload");
    run("systemctl enable --runtime kvp-simple.service");
  }

  std::shared_ptr<wmi::Services> services =
      ground::local_service().create_locator()->connect_server(wmi::ConnectArguments());

  std::shared_ptr<wmi::Object> find(const std::string& condition) {
    return wmi::first_of(*services->exec_query("SELECT * FROM Win32_Service WHERE " + condition));
  }
  std::shared_ptr<wmi::Object> named(const std::string& name) {
    auto found = find("Name='" + name + "'");
    if (!found) throw std::runtime_error("no service " + name);
    return found;
  }
  std::string text(const std::string& name, const char* property) {
    return text_of(named(name)->get(property));
  }
  static std::string text_of(const wmi::Value& value) {
    const auto* held = value.get_if<std::string>();
    return held == nullptr ? "(no text)" : *held;
  }
  std::int32_t number(const std::string& name, const char* property) {
    const wmi::Value value = named(name)->get(property);
    const auto* held = value.get_if<std::int32_t>();
    return held == nullptr ? -1 : *held;
  }
  std::int32_t start(const std::string& name) { return named(name)->call("StartService", {}); }
  std::int32_t stop(const std::string& name) { return named(name)->call("StopService", {}); }
};

TEST_F(Services, StartAndStopChangeTheState) {
  EXPECT_EQ(text("kvp-simple", "State"), "Stopped");
  EXPECT_EQ(named("kvp-simple")->get("Started"), wmi::Value(false));
  EXPECT_EQ(number("kvp-simple", "ProcessId"), 0);
  EXPECT_EQ(stop("kvp-simple"), 10) << "already stopped";
  EXPECT_EQ(start("kvp-simple"), 0);
  EXPECT_EQ(text("kvp-simple", "State"), "Running");
  EXPECT_EQ(named("kvp-simple")->get("Started"), wmi::Value(true));
  EXPECT_EQ(named("kvp-simple")->get("AcceptStop"), wmi::Value(true));
  EXPECT_EQ(start("kvp-simple"), 10) << "already started";
  const std::int32_t pid = number("kvp-simple", "ProcessId");
  EXPECT_GT(pid, 0);
  EXPECT_EQ(
      services
          ->exec_query("SELECT * FROM Win32_Process WHERE Name='sleep' AND ProcessId=" + std::to_string(pid))
          ->count(),
      1);
  EXPECT_EQ(stop("kvp-simple"), 0);
  EXPECT_EQ(text("kvp-simple", "State"), "Stopped");
}

TEST_F(Services, PropertiesOfAUnit) {
  EXPECT_EQ(text("kvp-simple", "DisplayName"), "KVP Simple");
  EXPECT_EQ(text("kvp-simple", "PathName"), "/bin/sleep 1000000");
  EXPECT_EQ(text("kvp-simple", "StartName"), "nobody");
  EXPECT_EQ(text("kvp-simple", "StartMode"), "Auto");
  EXPECT_EQ(text("kvp-base", "StartMode"), "Manual");
  EXPECT_EQ(text("kvp-base", "StartName"), "root");
  EXPECT_EQ(text("kvp-masked", "StartMode"), "Disabled");
  EXPECT_EQ(text("kvp-masked", "State"), "Stopped");
  EXPECT_EQ(text("kvp-base", "Status"), "OK");
}

TEST_F(Services, AreFoundByDisplayNameInAnyCaseLoadedOrNot) {
  EXPECT_TRUE(find("DisplayName='kvp FAILING'"));
  EXPECT_FALSE(find("DisplayName='KVP'"));
  EXPECT_FALSE(find("Name='kvp-template@'")) << "a template is no service";
  EXPECT_FALSE(find("Name='kvp-alias'")) << "a second name is no second service";
  EXPECT_TRUE(find("Name='systemd-journald'"));
}

TEST_F(Services, EveryPropertyOfEachCanBeRead) {
  const auto set = services->exec_query("SELECT * FROM Win32_Service");
  EXPECT_GT(set->count(), 14);
  const auto rows = set->enumerate();
  while (const auto row = rows->next()) EXPECT_FALSE(row->properties().empty());
}

TEST_F(Services, EachIsListedOnce) {
  run("systemctl start kvp-base.service");
  const auto set = services->exec_query("SELECT Name FROM Win32_Service WHERE Name LIKE 'kvp-%'");
  EXPECT_EQ(set->count(), 14);
  EXPECT_EQ(services->exec_query("SELECT * FROM Win32_Service WHERE Name='kvp-base'")->count(), 1);
  run("systemctl stop kvp-base.service");
}

TEST_F(Services, NewAndRemovedUnitFilesAreSeen) {
  EXPECT_FALSE(find("Name='kvp-late'"));
  write_unit("kvp-late.service", "[Unit]\nDescription=KVP Late\n[Service]\nExecStart=/bin/true\n");
  run("systemctl daemon-reload");
  EXPECT_TRUE(find("DisplayName='KVP Late'"));
  write_unit("kvp-late.service", "[Unit]\nDescription=KVP Later\n[Service]\nExecStart=/bin/true\n");
  run("systemctl daemon-reload");
  EXPECT_TRUE(find("DisplayName='KVP Later'"));
  ASSERT_EQ(unlink("/run/systemd/system/kvp-late.service"), 0);
  run("systemctl daemon-reload");
  EXPECT_FALSE(find("Name='kvp-late'"));
}

TEST_F(Services, OneThatRunsOnWithoutItsUnitFileIsListedUntilItStops) {
  write_unit("kvp-orphan.service",
             "[Unit]\nDescription=KVP Orphan\n[Service]\nExecStart=/bin/sleep 1000000\n");
  run("systemctl daemon-reload && systemctl start kvp-orphan.service");
  ASSERT_EQ(unlink("/run/systemd/system/kvp-orphan.service"), 0);
  run("systemctl daemon-reload");
  EXPECT_EQ(text("kvp-orphan", "State"), "Running");
  EXPECT_EQ(text("kvp-orphan", "StartMode"), "Manual");
  EXPECT_EQ(stop("kvp-orphan"), 0);
  EXPECT_FALSE(find("Name='kvp-orphan'"));
}

TEST_F(Services, ALinkToNothingMasksHoweverItIsSpelled) {
  const std::string path = "/run/systemd/system/kvr-masked.service";
  ASSERT_EQ(symlink("../../../dev/null", path.c_str()), 0);
  run("test \"$(systemctl is-enabled kvr-masked.service)\" = masked-runtime");
  EXPECT_EQ(text("kvr-masked", "StartMode"), "Disabled");
  EXPECT_EQ(start("kvr-masked"), 14);
  ASSERT_EQ(unlink(path.c_str()), 0);
}

TEST_F(Services, DisplayNamesDoNotDependOnWhetherTheUnitIsLoaded) {
  const auto describe = [](const std::string& path, const std::string& description) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << "[Unit]\nDescription=" << description
                        << "\n[Service]\nType=oneshot\nRemainAfterExit=yes\nExecStart=/bin/true\n";
  };
  const std::string etc = "/etc/systemd/system/";
  const std::string run_folder = "/run/systemd/system/";
  // Every specifier in a unit of its own: one that the manager does not know spoils the whole text.
  const std::string known = "aAbBCdEfgGhHiIjJlLmMnNopPqsStTuUvVwW%";
  for (const char letter : known + "kZ5 ") {
    describe(run_folder + "kvd-" + std::to_string(letter) + "-two\\x2dthree@in-st\\x20x.service",
             std::string("[%") + letter + "]");
  }
  for (const char* name : {"kvd-f", "kvd-f-", "kvd-f@-", "kvd-f@a--b", "kvd-f@a-..-b", "kvd-f@b\\q"}) {
    describe(run_folder + name + ".service", "At %f");
  }
  describe(run_folder + "kvd-host.service", "Own");
  describe(run_folder + "kvd-host.service.d/10.conf", "KVD on %H");
  describe(run_folder + "kvd-hidden-run.service", "Own");
  describe(run_folder + "kvd-hidden-run.service.d/10.conf", "Hidden");
  describe(etc + "kvd-hidden-.service.d/10.conf", "Of all that are hidden");
  describe(run_folder + "kvd-reset.service", "Own");
  describe(etc + "kvd-reset.service.d/10.conf", "");
  describe(run_folder + "kvd-many@one.service", "Own");
  describe(run_folder + "kvd-many@.service.d/20.conf", "Of the template, %i");
  describe(etc + "kvd-many@one.service.d/10.conf", "Earlier");
  ASSERT_EQ(symlink("/nowhere/kvd-gone.service", (run_folder + "kvd-gone.service").c_str()), 0);
  run("systemctl daemon-reload");

  using Names = std::map<std::string, std::string>;
  const auto display_names = [&] {
    Names names;
    const auto set =
        services->exec_query("SELECT Name, DisplayName FROM Win32_Service WHERE Name LIKE 'kvd-%'");
    const auto rows = set->enumerate();
    while (const auto row = rows->next()) {
      names[text_of(row->get("Name"))] = text_of(row->get("DisplayName"));
    }
    return names;
  };
  const auto expect_the_same_when_loaded = [&] {
    run("test -z \"$(systemctl list-units --all --plain --no-legend 'kvd-*')\"");
    const Names before = display_names();
    std::string start = "systemctl start --";
    for (const auto& [name, display_name] : before) start += " '" + name + ".service'";
    run(start);
    const Names after = display_names();
    run("systemctl stop 'kvd-*'");
    EXPECT_EQ(before, after);
    return before;
  };
  Names names = expect_the_same_when_loaded();
  char host[256] = "";
  ASSERT_EQ(gethostname(host, sizeof host), 0);
  EXPECT_EQ(names["kvd-host"], std::string("KVD on ") + host);
  EXPECT_EQ(names["kvd-hidden-run"], "Of all that are hidden");
  EXPECT_EQ(names["kvd-reset"], "kvd-reset.service");
  EXPECT_EQ(names["kvd-many@one"], "Of the template, one");
  EXPECT_EQ(names.size(), known.size() + 4 + 6 + 4);

  describe(etc + "service.d/15.conf", "KVD among all services");
  run("systemctl daemon-reload");
  names = expect_the_same_when_loaded();
  EXPECT_EQ(names["kvd-host"], "KVD among all services");
  EXPECT_EQ(names["kvd-many@one"], "Of the template, one");
  std::filesystem::remove_all(etc + "service.d");
  run("rm -r " + etc + "kvd-* " + run_folder + "kvd-*");
  run("systemctl daemon-reload");
}

TEST_F(Services, MissingProgramIsToldThoughTheManagerSaysDone) {
  EXPECT_EQ(start("kvp-missing"), 9);
  EXPECT_EQ(text("kvp-missing", "State"), "Stopped");
  EXPECT_EQ(number("kvp-missing", "ExitCode"), 203);
}

TEST_F(Services, UnknownUserIsALogonFailure) {
  EXPECT_EQ(start("kvp-user"), 15);
}

TEST_F(Services, SilentServiceRunsIntoItsTimeout) {
  EXPECT_EQ(start("kvp-silent"), 7);
}

TEST_F(Services, FailureOfTheServiceAndOfOneThatItNeeds) {
  EXPECT_EQ(start("kvp-failing"), 8);
  EXPECT_EQ(start("kvp-needs-failing"), 13);
  EXPECT_EQ(start("kvp-condition"), 8);
}

TEST_F(Services, ServiceThatEndsByItselfHasStarted) {
  EXPECT_EQ(start("kvp-once"), 0);
  EXPECT_EQ(text("kvp-once", "State"), "Stopped");
}

TEST_F(Services, OneThatOthersNeedIsNotStoppedUnderThem) {
  EXPECT_EQ(start("kvp-dependent"), 0);
  EXPECT_EQ(text("kvp-base", "State"), "Running");
  EXPECT_EQ(stop("kvp-base"), 3);
  EXPECT_EQ(text("kvp-dependent", "State"), "Running");
  EXPECT_EQ(stop("kvp-dependent"), 0);
  EXPECT_EQ(stop("kvp-base"), 0);
}

TEST_F(Services, MaskedFaultyAndForbiddenOnes) {
  EXPECT_EQ(start("kvp-masked"), 14);
  EXPECT_EQ(start("kvp-bad"), 21);
  EXPECT_EQ(start("kvp-by-hand"), 1);
  EXPECT_EQ(start("kvp-pulls"), 0);
  EXPECT_EQ(text("kvp-by-hand", "State"), "Running");
  EXPECT_EQ(stop("kvp-by-hand"), 4);
}

TEST_F(Services, CannotBeHeld) {
  EXPECT_EQ(named("kvp-simple")->call("PauseService", {}), 1);
  EXPECT_EQ(named("kvp-simple")->call("ResumeService", {}), 1);
}

TEST_F(Services, VanishedUnitIsNotFound) {
  write_unit("kvp-gone.service", "[Unit]\nDescription=KVP Gone\n[Service]\nExecStart=/bin/true\n");
  run("systemctl daemon-reload");
  const auto service = named("kvp-gone");
  ASSERT_EQ(unlink("/run/systemd/system/kvp-gone.service"), 0);
  run("systemctl daemon-reload");
  EXPECT_EQ(text_of(service->get("StartMode")), "Manual") << "as all that nothing starts by itself";
  try {
    service->call("StartService", {});
    FAIL();
  } catch (const Error& error) {
    EXPECT_TRUE(wmi::is_status(error, wmi::Status::not_found)) << error.description();
  }
}

/// What `steps` exits with as the user nobody.
int as_nobody(const std::function<int()>& steps) {
  const pid_t child = fork();
  if (child == 0) {
    if (setgid(65534) != 0 || setuid(65534) != 0) _exit(99);
    int result = 98;
    try {
      result = steps();
    } catch (const Error& error) {
      result = error.number() & 0xFF;
    }
    _exit(result);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(Services, WithoutTheRightStartIsDenied) {
  EXPECT_EQ(as_nobody([&] { return named("kvp-once")->call("StartService", {}); }), 2);
}

TEST_F(Services, WithoutTheRightToReadTheFileTheManagerTellsWhatItSays) {
  write_unit("kvp-secret.service", "[Unit]\nDescription=KVP Secret\n[Service]\nExecStart=/bin/true\n");
  const std::string path = "/run/systemd/system/kvp-secret.service";
  std::filesystem::permissions(path, std::filesystem::perms::owner_read);
  run("systemctl daemon-reload");
  EXPECT_EQ(as_nobody([&] {
              EXPECT_EQ(text("kvp-secret", "DisplayName"), "KVP Secret");
              EXPECT_EQ(text("kvp-simple", "StartMode"), "Auto");
              return HasFailure() ? 1 : 0;
            }),
            0);
  ASSERT_EQ(unlink(path.c_str()), 0);
  run("systemctl daemon-reload");
}

TEST_F(Services, WithoutTheRightTheMachineIsNotRestarted) {
  EXPECT_EQ(as_nobody([&] {
              return wmi::first_of(*services->exec_query("SELECT * FROM Win32_OperatingSystem"))
                  ->call("Reboot", {});
            }),
            0x62)
      << "0x80041062, privilege not held";
}

TEST_F(Services, LogOffWithoutASessionSaysSo) {
  const auto system = wmi::first_of(*services->exec_query("SELECT * FROM Win32_OperatingSystem"));
  EXPECT_EQ(system->call("Win32Shutdown", {{"Flags", wmi::Value(std::int32_t{0})}}), 1312);
}

}  // namespace
}  // namespace kvwmi
