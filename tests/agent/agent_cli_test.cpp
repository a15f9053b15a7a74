// The kvwmi command as it is run on this machine: what it prints, where, and how it ends.
#include <gtest/gtest.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <string>

#include "support/command.h"

namespace kvwmi::tests {
namespace {

using Json = nlohmann::ordered_json;

const std::string kAgent = quoted(KVWMI_AGENT);
const std::string kRoot = KVWMI_ROOT;

/// Standard output and status of the agent; what it complains goes nowhere.
CommandResult agent(const std::string& arguments) {
  return run_shell(kAgent + " " + arguments + " 2>/dev/null");
}
/// What it complains, and the status.
CommandResult complaint(const std::string& arguments) {
  return run_shell(kAgent + " " + arguments + " 2>&1 >/dev/null");
}

std::vector<std::string> keys(const Json& object) {
  std::vector<std::string> result;
  for (const auto& entry : object.items()) result.push_back(entry.key());
  return result;
}
using Keys = std::vector<std::string>;

TEST(AgentCli, ChecksWithoutANameInOneTable) {
  const CommandResult result = agent("check");
  EXPECT_EQ(result.status, 0) << result.out;
  for (const char* name : {"power-source", "free-memory", "memory", "free-virtual-memory", "virtual-memory",
                           "free-paging", "paging", "processor-load"}) {
    EXPECT_NE(result.out.find("\n" + std::string(name) + " "), std::string::npos) << name << "\n"
                                                                                  << result.out;
  }
}

TEST(AgentCli, ACheckAsJsonIsOneObject) {
  const CommandResult memory = agent("check memory --json");
  EXPECT_EQ(memory.status, 0);
  const Json json = Json::parse(memory.out);
  EXPECT_EQ(keys(json), (Keys{"method", "result", "f_curSize"}));
  EXPECT_EQ(json["method"], "m_GetPhysicalMemorySize");
  EXPECT_EQ(json["result"], 0);
  EXPECT_GT(json["f_curSize"].get<std::int64_t>(), 0);

  EXPECT_EQ(keys(Json::parse(agent("check power-source --json").out)),
            (Keys{"method", "result", "f_lngState"}));
  EXPECT_EQ(keys(Json::parse(agent("check processor-load --json").out)),
            (Keys{"method", "result", "f_lngPercentage"}));
  EXPECT_EQ(Json::parse(agent("check process-exists agent_cli_test --json").out).dump(),
            R"({"method":"m_GetProcessExistence","result":0,"f_blnExist":true})");
}

TEST(AgentCli, ExitStatusThreeIsAnAnswerWithAStepCode) {
  const CommandResult result = agent("check process-memory kvwmi-no-such-process --json");
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(Json::parse(result.out).dump(),
            R"({"method":"m_GetProcessMemorySize","result":1,"f_curSize":0})");
}

TEST(AgentCli, ExitStatusOneIsAnErrorWithItsThreeParts) {
  const CommandResult result = agent("check process-exists \"it's\" --json");
  EXPECT_EQ(result.status, 1);
  const Json error = Json::parse(result.out)["error"];
  EXPECT_EQ(error["Number"], -2147220975);
  EXPECT_EQ(error["Source"], "SWbemObjectSet\r\n\tKVWMI : CheckPoint.m_GetProcessExistence");
  EXPECT_EQ(error["Description"], "Invalid query ");
}

TEST(AgentCli, ExitStatusTwoIsUsageNamedInOneLine) {
  const CommandResult check = complaint("check proces-exists x");
  EXPECT_EQ(check.status, 2);
  EXPECT_EQ(check.out, "kvwmi: unknown check \"proces-exists\"; nearest: process-exists\n");
  const CommandResult option = complaint("query x --jsn");
  EXPECT_EQ(option.status, 2);
  EXPECT_EQ(option.out, "kvwmi: unknown option \"--jsn\"; nearest: --json\n");
}

TEST(AgentCli, AQueryAsJsonHasTheSchemasSpellingAndLongNumbersAsText) {
  const CommandResult result = agent(
      "query \"select name, workingsetsize, processid from win32_process where "
      "processid = " +
      std::to_string(getpid()) + "\" --json");
  ASSERT_EQ(result.status, 0);
  const Json json = Json::parse(result.out);
  ASSERT_EQ(json.size(), 1U);
  EXPECT_EQ(json[0]["Name"], "agent_cli_test");
  EXPECT_EQ(json[0]["ProcessId"], getpid());
  EXPECT_TRUE(json[0]["WorkingSetSize"].is_string());
  EXPECT_GT(std::stoll(json[0]["WorkingSetSize"].get<std::string>()), 0);
}

TEST(AgentCli, AQueryWithoutObjectsIsAnEmptyArray) {
  EXPECT_EQ(agent("query \"SELECT * FROM Win32_Process WHERE Name='kvwmi-no-such-process'\" --json").out,
            "[]\n");
}

TEST(AgentCli, AMalformedQueryShowsACaretUnderThePlace) {
  const CommandResult result = complaint("query 'SELECT Name FRM Win32_Process'");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "kvwmi: Invalid query (0x80041017): expected FROM, found 'FRM'\n"
            "    SELECT Name FRM Win32_Process\n"
            "                ^\n"
            "    raised by SWbemObjectSet\n");
}

TEST(AgentCli, AnUnknownClassOrPropertyIsOneLineWithTheNearest) {
  const std::string no_class = "kvwmi: Invalid class (0x80041010): there is no class ";
  const std::string no_property = "kvwmi: Invalid query (0x80041017): ";
  const std::string likely = "CIM_Process, CIM_Processor, Win32_Process";
  for (const auto& [arguments, line] : {
           std::pair{"query 'SELECT * FROM Win32_Proces'",
                     no_class + "'Win32_Proces'; nearest: Win32_Process, Win32_Processor"},
           std::pair{"query 'SELECT * FROM Process'", no_class + "'Process'; nearest: " + likely},
           std::pair{"query 'SELECT * FROM Win32_Disk'",
                     no_class + "'Win32_Disk'; nearest: Win32_LogicalDisk"},
           std::pair{"query 'SELECT WorkingSetSiz FROM Win32_Process'",
                     no_property + "Win32_Process has no property 'WorkingSetSiz'; nearest: WorkingSetSize"},
           std::pair{"query 'SELECT * FROM Win32_Process WHERE Handel=1'",
                     no_property + "Win32_Process has no property 'Handel'; nearest: Handle"},
           std::pair{"classes Process",
                     "kvwmi: unknown class \"Process\" in root\\CIMV2; nearest: " + likely},
           std::pair{"classes Win32_Servis", std::string("kvwmi: unknown class \"Win32_Servis\" in "
                                                         "root\\CIMV2; nearest: Win32_Service, Win32_Perf")},
       }) {
    const CommandResult result = complaint(arguments);
    EXPECT_EQ(result.out, line + "\n");
    EXPECT_EQ(result.status, 1) << arguments;
  }
}

TEST(AgentCli, ClassesAndTheirProperties) {
  const Json names = Json::parse(agent("classes --json").out);
  for (const char* name : {"Win32_Process", "Win32_Service", "Win32_OperatingSystem", "Win32_LogicalDisk"}) {
    EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
  }
  const Json schema = Json::parse(agent("classes win32_process --json").out);
  EXPECT_EQ(schema["class"], "Win32_Process");
  for (const Json& property : schema["properties"]) {
    EXPECT_FALSE(property["description"].get<std::string>().empty()) << property["name"];
    if (property["name"] == "WorkingSetSize") {
      EXPECT_EQ(property["type"], "uint64");
    } else if (property["name"] == "Handle") {
      EXPECT_EQ(property["key"], true);
    }
  }
}

/// What the agent writes to a terminal, of an answer or of a complaint.
std::string on_a_terminal(const std::string& arguments, const std::string& environment = "") {
  return run_on_terminal(environment + " TERM=xterm exec " + kAgent + " " + arguments).out;
}
const std::string kAnswer = "query \"SELECT * FROM Win32_Process WHERE Name='kvwmi-no-such-process'\"";
const std::string kComplaint = "check memory extra";

TEST(AgentCli, ColoursOnATerminalOnlyAndNotWhereTheyAreRefused) {
  EXPECT_NE(on_a_terminal(kAnswer).find("\x1b["), std::string::npos);
  EXPECT_NE(on_a_terminal(kComplaint).find("\x1b["), std::string::npos);
  const std::string plain = on_a_terminal(kComplaint, "NO_COLOR=1");
  EXPECT_NE(plain.find("memory"), std::string::npos);
  EXPECT_EQ(plain.find('\x1b'), std::string::npos);
  EXPECT_EQ(complaint(kComplaint).out.find('\x1b'), std::string::npos);
}

TEST(AgentCli, EachStreamHasColoursOnlyWhereItIsATerminalItself) {
  // What goes elsewhere comes back through cat, which has the terminal.
  const std::string redirected = on_a_terminal(kComplaint + " 2>&1 >/dev/null | cat");
  EXPECT_NE(redirected.find("kvwmi: check memory takes no NAME"), std::string::npos) << redirected;
  EXPECT_EQ(redirected.find('\x1b'), std::string::npos) << redirected;
  EXPECT_EQ(on_a_terminal(kAnswer + " | cat"), "(no objects)\r\n");
  EXPECT_NE(on_a_terminal(kComplaint + " >/dev/null").find("\x1b[31mkvwmi:"), std::string::npos);
}

TEST(AgentCli, AnAnswerThatCannotBeWrittenIsAFailureThatSaysWhy) {
  for (const char* arguments :
       {"check memory --json", "classes", "query 'SELECT Name FROM Win32_OperatingSystem'", "--help",
        "watch process kvwmi-no-such-process --for 20s"}) {
    const CommandResult full = run_shell(kAgent + " " + arguments + " 2>&1 >/dev/full");
    EXPECT_EQ(full.out.substr(0, 30), "kvwmi: cannot write the answer") << arguments;
    EXPECT_EQ(full.status, 1) << arguments;
    // A closed stream is nobody else's: what the agent opens must not get its number.
    const CommandResult closed = run_shell(kAgent + " " + arguments + " 2>&1 >&-");
    EXPECT_EQ(closed.out.substr(0, 30), "kvwmi: cannot write the answer") << arguments;
    EXPECT_EQ(closed.status, 1) << arguments;
  }
  EXPECT_EQ(run_shell(kAgent + " check memory 2>&1 >/dev/full").out,
            "kvwmi: cannot write the answer: No space left on device\n");
  EXPECT_EQ(run_shell(kAgent + " check memory <&- 2>&-").status, 0);
}

TEST(AgentCli, BehindTwoDashesEverythingIsAPlainWord) {
  EXPECT_EQ(agent("check process-exists -- -kvwmi-no-such-process").out,
            "process-exists \"-kvwmi-no-such-process\": no\n");
  EXPECT_EQ(agent(kAnswer + " --json").out, agent("--json query -- " + kAnswer.substr(6)).out);
}

TEST(AgentCli, AClassTellsItsSuperclassesAndMethods) {
  const Json service = Json::parse(agent("classes win32_service --json").out);
  EXPECT_EQ(service["superclasses"].at(0), "Win32_BaseService");
  EXPECT_FALSE(service["description"].get<std::string>().empty());
  bool starts = false;
  for (const Json& method : service["methods"]) {
    EXPECT_FALSE(method["description"].get<std::string>().empty()) << method["name"];
    starts = starts || method["name"] == "StartService";
  }
  EXPECT_TRUE(starts) << service["methods"];
  EXPECT_EQ(agent("query \"SELECT*FROM meta_class WHERE __this ISA 'Win32_Battery'\" --json").out,
            agent("query \"SELECT * FROM meta_class WHERE __this ISA 'Win32_Battery'\" --json").out);
  EXPECT_EQ(Json::parse(agent("query \"SELECT*FROM meta_class WHERE __this ISA 'Win32_Battery'\" --json")
                            .out)[0]["__CLASS"],
            "Win32_Battery");
}

TEST(AgentCli, TheShellCompletesCommandsChecksAndClasses) {
  const auto completed = [](const std::string& words, int place) {
    return run_shell(
               "PATH=" + quoted(std::string(KVWMI_AGENT).substr(0, std::string(KVWMI_AGENT).rfind('/'))) +
               ":$PATH bash -c 'source " + kRoot + "/packaging/kvwmi.bash; COMP_WORDS=(" + words +
               ") COMP_CWORD=" + std::to_string(place) + "; _kvwmi; echo \"${COMPREPLY[@]}\"'")
        .out;
  };
  EXPECT_EQ(completed("kvwmi ch", 1), "check\n");
  EXPECT_EQ(completed("kvwmi check process-", 2), "process-exists process-memory process-cpu\n");
  EXPECT_EQ(completed("kvwmi classes Win32_Proc", 2), "Win32_Process Win32_Processor\n");
  EXPECT_EQ(completed("kvwmi query --na", 2), "--namespace\n");
}

}  // namespace
}  // namespace kvwmi::tests
