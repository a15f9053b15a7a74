#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "agent/testing/agent_fixture.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using testing::fake_local_ground;
using testing::fake_messages;
using testing::FakeObject;

class ScenarioRunTest : public testing::AgentFixture {
 protected:
  ~ScenarioRunTest() override { std::filesystem::remove(kFile); }

  // The directory is the build's own, and tests of one program run one after the other.
  static constexpr const char* kFile = "scenario_run_test.json";

  static Result run(const std::string& scenario, bool json = false) {
    std::ofstream(kFile) << scenario;
    std::vector<std::string> arguments{"run", kFile};
    if (json) arguments.emplace_back("--json");
    return run_agent(std::move(arguments));
  }
  static std::vector<Json> lines(const Result& result) {
    std::vector<Json> lines;
    std::istringstream stream(result.out);
    for (std::string line; std::getline(stream, line);) lines.push_back(Json::parse(line));
    return lines;
  }
};

constexpr const char* kTwoSteps = R"({
  "title": "Two steps",
  "steps": [
    {"title": "memory",
     "watches": [{"watch": "free-memory", "above": "1KB"}, {"watch": "process", "name": "a", "start": true}],
     "until": {"seen": [1, 2]}, "for": "10s"},
    {"step": 5, "checks": [{"check": "process-exists", "name": "a", "expect": false}]}
  ]
})";

TEST_F(ScenarioRunTest, EventsArriveAndTheSummaryCountsThem) {
  post_event({{"FreePhysicalMemory", wmi::Value("900")}}, 0);
  post_event({{"FreePhysicalMemory", wmi::Value("800")}}, 0);
  post_event({}, 1);
  const Result result = run(kTwoSteps);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(without_times(result.out),
            "Two steps\n"
            "Step 1  memory\n"
            "  TIME  watch 1: free-memory  Value: 900 Kilobytes\n"
            "  TIME  watch 1: free-memory  Value: 800 Kilobytes\n"
            "  TIME  watch 2: process \"a\"\n"
            "Step 5\n"
            "  TIME  process-exists \"a\": no\n"
            "\n"
            "STEP  RESULT   TIME  WATCH          EVENTS  LAST DETAIL\n"
            "   1  ok      0.0 s  1 free-memory       2  Value: 800 Kilobytes\n"
            "                     2 process \"a\"       1\n"
            "   5  ok      0.0 s\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(ScenarioRunTest, AsJson) {
  post_event({{"FreePhysicalMemory", wmi::Value("900")}}, 0);
  post_event({}, 1);
  const Result result = run(kTwoSteps, true);
  const std::vector<Json> lines = ScenarioRunTest::lines(result);
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0]["step"], 1);
  EXPECT_EQ(lines[0]["supervision"], 1);
  EXPECT_EQ(lines[0]["detail"], "Value: 900 Kilobytes");
  EXPECT_EQ(lines[1]["supervision"], 2);
  EXPECT_EQ(lines[3]["check"], "process-exists");
  EXPECT_EQ(lines[3]["answer"], false);
  EXPECT_EQ(lines[3]["expected"], true);
}

TEST_F(ScenarioRunTest, AsJsonAStepsEndTellsWhatCameOfIt) {
  post_event({{"FreePhysicalMemory", wmi::Value("900")}}, 0);
  post_event({}, 1);
  const std::vector<Json> lines = ScenarioRunTest::lines(run(kTwoSteps, true));
  ASSERT_EQ(lines.size(), 5U);
  Json end = lines[2];
  std::vector<std::string> keys;
  for (const auto& entry : end.items()) keys.push_back(entry.key());
  EXPECT_EQ(keys, (std::vector<std::string>{"time", "step", "result", "took", "watches"}));
  EXPECT_TRUE(end["took"].is_number_float());
  end.erase("time");
  end.erase("took");
  EXPECT_EQ(end.dump(),
            R"({"step":1,"result":"ok","watches":[{"supervision":1,"events":1,"undetected":false},)"
            R"({"supervision":2,"events":1,"undetected":false}]})");
  EXPECT_EQ(lines[4]["step"], 5);
  EXPECT_EQ(lines[4]["watches"], Json::array());
}

