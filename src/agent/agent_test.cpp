#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <sstream>
#include <streambuf>

#include "agent/testing/agent_fixture.h"
#include "frame/wmi_status.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using wmi::Value;

using AgentTest = testing::AgentFixture;

TEST_F(AgentTest, JsonMayBeAskedForBeforeTheCommandToo) {
  const Result result = run_agent({"--json", "check", "process-exists", "x"});
  EXPECT_EQ(Json::parse(result.out).dump(),
            R"({"method":"m_GetProcessExistence","result":0,"f_blnExist":false})");
}

TEST_F(AgentTest, AFailureSaysItsCauseWhereThatIsKnown) {
  const std::string query = "SELECT * FROM Win32_Service WHERE DisplayName='Web Server'";
  wmi.errors.emplace(query, wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kObjectSet)
                                .with_diagnostic({"", 0, "nobody answers"}));
  EXPECT_EQ(run_agent({"check", "service-state", "Web Server"}).err,
            "kvwmi: Provider failure (0x80040211): nobody answers\n"
            "    raised by SWbemObjectSet\n"
            "              KVWMI : CheckPoint.m_GetServiceState\n");
  EXPECT_EQ(Json::parse(run_agent({"query", query, "--json"}).out).dump(),
            R"({"error":{"Number":-2147217404,"Source":"SWbemObjectSet","Description":"Provider failure ",)"
            R"("message":"nobody answers"}})");
}

TEST_F(AgentTest, WithoutWmiEveryCommandSaysSo) {
  wmi.installed = false;
  EXPECT_EQ(run_agent({"check"}).status, 1);
  const Result query = run_agent({"query", "SELECT * FROM X", "--json"});
  EXPECT_EQ(query.status, 1);
  EXPECT_EQ(Json::parse(query.out).dump(),
            R"({"error":{"Number":429,"Source":"KVWMI","Description":"WMI not installed"}})");
  EXPECT_EQ(run_agent({"classes"}).err, "kvwmi: WMI not installed (429)\n    raised by KVWMI\n");
}

TEST_F(AgentTest, AnEmptyNameIsANameAndNotNone) {
  EXPECT_EQ(run_agent({"check", ""}).err.substr(0, 24), "kvwmi: unknown check \"\";");
  EXPECT_EQ(run_agent({"check", ""}).status, 2);
  wmi.answer("SELECT * FROM meta_class", {class_object({}, "Win32_Process")});
  const Result classes = run_agent({"classes", ""});
  EXPECT_EQ(classes.err, "kvwmi: unknown class \"\" in root\\CIMV2; nearest: Win32_Process\n");
  EXPECT_EQ(classes.out, "");
  EXPECT_EQ(classes.status, 1);
}

TEST_F(AgentTest, BehindTwoDashesEverythingIsAPlainWord) {
  EXPECT_EQ(run_agent({"check", "process-exists", "--", "-bash"}).out, "process-exists \"-bash\": no\n");
  EXPECT_EQ(run_agent({"check", "process-exists", "--", "--"}).out, "process-exists \"--\": no\n");
  EXPECT_EQ(run_agent({"check", "--json", "--", "memory"}).status, 3);
  EXPECT_EQ(run_agent({"query", "--", "SELECT * FROM Empty"}).out, "(no objects)\n");
  EXPECT_EQ(run_agent({"check", "process-exists", "--", "x", "-y"}).err,
            "kvwmi: check has no use for \"-y\"\n");
}

/// Takes some bytes and refuses the rest, as a full disk does.
class FullBuffer final : public std::streambuf {
 protected:
  int_type overflow(int_type c) override {
    if (room_ > 0) {
      --room_;
      return c;
    }
    errno = ENOSPC;
    return traits_type::eof();
  }

 private:
  int room_ = 3;
};

TEST_F(AgentTest, AnAnswerThatCannotBeWrittenIsAFailure) {
  FullBuffer full;
  std::ostream out(&full);
  std::ostringstream err;
  EXPECT_EQ(agent::run_agent({"--version"}, out, err, {}), 1);
  EXPECT_EQ(err.str(), "kvwmi: cannot write the answer\n");
}

struct Usage {
  std::vector<std::string> arguments;
  std::string complaint;
};
void PrintTo(const Usage& usage, std::ostream* out) {
  *out << usage.complaint;
}
class AgentUsage : public AgentTest, public ::testing::WithParamInterface<Usage> {};

