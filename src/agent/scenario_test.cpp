#include "agent/scenario.h"

#include <gtest/gtest.h>

#include "agent/scenario_document.h"
#include "agent/usage_error.h"

namespace kvwmi::agent {
namespace {

using namespace std::chrono_literals;

TEST(ScenarioDocumentTest, ValuesKnowTheirLines) {
  const JsonNode document = read_json(
      "{\n  \"a\": 1,\n  // a comment\n  \"b\": [true,\n    \"x\"],\n\n  \"c\": {\"d\": null}\n}\n");
  EXPECT_EQ(document.line, 1U);
  ASSERT_EQ(document.members.size(), 3U);
  EXPECT_EQ(document.find("a")->line, 2U);
  EXPECT_EQ(document.find("a")->text, "1");
  EXPECT_EQ(document.find("b")->line, 4U);
  EXPECT_EQ(document.find("b")->elements[0].line, 4U);
  EXPECT_EQ(document.find("b")->elements[1].line, 5U);
  EXPECT_EQ(document.find("b")->elements[1].text, "x");
  EXPECT_EQ(document.find("c")->find("d")->line, 7U);
  EXPECT_EQ(document.find("c")->find("d")->kind, JsonNode::Kind::null);
  EXPECT_EQ(document.find("e"), nullptr);
}

std::string refusal(const std::string& text) {
  try {
    (void)parse_scenario(text, "s.json");
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(ScenarioTest, EverythingThatAStepCanHave) {
  const Scenario scenario = parse_scenario(R"({
    "title": "All of it",
    "steps": [
      {"step": 3, "title": "first",
       "watches": [
         {"watch": "disk", "id": 7, "name": "C:", "below": "10GB", "poll": 2, "group": "1min", "at-least": 3},
         {"watch": "process", "name": "sleep", "start": true}, {"watch": "power", "if-undetected": true}],
       "checks": [{"check": "process-exists", "name": "sleep", "expect": false}, {"check": "free-memory"}],
       "wait": "500ms", "start": ["sleep", "3"],
       "until": {"seen": [7, 2], "events": 4, "ended": true}, "for": 20, "undetected": true},
      {"watches": [{"watch": "power"}], "until": {"events": 1}},
      {},
      {"start": ["sleep", "3"]},
      {"start": ["sleep", "3"], "for": "2s"}
    ]
  })",
                                           "s.json");
  EXPECT_EQ(scenario.title, "All of it");
  ASSERT_EQ(scenario.steps.size(), 5U);
  const ScenarioStep& step = scenario.steps[0];
  EXPECT_EQ(step.number, 3);
  EXPECT_EQ(step.title, "first");
  ASSERT_EQ(step.watches.size(), 3U);
  EXPECT_EQ(step.watches[0].kind->method, "m_SuperviseDiskFreeSpace");
  EXPECT_EQ(step.watches[0].id, 7);
  EXPECT_EQ(step.watches[0].request.name, "C:");
  EXPECT_EQ(step.watches[0].request.condition, 2);
  EXPECT_EQ(step.watches[0].request.threshold, (Size{Currency::from_integer(10), 3}));
  EXPECT_EQ(step.watches[0].request.polling_period, 2);
  EXPECT_EQ(step.watches[0].request.group_period, 60);
  EXPECT_EQ(step.watches[0].request.group_threshold, 3);
  EXPECT_EQ(step.watches[1].id, 2) << "its place in the list";
  EXPECT_TRUE(step.watches[1].request.first);
  EXPECT_FALSE(step.watches[1].request.second);
  EXPECT_FALSE(step.watches[1].request.notify_if_undetected);
  EXPECT_TRUE(step.watches[2].request.notify_if_undetected);
  ASSERT_EQ(step.checks.size(), 2U);
  EXPECT_EQ(step.checks[0].check->method, "m_GetProcessExistence");
  EXPECT_EQ(step.checks[0].name, "sleep");
  EXPECT_EQ(step.checks[0].expected, ScenarioCheck::Expected(false));
  EXPECT_EQ(step.checks[1].expected, std::nullopt);
  EXPECT_EQ(step.wait, 500ms);
  EXPECT_EQ(step.command, (std::vector<std::string>{"sleep", "3"}));
  EXPECT_EQ(step.until.seen, (std::vector<std::int32_t>{7, 2}));
  EXPECT_EQ(step.until.events, 4);
  EXPECT_TRUE(step.until.command_ended);
  EXPECT_EQ(step.limit, 20s);
  EXPECT_TRUE(step.undetected);

  EXPECT_EQ(scenario.steps[1].number, 4);
  EXPECT_EQ(scenario.steps[1].limit, 10s) << "of a step that waits for something";
  EXPECT_EQ(scenario.steps[2].number, 5);
  EXPECT_EQ(scenario.steps[2].limit, 0s);
  EXPECT_TRUE(scenario.steps[2].until.is_empty());
  EXPECT_TRUE(scenario.steps[3].until.command_ended) << "of a command that nothing else is said about";
  EXPECT_EQ(scenario.steps[3].limit, 10s);
  EXPECT_TRUE(scenario.steps[4].until.is_empty());
  EXPECT_EQ(scenario.steps[4].limit, 2s);
}

TEST(ScenarioTest, ExpectedNumbersAreNumbersHoweverTheyAreWritten) {
  for (const char* number : {"12.5", "12.50", "1.25e1"}) {
    const Scenario scenario = parse_scenario(
        R"({"steps": [{"checks": [{"check": "paging", "expect": )" + std::string(number) + "}]}]}", "s.json");
    EXPECT_EQ(scenario.steps[0].checks[0].expected, ScenarioCheck::Expected(Currency::from_text("12.5")));
  }
}

TEST(ScenarioTest, TheLastStepNumberCanBeUsed) {
  const Scenario scenario = parse_scenario(R"({"steps": [{"step": 2147483646}, {}]})", "s.json");
  EXPECT_EQ(scenario.steps[1].number, 2'147'483'647);
}

TEST(ScenarioDocumentTest, NestingHasALimit) {
  const auto nested = [](std::size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
  EXPECT_EQ(refusal(nested(64)), "s.json:1: must be an object in braces");
  EXPECT_EQ(refusal(nested(65)), "s.json:1: nested too deeply");
  EXPECT_EQ(refusal(std::string(2'000'000, '[')), "s.json:1: nested too deeply");
}

struct RefusalCase {
  const char* text;
  const char* message;
};

TEST(ScenarioTest, RefusalsNameLineAndKey) {
  const RefusalCase cases[]{
      {"", "s.json:1: the document ends too early"},
      {"{\"steps\": [\n{\"step\": 1", "s.json:2: the document ends too early"},
      {"[\"a", "s.json:1: the document ends too early"},
      {"{\n\"steps\": [}", "s.json:2: no JSON at \"\"steps\": [}\""},
      {"{} x", "s.json:1: no JSON at \"{} x\""},
      {"[]", "s.json:1: must be an object in braces"},
      {"{}", "s.json:1: the key \"steps\" is missing"},
      {"{\"steps\": []}", "s.json:1: steps: holds no step"},
      {"{\"steps\": 3}", "s.json:1: steps: must be a list of steps"},
      {"{\n\"steps\": [{}],\n\"titel\": \"x\"}", "s.json:3: titel: unknown key; nearest: title"},
      {"{\n\"title\": 1,\n\"steps\": [{}]}", "s.json:2: title: must be a text"},
      {"{\"steps\": [{}],\n\"steps\": [{}]}", "s.json:2: \"steps\" stands there twice"},
      {"{\"steps\": [\n{},\n{\"step\": 1}]}", "s.json:3: steps[1].step: steps must be in rising order"},
      {"{\"steps\": [{\"step\": 1.5}]}", "s.json:1: steps[0].step: \"1.5\" is not a whole number"},
      {"{\"steps\": [{\"for\": true}]}", "s.json:1: steps[0].for: must be a time, such as \"10s\""},
      {"{\"steps\": [{\"for\": \"long\"}]}",
       "s.json:1: steps[0].for: \"long\" is not a duration such as 500ms, 30s, 2min or 1h"},
      {"{\"steps\": [{\"start\": \"sleep 3\"}]}",
       "s.json:1: steps[0].start: must be a list of texts, the program first"},
      {"{\"steps\": [{\"start\": []}]}", "s.json:1: steps[0].start: names no program"},
      {"{\"steps\": [{\"start\": [\"a\",\n1]}]}", "s.json:2: steps[0].start[1]: must be a text"},
      {"{\"steps\": [{\"undetected\": 1}]}", "s.json:1: steps[0].undetected: must be true or false"},
      {"{\"steps\": [{\"until\": {}}]}", "s.json:1: steps[0].until: waits for nothing"},
      {"{\"steps\": [{\"until\": {\"seen\": [1]}}]}",
       "s.json:1: steps[0].until.seen[0]: the step has no watch 1"},
      {"{\"steps\": [{\"until\": {\"ended\": true}}]}",
       "s.json:1: steps[0].until.ended: the step starts no command"},
      {"{\"steps\": [{\"checks\": [{}]}]}", "s.json:1: steps[0].checks[0]: the key \"check\" is missing"},
      {"{\"steps\": [{\"checks\": [{\"check\": \"memry\"}]}]}",
       "s.json:1: steps[0].checks[0].check: unknown check \"memry\"; nearest: memory"},
      {"{\"steps\": [{\"checks\": [{\"check\": \"memory\", \"name\": \"x\"}]}]}",
       "s.json:1: steps[0].checks[0].name: this one takes no name"},
      {"{\"steps\": [{\"checks\": [{\"check\": \"service-state\"}]}]}",
       "s.json:1: steps[0].checks[0]: the key \"name\" is missing: a service's display name"},
      {"{\"steps\": [{\"checks\": [{\"check\": \"memory\", \"expect\": \"x\"}]}]}",
       "s.json:1: steps[0].checks[0].expect: must be a number"},
      {"{\"steps\": [{\"checks\": [{\"check\": \"memory\",\n\"expect\": true}]}]}",
       "s.json:2: steps[0].checks[0].expect: must be a number"},
      {"{\"steps\": [{\"checks\": [{\"check\": \"memory\", \"expect\": 1e300}]}]}",
       "s.json:1: steps[0].checks[0].expect: is more than any answer"},
      {"{\"steps\": [{\"checks\": [{\"check\": \"process-exists\", \"name\": \"x\", \"expect\": 0}]}]}",
       "s.json:1: steps[0].checks[0].expect: must be true or false"},
      {"{\"steps\": [{\"step\": 2147483647},\n{\"title\": \"x\"}]}",
       "s.json:2: steps[1]: no number is left for this step"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\"}], \"until\": {\"events\": 0}}]}",
       "s.json:1: steps[0].until.events: must be 1 or more"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\"}], \"until\": {\"events\": -1}}]}",
       "s.json:1: steps[0].until.events: must be 1 or more"},
      {"{\"steps\": [{\"until\": {\"events\": 1}}]}",
       "s.json:1: steps[0].until.events: no watch of the step reports any"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\", \"if-undetected\": true}],\n"
       "\"until\": {\"seen\": [1]}}]}",
       "s.json:2: steps[0].until.seen[0]: watch 1 reports only that it has not fired"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"window\", \"name\": \"x\",\n\"if-undetected\": true}]}]}",
       "s.json:2: steps[0].watches[0].if-undetected: unknown key; nearest: at-least"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\", \"poll\": 99999999999}]}]}",
       "s.json:1: steps[0].watches[0].poll: \"99999999999\" is not at most 2147483647 seconds"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"network-interfaces\", \"name\": \".\"}]}]}",
       "s.json:1: steps[0].watches[0]: \".\" is there and no record of network interfaces; the watch would "
       "delete it"},
      {"{\"steps\": [{\"start\": [\n\"/bin/echo\\u0000x\"]}]}", "s.json:2: a text must not hold \\u0000"},
      {"{\"steps\": [{\"watches\": [{}]}]}", "s.json:1: steps[0].watches[0]: the key \"watch\" is missing"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"dsk\"}]}]}",
       "s.json:1: steps[0].watches[0].watch: unknown watch \"dsk\"; nearest: disk"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\", \"start\": true}]}]}",
       "s.json:1: steps[0].watches[0].start: unknown key; nearest: watch"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\", \"id\": 0}]}]}",
       "s.json:1: steps[0].watches[0].id: must not be 0"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\", \"id\": 2},\n{\"watch\": \"power\"}]}]}",
       "s.json:2: steps[0].watches[1]: the step has a watch 2 already"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\", \"mains\": \"true\"}]}]}",
       "s.json:1: steps[0].watches[0].mains: must be true or false"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"free-memory\"}]}]}",
       "s.json:1: steps[0].watches[0]: a free-memory watch needs a comparison, such as below or above"},
      {"{\"steps\": [{\"watches\": [{\"watch\": \"power\", \"at-least\": 2}]}]}",
       "s.json:1: steps[0].watches[0]: a power watch counts with at-least only in a group"},
      {"{\"steps\": [{\"watches\": [\n{\"watch\": \"free-memory\",\n\"below\": \"much\"}]}]}",
       "s.json:3: steps[0].watches[0].below: \"much\" is not a size such as 512, 100KB, 1.5MB, 10GB or 20%"},
  };
  for (const RefusalCase& c : cases) EXPECT_EQ(refusal(c.text), c.message) << c.text;
}

TEST(ScenarioTest, TheAddressLibrarysMemoryIsOfOneWatch) {
  const auto second = [](const std::string& watch) {
    return refusal(
        "{\"steps\": [{\"watches\": [\n{\"watch\": \"ip-address\", \"name\": \"a.def\"}]},\n"
        "{\"watches\": [" +
        watch + "]}]}");
  };
  EXPECT_EQ(second(R"({"watch": "ip-address", "name": "a.def", "absent": true})"),
            "s.json:3: steps[1].watches[0]: shares the memory of steps[0].watches[0]: of two such ip-address "
            "watches one "
            "takes the other's events");
  for (const char* other : {R"({"watch": "ip-address", "name": "a.def", "filter": "eth*"})",
                            R"({"watch": "ip-address", "name": "b.def"})",
                            R"({"watch": "network-interfaces", "name": "a.def"})"}) {
    EXPECT_EQ(second(other), "") << other;
  }
}

TEST(ScenarioTest, ARecordOfInterfacesIsOfOneWatch) {
  for (const char* same : {"state", "./state", "x/../state"}) {
    const std::string text = R"({"steps": [{"watches": [{"watch": "network-interfaces", "name": "state"},)"
                             R"({"watch": "network-interfaces", "name": ")" +
                             std::string(same) + R"("}]}]})";
    EXPECT_EQ(refusal(text),
              "s.json:1: steps[0].watches[1]: shares the memory of steps[0].watches[0]: of two such "
              "network-interfaces watches one takes the other's events");
  }
  EXPECT_EQ(refusal(R"({"steps": [{"watches": [{"watch": "network-interfaces", "name": "state"},
                                              {"watch": "network-interfaces", "name": "other"}]}]})"),
            "");
}

TEST(ScenarioTest, KeysForPeopleSayWhatGroupsOfPolledKindsAre) {
  EXPECT_NE(scenario_keys().find("reports at the end of every group, changes or not, unless there is an\n"
                                 "\"at-least\": window, ip-address, network-interfaces.\n"),
            std::string::npos)
      << scenario_keys();
}

TEST(ScenarioTest, KeysForPeopleNameEveryKey) {
  const std::string keys = scenario_keys();
  for (const char* key :
       {"steps", "watches", "checks", "until", "undetected", "seen", "ended", "expect", "id"}) {
    EXPECT_NE(keys.find(key), std::string::npos) << key;
  }
}

}  // namespace
}  // namespace kvwmi::agent