TEST_F(ScenarioRunTest, NoLineStandsBehindAnotherThatWaits) {
  for (const bool json : {false, true}) {
    post_event({{"FreePhysicalMemory", wmi::Value("900")}}, 0);
    post_event({}, 1);
    std::ofstream(kFile) << kTwoSteps;
    std::vector<std::string> arguments{"run", kFile};
    if (json) arguments.emplace_back("--json");
    Console::Style style;
    style.live = true;
    std::ostringstream terminal;
    EXPECT_EQ(agent::run_agent(arguments, terminal, terminal, style), 0);
    static const std::regex overwritten("\r\x1b\\[K[^\n\r]*(?=\r\x1b\\[K)");
    static const std::regex begin_of_line("\r\x1b\\[K");
    const std::string shown =
        std::regex_replace(std::regex_replace(terminal.str(), overwritten, ""), begin_of_line, "");
    EXPECT_NE(terminal.str().find(" waits, "), std::string::npos) << terminal.str();
    EXPECT_EQ(shown.find(" waits, "), std::string::npos) << shown;
  }
}

TEST_F(ScenarioRunTest, WhatAWatchReportsAfterItsStepIsItsOwn) {
  post_event({}, 0);
  fake_messages().push_back([] {});  // ends the wait of the first step
  post_event({}, 0);
  post_event({}, 1);
  const Result result = run(
      R"({"steps": [{"watches": [{"watch": "process", "name": "a", "start": true}], "until": {"seen": [1]}},
                    {"watches": [{"watch": "process", "name": "b", "start": true}], "until": {"seen": [1]}}]})");
  EXPECT_EQ(without_times(result.out),
            "Step 1\n"
            "  TIME  watch 1: process \"a\"\n"
            "Step 2\n"
            "  TIME  step 1, watch 1: process \"a\"\n"
            "  TIME  watch 1: process \"b\"\n"
            "\n"
            "STEP  RESULT   TIME  WATCH          EVENTS  LAST DETAIL\n"
            "   1  ok      0.0 s  1 process \"a\"       2\n"
            "   2  ok      0.0 s  1 process \"b\"       1\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(ScenarioRunTest, ControlCharactersAreMadeVisible) {
  const Result result = run(R"({"title": "a\u001b[1m", "steps": [{"title": "b\u001b[2J\n"}]})");
  EXPECT_EQ(without_times(result.out),
            "a\\x1B[1m\n"
            "Step 1  b\\x1B[2J\\n\n"
            "\n"
            "STEP  RESULT   TIME  WATCH       EVENTS  LAST DETAIL\n"
            "   1  ok      0.0 s  b\\x1B[2J\\n\n");
  EXPECT_EQ(run(R"({"steps": [{"x\u001b[2J": 1}]})").err.find('\x1b'), std::string::npos);
  EXPECT_EQ(run(R"({"steps": [{"watches": [{"watch": "x\u001b[2J"}]}]})").err.find('\x1b'),
            std::string::npos);
}

TEST_F(ScenarioRunTest, StopsWhenNobodyReadsAnyMore) {
  std::ofstream(kFile) << R"({"steps": [{"title": "one", "for": "1h"}, {"title": "two"}]})";
  const Result result = run_agent_unread({"run", kFile});
  EXPECT_NE(result.out.find("one"), std::string::npos);
  EXPECT_EQ(result.out.find("two"), std::string::npos);
  EXPECT_NE(result.status, 0);
}

TEST_F(ScenarioRunTest, ConditionThatIsNotMetInTimeIsMissed) {
  const Result result = run(
      R"({"steps": [{"watches": [{"watch": "power", "mains": true}], "until": {"events": 1}, "for": "1ms"}]})");
  EXPECT_EQ(without_times(result.out),
            "Step 1\n\n"
            "STEP  RESULT   TIME  WATCH    EVENTS  LAST DETAIL\n"
            "   1  missed  0.0 s  1 power       0\n");
  EXPECT_EQ(result.status, 3);
}

TEST_F(ScenarioRunTest, UndetectedWatchesAreAskedFor) {
  constexpr const char* kScenario =
      R"({"steps": [{"watches": [{"watch": "power", "if-undetected": true}], "for": "1ms", "undetected": true}]})";
  Json record = lines(run(kScenario, true)).at(0);
  record.erase("time");
  EXPECT_EQ(record.dump(), R"({"step":1,"supervision":1,"detail":"","undetected":true})");
  const Result result = run(kScenario);
  EXPECT_EQ(without_times(result.out),
            "Step 1\n"
            "  TIME  watch 1: power  has not fired\n\n"
            "STEP  RESULT   TIME  WATCH        EVENTS  LAST DETAIL\n"
            "   1  ok      0.0 s  1 power  undetected\n");
  EXPECT_EQ(result.status, 0);
}

// A thread of Windows may take in events while it waits for the answer to a query.
TEST_F(ScenarioRunTest, AnEventThatArrivesDuringACheckIsNoAbsence) {
  wmi.meanwhile = [this] {
    FakeObject event(
        {{"TargetInstance",
          wmi::Value(std::shared_ptr<wmi::Object>(std::make_shared<FakeObject>(wmi::NamedValues{})))}},
        "__InstanceCreationEvent");
    EXPECT_EQ(wmi.fire(wmi.subscriptions.front().query, event), 1);
  };
  const Result result = run(
      R"({"steps": [{"watches": [{"watch": "process", "name": "a", "start": true}],
                     "checks": [{"check": "service-exists", "name": "x"}], "undetected": true}]})");
  EXPECT_EQ(without_times(result.out),
            "Step 1\n"
            "  TIME  service-exists \"x\": no\n"
            "  TIME  watch 1: process \"a\"\n\n"
            "STEP  RESULT   TIME  WATCH          EVENTS  LAST DETAIL\n"
            "   1  ok      0.0 s  1 process \"a\"       1\n");
}

// Elsewhere it waits in the thread's loop, which nothing runs until the step's end.
TEST_F(ScenarioRunTest, AnEventThatWaitsInTheLoopIsNoAbsence) {
  wmi.meanwhile = [] { post_event(); };
  const Result result = run(
      R"({"steps": [{"watches": [{"watch": "process", "name": "a", "start": true, "if-undetected": true}],
                     "checks": [{"check": "service-exists", "name": "x"}], "undetected": true}]})");
  EXPECT_EQ(result.out.find("has not fired"), std::string::npos) << result.out;
}