TEST_P(AgentUsage, IsOneLineThatNamesWhatIsWrong) {
  const Result result = run_agent(GetParam().arguments);
  EXPECT_EQ(result.err, "kvwmi: " + GetParam().complaint + "\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.status, 2);
}

INSTANTIATE_TEST_SUITE_P(
    All, AgentUsage,
    ::testing::Values(
        Usage{{"chek"}, "unknown command \"chek\"; nearest: check"},
        Usage{{"--jsn"}, "unknown option \"--jsn\"; nearest: --json"},
        Usage{{"check", "--jsn"}, "unknown option \"--jsn\"; nearest: --json"},
        Usage{{"query", "x", "--namspace", "y"}, "unknown option \"--namspace\"; nearest: --namespace"},
        Usage{{"check", "proces-exists", "x"}, "unknown check \"proces-exists\"; nearest: process-exists"},
        Usage{{"check", "service-state"}, "check service-state needs a NAME: a service's display name"},
        Usage{{"check", "memory", "x"}, "check memory takes no NAME, but got \"x\""},
        Usage{{"check", "process-exists", "x", "y"}, "check has no use for \"y\""},
        Usage{{"query"}, "WQL is required; see kvwmi query --help"},
        Usage{{"query", "x", "--namespace"},
              "--namespace: 1 required TEXT missing; see kvwmi query --help"}));

TEST_F(AgentTest, UsageIsALineOfTextAlsoWhereAnswersAreJson) {
  const Result result = run_agent({"check", "chek", "--json"});
  EXPECT_EQ(result.err.find("kvwmi: unknown check \"chek\""), 0U) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.status, 2);
}

TEST_F(AgentTest, WithoutACommandIsUsage) {
  const Result result = run_agent({});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("Usage: kvwmi"), std::string::npos);
}

TEST_F(AgentTest, HelpNamesCommandsChecksAndOptions) {
  const Result all = run_agent({"--help"});
  EXPECT_EQ(all.status, 0);
  EXPECT_EQ(all.err, "");
  for (const char* word : {"check", "query", "classes", "--json", "NO_COLOR", "Exit status"}) {
    EXPECT_NE(all.out.find(word), std::string::npos) << word;
  }
  const Result check = run_agent({"check", "--help"});
  for (const char* word : {"power-source", "service-state NAME", "processor-load", "--json"}) {
    EXPECT_NE(check.out.find(word), std::string::npos) << word;
  }
  EXPECT_EQ(run_agent({"--version"}).out, "kvwmi " KVWMI_VERSION "\n");
}

TEST_F(AgentTest, EveryHelpThatTellsExitStatusesTellsThemAll) {
  using Words = std::vector<std::string>;
  for (const Words& words : {Words{"--help"}, Words{"check", "--help"}, Words{"run", "--help"}}) {
    const std::string help = run_agent(words).out;
    const std::string statuses = help.substr(std::min(help.find("Exit status:"), help.size()));
    for (const char* status : {"\n    0  ", "\n    1  ", "\n    2  ", "\n    3  ", "\n  130  "}) {
      EXPECT_NE(statuses.find(status), std::string::npos) << words.front() << status;
    }
  }
}

TEST_F(AgentTest, CompletesCommandsChecksClassesAndOptions) {
  wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process")});
  const auto first_lines = [](const std::string& text, int count) {
    std::size_t end = 0;
    while (count-- > 0) end = text.find('\n', end) + 1;
    return text.substr(0, end);
  };
  EXPECT_EQ(first_lines(run_agent({"complete"}).out, 3), "check\nquery\nclasses\n");
  EXPECT_EQ(first_lines(run_agent({"complete", "check", "--json"}).out, 2), "power-source\nservice-state\n");
  EXPECT_EQ(run_agent({"complete", "check", "memory"}).out, "--help\n--json\n--version\n");
  EXPECT_EQ(run_agent({"complete", "classes"}).out,
            "Win32_Process\n--help\n--json\n--namespace\n--version\n");
}

TEST_F(AgentTest, ColoursOnlyWhereTheyAreWanted) {
  Console::Style colour;
  colour.error_colour = true;
  EXPECT_EQ(run_agent({"chek"}, colour).err.substr(0, 15), "\x1b[31mkvwmi:\x1b[0m");
  EXPECT_EQ(run_agent({"query", "SELECT * FROM Empty"}, colour).out, "(no objects)\n");
  colour.colour = true;
  EXPECT_EQ(run_agent({"query", "SELECT * FROM Empty"}, colour).out, "\x1b[2m(no objects)\x1b[0m\n");
  colour.error_colour = false;
  EXPECT_EQ(run_agent({"chek"}, colour).err.substr(0, 6), "kvwmi:");
  EXPECT_EQ(run_agent({"chek"}).err.find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace kvwmi::agent
