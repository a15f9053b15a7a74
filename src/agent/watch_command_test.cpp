#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "agent/testing/agent_fixture.h"
#include "agent/watch_kind.h"
#include "frame/wmi_status.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using testing::fake_local_ground;
using testing::fake_messages;
using testing::FakeObject;

class WatchCommandTest : public testing::AgentFixture {
 protected:
  static std::vector<std::string> queries() {
    std::vector<std::string> result;
    for (const auto& subscription : fake_local_ground().wmi.subscriptions)
      result.push_back(subscription.query);
    return result;
  }
};

TEST_F(WatchCommandTest, EventsAreShownAsTheyArriveUntilAnInterrupt) {
  post_event({{"FreePhysicalMemory", wmi::Value("1000")}});
  post_event({{"FreePhysicalMemory", wmi::Value("900")}});
  post_interrupt();
  post_event({{"FreePhysicalMemory", wmi::Value("800")}});
  const Result result = run_agent({"watch", "free-memory", "--below", "1MB"});
  EXPECT_EQ(without_times(result.out),
            "Watching free-memory; Ctrl-C stops\n"
            "TIME  free-memory  Value: 1000 Kilobytes\n"
            "TIME  free-memory  Value: 900 Kilobytes\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(WatchCommandTest, EventsAsJsonAreOneObjectALine) {
  post_event({{"LoadPercentage", wmi::Value(std::int32_t{97})}});
  post_interrupt();
  const Result result = run_agent({"watch", "processor-load", "--above", "80%", "--json"});
  ASSERT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1);
  const Json line = Json::parse(result.out);
  std::vector<std::string> keys;
  for (const auto& [key, value] : line.items()) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"time", "step", "supervision", "detail"}));
  EXPECT_EQ(line["step"], 1);
  EXPECT_EQ(line["supervision"], 1);
  EXPECT_EQ(line["detail"], "Value: 97 %");
  EXPECT_EQ(line["time"].get<std::string>().size(), std::string("2026-01-31T08:15:02.123Z").size());
}