TEST_F(ScenarioRunTest, CheckThatAnswersSomethingElseIsMissed) {
  const Result result =
      run(R"({"steps": [{"checks": [{"check": "service-exists", "name": "x", "expect": true}]}]})");
  EXPECT_NE(result.out.find("service-exists \"x\": no (expected true)\n"), std::string::npos) << result.out;
  EXPECT_EQ(result.status, 3);
}

TEST_F(ScenarioRunTest, StepThatFailsDoesNotKeepTheNextFromRunning) {
  const Result result = run(
      R"({"steps": [{"watches": [{"watch": "window", "name": "x", "poll": 0}]},
                    {"checks": [{"check": "service-exists", "name": "x"}]}]})");
  EXPECT_EQ(result.err,
            "kvwmi: Invalid procedure call or argument (0x8004020F)\n"
            "    raised by KVWMI\n"
            "              KVWMI : Supervision.m_SuperviseWindow\n");
  EXPECT_NE(result.out.find("service-exists \"x\": no\n"), std::string::npos) << result.out;
  EXPECT_EQ(result.status, 1);
}

TEST_F(ScenarioRunTest, ProgramThatIsNotThereFailsItsStep) {
  const Result result = run(R"({"steps": [{"start": ["no such program"]}]})");
  EXPECT_EQ(result.err.find("kvwmi: cannot start \"no such program\": "), 0U) << result.err;
  EXPECT_EQ(result.status, 1);

  const Result as_json = run(R"({"steps": [{"start": ["no such program"]}]})", true);
  const Json error = Json::parse(as_json.out.substr(0, as_json.out.find('\n')));
  EXPECT_EQ(error["step"], 1);
  EXPECT_EQ("kvwmi: " + error["error"]["Description"].get<std::string>() + "\n", result.err);
  EXPECT_EQ(error["error"]["Number"], -2147467259);
  EXPECT_EQ(error["error"]["Source"], "kvwmi");
  EXPECT_EQ(as_json.err, "");
  EXPECT_EQ(as_json.status, 1);
}

TEST_F(ScenarioRunTest, ExpectedNumberIsComparedAsANumber) {
  fake_local_ground().wmi.answer(
      "SELECT * FROM Win32_OperatingSystem",
      {std::make_shared<FakeObject>(wmi::NamedValues{{"SizeStoredInPagingFiles", wmi::Value("0")}})});
  EXPECT_EQ(run(R"({"steps": [{"checks": [{"check": "paging", "expect": 0.0}]}]})").status, 0);
  const Result other = run(R"({"steps": [{"checks": [{"check": "paging", "expect": 2.50}]}]})");
  EXPECT_NE(other.out.find("paging: 0 KB (expected 2.5)\n"), std::string::npos) << other.out;
  EXPECT_EQ(other.status, 3);
}

TEST_F(ScenarioRunTest, InterruptEndsTheScenarioCleanly) {
  post_interrupt();
  const Result result = run(R"({"steps": [{"watches": [{"watch": "power"}], "for": "1h"}, {"for": "1h"}]})");
  EXPECT_EQ(without_times(result.out),
            "Step 1\n\n"
            "STEP  RESULT    TIME  WATCH    EVENTS  LAST DETAIL\n"
            "   1  stopped  0.0 s  1 power       0\n");
  EXPECT_EQ(result.status, 130);
}

TEST_F(ScenarioRunTest, AStepThatIsStoppedReportsNoAbsence) {
  post_interrupt();
  const Result result = run(
      R"({"steps": [{"watches": [{"watch": "power", "if-undetected": true}], "for": "1h", "undetected": true}]})");
  EXPECT_EQ(without_times(result.out),
            "Step 1\n\n"
            "STEP  RESULT    TIME  WATCH    EVENTS  LAST DETAIL\n"
            "   1  stopped  0.0 s  1 power       0\n");
  EXPECT_EQ(result.status, 130);
}

TEST_F(ScenarioRunTest, InterruptDuringTheWaitStartsNoCommand) {
  post_interrupt();
  const Result result = run(R"({"steps": [{"wait": "1h", "start": ["no such program"]}]})");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 130);
}

TEST_F(ScenarioRunTest, HangupEndsItToo) {
#ifdef SIGHUP
  fake_messages().push_back([] { std::raise(SIGHUP); });
  EXPECT_EQ(run(R"({"steps": [{"for": "1h"}]})").status, 130);
#else
  GTEST_SKIP() << "no such signal on this system";
#endif
}

TEST_F(ScenarioRunTest, UsageErrors) {
  const Result refused = run("{}");
  EXPECT_EQ(refused.err, "kvwmi: scenario_run_test.json:1: the key \"steps\" is missing\n");
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(run_agent({"run", "no such file"}).err,
            "kvwmi: cannot read no such file: No such file or directory\n");
#ifdef _WIN32
  constexpr const char* kFolder = "Permission denied";
#else
  constexpr const char* kFolder = "Is a directory";
#endif
  const Result folder = run_agent({"run", "."});
  EXPECT_EQ(folder.err, "kvwmi: cannot read .: " + std::string(kFolder) + "\n");
  EXPECT_EQ(folder.status, 2);
  EXPECT_EQ(run("").err, "kvwmi: scenario_run_test.json:1: the document ends too early\n");
}

}  // namespace
}  // namespace kvwmi::agent