TEST_F(WatchCommandTest, StopsByItselfWhenItsTimeIsUp) {
  const Result result = run_agent({"watch", "process", "a.exe", "--for", "1ms"});
  EXPECT_EQ(result.out, "Watching process \"a.exe\"\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(WatchCommandTest, StopsWhenNobodyReadsAnyMore) {
  for (const bool json : {true, false}) {
    bool went_on = false;
    post_event({{"LoadPercentage", wmi::Value(std::int32_t{97})}});
    fake_messages().push_back([&] {
      went_on = true;
      std::raise(SIGINT);
    });
    std::vector<std::string> arguments{"watch", "processor-load", "--above", "80%"};
    if (json) arguments.emplace_back("--json");
    (void)run_agent_unread(arguments);
    EXPECT_FALSE(went_on) << json;
    fake_messages().clear();
  }
}

TEST_F(WatchCommandTest, AbsenceIsReportedAtTheEnd) {
  const Result absent =
      run_agent({"watch", "process", "a.exe", "--start", "--if-undetected", "--for", "1ms"});
  EXPECT_EQ(without_times(absent.out),
            "Watching process \"a.exe\"\nTIME  process \"a.exe\"  has not fired\n");
  Json line = Json::parse(
      run_agent({"watch", "process", "a.exe", "--start", "--if-undetected", "--for", "1ms", "--json"}).out);
  line.erase("time");
  EXPECT_EQ(line.dump(), R"({"step":1,"supervision":1,"detail":"","undetected":true})");
  post_event();
  const Result fired = run_agent({"watch", "process", "a.exe", "--start", "--if-undetected", "--for", "1ms"});
  EXPECT_EQ(fired.out, "Watching process \"a.exe\"\n");
}

TEST_F(WatchCommandTest, FailuresWithoutACallerAreToldOnce) {
  for (int i = 0; i < 3; ++i) {
    fake_messages().push_back([] {
      FakeObject unreadable({}, "__InstanceCreationEvent");
      fake_local_ground().wmi.fire(fake_local_ground().wmi.subscriptions.back().query, unreadable);
    });
  }
  post_event();
  post_interrupt();
  const Result result = run_agent({"watch", "process", "a.exe", "--start"});
  EXPECT_EQ(result.err, "kvwmi: Not found (0x80041002)\n    raised by SWbemObjectEx\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(WatchCommandTest, AFailureIsToldWhenItHappensNotWithTheNextEvent) {
  std::ostringstream out;
  std::ostringstream err;
  std::string told;
  fake_messages().push_back([] {
    FakeObject unreadable({}, "__InstanceCreationEvent");
    fake_local_ground().wmi.fire(fake_local_ground().wmi.subscriptions.back().query, unreadable);
  });
  fake_messages().push_back([&] {
    told = err.str();
    std::raise(SIGINT);
  });
  (void)agent::run_agent({"watch", "process", "a.exe", "--start"}, out, err, {});
  EXPECT_EQ(told, "kvwmi: Not found (0x80041002)\n    raised by SWbemObjectEx\n");
}

TEST_F(WatchCommandTest, RefusedWatchIsAnError) {
  const std::string query =
      "SELECT * FROM __InstanceCreationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Process'   AND "
      "TargetInstance.Name='it's'";
  fake_local_ground().wmi.errors.insert_or_assign(
      query, wmi::wmi_error(wmi::Status::unparsable_query, wmi::source::kServices));
  const Result result = run_agent({"watch", "process", "it's", "--start"});
  EXPECT_EQ(result.err,
            "kvwmi: Unparsable query. (0x8004020F)\n"
            "    raised by SWbemServicesEx\n"
            "              KVWMI : Supervision.m_SuperviseProcess\n");
  EXPECT_EQ(result.status, 1);
}

struct QueryCase {
  std::vector<std::string> arguments;
  std::vector<std::string> queries;
};

TEST_F(WatchCommandTest, EveryKindOverWmi) {
  const std::string changed = "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA ";
  const std::string system = changed + "'Win32_OperatingSystem' AND TargetInstance.";
  const std::string service = changed + "'Win32_Service'  AND TargetInstance.DisplayName='cron'";
  const std::string running = "(PreviousInstance.State<>'Running' AND TargetInstance.State='Running')";
  const std::string stopped = "(PreviousInstance.State<>'Stopped' AND TargetInstance.State='Stopped')";
  const std::string mains = "(PreviousInstance.BatteryStatus<>2 AND TargetInstance.BatteryStatus=2)";
  const std::string battery = "(PreviousInstance.BatteryStatus=2 AND TargetInstance.BatteryStatus<>2)";
  const std::string process =
      " WITHIN 2 WHERE TargetInstance ISA 'Win32_Process'   AND TargetInstance.Name='a'";
  const QueryCase cases[]{
      {{"disk", "C:", "--below", "10GB"},
       {changed + "'Win32_LogicalDisk'  AND TargetInstance.DriveType=3  AND TargetInstance.DeviceID='C:' AND "
                  "TargetInstance.FreeSpace<10737418240"}},
      {{"process-memory", "a", "--not-below", "1KB"},
       {changed + "'Win32_Process'  AND TargetInstance.Name='a' AND TargetInstance.WorkingSetSize>=1024"}},
      {{"free-memory", "--not-above", "2KB"}, {system + "FreePhysicalMemory<=2"}},
      {{"free-virtual-memory", "--equal", "2KB"}, {system + "FreeVirtualMemory=2"}},
      {{"free-paging", "--not-equal", "2KB"}, {system + "FreeSpaceInPagingFiles<>2"}},
      {{"processor-load", "--above", "80%", "--group", "60", "--at-least", "3"},
       {changed + "'Win32_Processor' AND TargetInstance.LoadPercentage>80 GROUP WITHIN 60 HAVING "
                  "NumberOfEvents>=3"}},
      {{"service", "cron"}, {service + " AND (" + running + " OR " + stopped + ")"}},
      {{"service", "cron", "--start"}, {service + " AND (" + running + ")"}},
      {{"service", "cron", "--stop"}, {service + " AND (" + stopped + ")"}},
      {{"power"},
       {changed + "'Win32_Battery' AND (" + mains + ")", changed + "'Win32_Battery' AND (" + battery + ")"}},
      {{"power", "--mains"}, {changed + "'Win32_Battery' AND (" + mains + ")"}},
      {{"power", "--battery"}, {changed + "'Win32_Battery' AND (" + battery + ")"}},
      {{"process", "a", "--poll", "2"},
       {"SELECT * FROM __InstanceCreationEvent" + process,
        "SELECT * FROM __InstanceDeletionEvent" + process}},
      {{"process", "a", "--poll", "2", "--end"}, {"SELECT * FROM __InstanceDeletionEvent" + process}},
  };
  for (const QueryCase& c : cases) {
    fake_local_ground().wmi.subscriptions.clear();
    std::vector<std::string> arguments{"watch"};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    arguments.insert(arguments.end(), {"--for", "1ms"});
    const Result result = run_agent(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(queries(), c.queries);
  }
}

TEST_F(WatchCommandTest, PolledKinds) {
  auto& ground = fake_local_ground();
  const auto tick = [&] {
    fake_messages().push_back([&] {
      ground.fake_clock.now += std::chrono::seconds(1);
      ground.fake_timers.fire();
    });
  };
  ground.fake_windows.open.clear();
  tick();
  fake_messages().push_back([&] { ground.fake_windows.open["Editor"] = 1; });
  tick();
  post_interrupt();
  EXPECT_EQ(without_times(run_agent({"watch", "window", "Editor", "--open", "--poll", "1"}).out),
            "Watching window \"Editor\"; Ctrl-C stops\nTIME  window \"Editor\"\n");

  ground.fake_ip_address_library.address_calls.clear();
  tick();
  post_interrupt();
  run_agent({"watch", "ip-address", "addresses.def", "--filter", "eth*", "--poll", "1"});
  EXPECT_EQ(ground.fake_ip_address_library.address_calls,
            (std::vector<std::pair<std::string, std::string>>{{"addresses.def", "eth*"}}));

  ground.fake_ip_address_library.interface_result = 2;
  ground.fake_ip_address_library.interface_calls.clear();
  tick();
  tick();
  post_interrupt();
  EXPECT_EQ(
      without_times(run_agent({"watch", "network-interfaces", "state.def", "--poll", "1"}).out),
      "Watching network-interfaces \"state.def\"; Ctrl-C stops\nTIME  network-interfaces \"state.def\"\n");
  const std::string full = (std::filesystem::current_path() / "state.def").string();
  EXPECT_EQ(ground.fake_ip_address_library.interface_calls, std::vector<std::string>(2, full));
  ground.fake_ip_address_library.interface_result = 0;
  EXPECT_TRUE(std::filesystem::remove("state.def")) << "the real component deletes it itself";
}

TEST_F(WatchCommandTest, AFileThatIsNoRecordOfInterfacesIsNotGivenAway) {
  const std::string file = "watch_command_test.txt";
  std::ofstream(file) << "my notes\n";
  auto& ground = fake_local_ground();
  ground.fake_file_system.deleted.clear();
  const Result result = run_agent({"watch", "network-interfaces", file, "--for", "1ms"});
  EXPECT_EQ(result.err, "kvwmi: \"" + file +
                            "\" is there and no record of network interfaces; the watch would delete it\n");
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(ground.fake_file_system.deleted, std::vector<std::string>{});
  std::filesystem::remove(file);
}

// The component reports the absence of a polled watch that has fired, so the option would make the agent lie.
TEST_F(WatchCommandTest, OnlyKindsThatKnowWhetherTheyFiredReportAbsence) {
  for (const WatchKind& kind : watch_kinds()) {
    std::vector<std::string> words{"watch", std::string(kind.name)};
    if (!kind.needs.empty()) words.emplace_back(kind.name == "disk" ? "C:" : "absence.def");
    if (kind.compares) words.insert(words.end(), {"--below", kind.name == "processor-load" ? "1%" : "1KB"});
    words.insert(words.end(), {"--if-undetected", "--for", "1ms"});
    fake_local_ground().wmi = kvwmi::testing::FakeWmi();
    const Result result = run_agent(words);
    if (kind.name == "window" || kind.name == "ip-address" || kind.name == "network-interfaces") {
      EXPECT_EQ(result.status, 2) << kind.name;
      EXPECT_EQ(result.err.find("kvwmi: unknown option \"--if-undetected\""), 0U) << result.err;
    } else {
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_FALSE(queries().empty()) << kind.name;
      EXPECT_NE(result.out.find("has not fired"), std::string::npos) << result.out;
    }
  }
}

TEST_F(WatchCommandTest, KindsCoverTheRequestsOfTheComponent) {
  for (const WatchKind& kind : watch_kinds()) {
    EXPECT_TRUE(kind.method.starts_with("m_Supervise")) << kind.name;
    EXPECT_EQ(find_watch_kind(kind.name), &kind);
  }
  EXPECT_EQ(find_watch_kind("disks"), nullptr);
}

struct UsageCase {
  std::vector<std::string> arguments;
  std::string complaint;
};

TEST_F(WatchCommandTest, UsageErrorsNameWhatIsWrong) {
  const UsageCase cases[]{
      {{}, "watch needs to be told what; see kvwmi watch --help"},
      {{"dsk", "C:"}, "unknown watch \"dsk\"; nearest: disk"},
      {{"disk"}, "NAME is required; see kvwmi watch disk --help"},
      {{"disk", "C:"}, "a disk watch needs a comparison, such as below or above"},
      {{"disk", "C:", "--below", "much"},
       "--below: \"much\" is not a size such as 512, 100KB, 1.5MB, 10GB or 20%"},
      {{"disk", "C:", "--below", "1GB", "--above", "2GB"}, "--above: a watch makes one comparison, not two"},
      {{"disk", "C:", "--belw", "1GB"}, "unknown option \"--belw\"; nearest: --below, --help"},
      {{"disk", "/nowhere", "--below", "1GB"}, "no local disk is mounted at \"/nowhere\""},
      {{"free-memory", "C:", "--below", "1GB"}, "watch free-memory has no use for \"C:\""},
      {{"process", "a", "--at-least", "3"}, "a process watch counts with at-least only in a group"},
      {{"process", "a", "--poll", "often"},
       "--poll: \"often\" is not a duration such as 500ms, 30s, 2min or 1h"},
      {{"process", "a", "--poll", "99999999999"},
       "--poll: \"99999999999\" is not at most 2147483647 seconds"},
      {{"process", "a", "--poll", "\x1b]0;x\n"},
       "--poll: \"\\x1B]0;x\\n\" is not a duration such as 500ms, 30s, 2min or 1h"},
      {{"process", "a", "--for", ""}, "--for: \"\" is not a duration such as 500ms, 30s, 2min or 1h"},
      {{"process", "a", "--for", "ever"}, "--for: \"ever\" is not a duration such as 500ms, 30s, 2min or 1h"},
  };
  for (const UsageCase& c : cases) {
    std::vector<std::string> arguments{"watch"};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    const Result result = run_agent(arguments);
    EXPECT_EQ(result.err, "kvwmi: " + c.complaint + "\n");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.status, 2);
  }
  EXPECT_EQ(queries(), std::vector<std::string>{});
}

TEST_F(WatchCommandTest, CompletesKindsAndTheirOptions) {
  const std::string kinds = run_agent({"complete", "watch"}).out;
  EXPECT_EQ(kinds.substr(0, kinds.find("window")),
            "disk\nservice\npower\nprocess\nprocess-memory\nfree-memory\nfree-virtual-memory\nfree-paging\n"
            "processor-load\n");
  EXPECT_EQ(
      run_agent({"complete", "watch", "power"}).out,
      "--at-least\n--battery\n--for\n--group\n--help\n--if-undetected\n--json\n--mains\n--poll\n--version\n");
}

TEST_F(WatchCommandTest, HelpNamesKindsAndTheirOptions) {
  const Result all = run_agent({"watch", "--help"});
  EXPECT_EQ(all.status, 0);
  for (const WatchKind& kind : watch_kinds())
    EXPECT_NE(all.out.find(kind.name), std::string::npos) << kind.name;
  const Result disk = run_agent({"watch", "disk", "--help"});
  for (const char* word : {"NAME", "--below SIZE", "--poll SECONDS", "--if-undetected"}) {
    EXPECT_NE(disk.out.find(word), std::string::npos) << word;
  }
}

// As the component has it, see Supervision.
TEST_F(WatchCommandTest, AGroupOfAPolledKindIsReportedWithoutChangesToo) {
  for (const WatchKind& kind : watch_kinds()) {
    std::string help = run_agent({"watch", std::string(kind.name), "--help"}).out;
    help = std::regex_replace(help, std::regex("\\s+"), " ");
    const bool says_so =
        help.find("at the end of every so many seconds, changes or not") != std::string::npos;
    EXPECT_EQ(says_so, kind.source == WatchKind::Source::polled) << help;
  }
  auto& ground = fake_local_ground();
  ground.fake_windows.open.clear();
  for (int second = 0; second < 5; ++second) {
    fake_messages().push_back([&] {
      ground.fake_clock.now += std::chrono::seconds(1);
      ground.fake_timers.fire();
    });
  }
  post_interrupt();
  const Result result = run_agent({"watch", "window", "Editor", "--poll", "1", "--group", "2", "--json"});
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 2) << result.out;
}

TEST_F(WatchCommandTest, APolledKindCountsWithoutAGroup) {
  auto& ground = fake_local_ground();
  ground.fake_windows.open.clear();
  for (int second = 0; second < 4; ++second) {
    fake_messages().push_back([&, second] {
      if (second % 2 == 0) ground.fake_windows.open["Editor"] = 1;
      if (second % 2 == 1) ground.fake_windows.open.clear();
      ground.fake_clock.now += std::chrono::seconds(1);
      ground.fake_timers.fire();
    });
  }
  post_interrupt();
  const Result result = run_agent({"watch", "window", "Editor", "--poll", "1", "--at-least", "3", "--json"});
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << result.out;
}

}  // namespace
}  // namespace kvwmi::agent
