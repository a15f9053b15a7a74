#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>
#include <sstream>
#include <streambuf>

#include "agent/command.h"
#include "frame/testing/local_ground.h"
#include "frame/wmi_status.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using testing::FakeObject;
using testing::FakeWmi;
using wmi::Value;

struct Result {
  int status;
  std::string out;
  std::string err;
};

Result run(std::vector<std::string> arguments, Console::Style style = {}) {
  std::ostringstream out;
  std::ostringstream err;
  const int status = run_agent(std::move(arguments), out, err, style);
  return {status, out.str(), err.str()};
}

std::shared_ptr<FakeObject> object(wmi::NamedValues values, std::string class_name = "") {
  return std::make_shared<FakeObject>(std::move(values), std::move(class_name));
}

std::shared_ptr<FakeObject> class_object(wmi::NamedValues values, std::string name) {
  auto result = object(std::move(values), std::move(name));
  result->genus = 1;
  return result;
}

/// The agent on a machine that a test makes up.
class Agent : public ::testing::Test {
 protected:
  Agent() { wmi = FakeWmi(); }
  FakeWmi& wmi = testing::fake_local_ground().wmi;

  void refuse(const std::string& query, std::size_t offset, const std::string& message,
              wmi::Status status = wmi::Status::invalid_query) {
    wmi.errors.insert_or_assign(
        query, wmi::wmi_error(status, wmi::source::kServices).with_diagnostic({query, offset, message}));
  }
};

constexpr const char* kServiceQuery = "SELECT * FROM Win32_Service WHERE DisplayName='Web Server'";
constexpr const char* kSystemQuery = "SELECT * FROM Win32_OperatingSystem";

TEST_F(Agent, CheckSaysTheAnswerInWords) {
  wmi.answer(kServiceQuery, {object({{"State", Value("Running")}})});
  const Result result = run({"check", "service-state", "Web Server"});
  EXPECT_EQ(result.out, "service-state \"Web Server\": Running (4)\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(Agent, CheckAsJsonNamesMethodResultAndOutput) {
  wmi.answer(kServiceQuery, {object({{"State", Value("Running")}})});
  const Result result = run({"check", "service-state", "Web Server", "--json"});
  EXPECT_EQ(Json::parse(result.out).dump(), R"({"method":"m_GetServiceState","result":0,"f_lngState":4})");
  EXPECT_EQ(result.status, 0);
}

TEST_F(Agent, JsonMayBeAskedForBeforeTheCommandToo) {
  const Result result = run({"--json", "check", "process-exists", "x"});
  EXPECT_EQ(Json::parse(result.out).dump(),
            R"({"method":"m_GetProcessExistence","result":0,"f_blnExist":false})");
}

TEST_F(Agent, SizesAreNumbersOfAnyWidth) {
  wmi.answer(kSystemQuery, {object({{"FreePhysicalMemory", Value("922337203685477")}})});
  const Result json = run({"check", "free-memory", "--json"});
  EXPECT_EQ(Json::parse(json.out).dump(),
            R"({"method":"m_GetFreePhysicalMemorySize","result":0,"f_curSize":922337203685477})");
  EXPECT_EQ(run({"check", "free-memory"}).out, "free-memory: 922,337,203,685,477 KB (858993.5 TB)\n");
}

TEST_F(Agent, AStepCodeIsExitStatusThree) {
  const Result result = run({"check", "service-state", "Web Server"});
  EXPECT_EQ(result.out, "service-state \"Web Server\": no service has this display name (result 1)\n");
  EXPECT_EQ(result.status, 3);
  const Result json = run({"check", "service-state", "Web Server", "--json"});
  EXPECT_EQ(Json::parse(json.out).dump(), R"({"method":"m_GetServiceState","result":1,"f_lngState":0})");
  EXPECT_EQ(json.status, 3);
}

TEST_F(Agent, AFailedCheckShowsWhatAutomationClientsSee) {
  const std::string query = "SELECT * FROM Win32_Process WHERE Name='it's'";
  refuse(query, 43, "unexpected text");
  const Result result = run({"check", "process-exists", "it's"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "kvwmi: Invalid query (0x80040211): unexpected text\n"
            "    SELECT * FROM Win32_Process WHERE Name='it's'\n"
            "                                               ^\n"
            "    raised by SWbemServicesEx\n"
            "              KVWMI : CheckPoint.m_GetProcessExistence\n");
  const Result json = run({"check", "process-exists", "it's", "--json"});
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(Json::parse(json.out).dump(),
            R"({"method":"m_GetProcessExistence","error":{"Number":-2147220975,)"
            R"("Source":"SWbemServicesEx\r\n\tKVWMI : CheckPoint.m_GetProcessExistence",)"
            R"("Description":"Invalid query ","offset":43,"message":"unexpected text"}})");
}

TEST_F(Agent, AFailureSaysItsCauseWhereThatIsKnown) {
  wmi.errors.emplace(kServiceQuery, wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kObjectSet)
                                        .with_diagnostic({"", 0, "nobody answers"}));
  EXPECT_EQ(run({"check", "service-state", "Web Server"}).err,
            "kvwmi: Provider failure (0x80040211): nobody answers\n"
            "    raised by SWbemObjectSet\n"
            "              KVWMI : CheckPoint.m_GetServiceState\n");
  EXPECT_EQ(Json::parse(run({"query", kServiceQuery, "--json"}).out).dump(),
            R"({"error":{"Number":-2147217404,"Source":"SWbemObjectSet","Description":"Provider failure ",)"
            R"("message":"nobody answers"}})");
}

TEST_F(Agent, AllChecksWithoutANameInOneTable) {
  wmi.answer(kSystemQuery, {object({{"FreePhysicalMemory", Value("2048")},
                                    {"TotalVisibleMemorySize", Value("4096")},
                                    {"FreeVirtualMemory", Value("1")},
                                    {"TotalVirtualMemorySize", Value("2")},
                                    {"FreeSpaceInPagingFiles", Value("0")},
                                    {"SizeStoredInPagingFiles", Value()}})});
  wmi.answer("SELECT * FROM Win32_Processor", {object({{"LoadPercentage", Value(std::int32_t{7})}})});
  const Result result = run({"check"});
  EXPECT_EQ(
      result.out,
      "CHECK                RESULT  ANSWER\n"
      "power-source              0  on mains power (25)\n"
      "free-memory               0  2,048 KB (2.0 MB)\n"
      "memory                    0  4,096 KB (4.0 MB)\n"
      "free-virtual-memory       0  1 KB\n"
      "virtual-memory            0  2 KB\n"
      "free-paging               0  0 KB\n"
      "paging                    2  the operating system tells no size\n"
      "processor-load            0  7 %\n"
      "These need a NAME: service-state, service-exists, process-exists, process-memory, process-cpu\n");
  EXPECT_EQ(result.status, 3);
  const Json json = Json::parse(run({"check", "--json"}).out);
  ASSERT_EQ(json.size(), 8U);
  EXPECT_EQ(json[7].dump(), R"({"method":"m_GetProcessorLoadPercentage","result":0,"f_lngPercentage":7})");
}

TEST_F(Agent, AnErrorInTheTableOutweighsAStepCode) {
  wmi.answer("SELECT * FROM Win32_Processor", {object({{"LoadPercentage", Value()}})});
  const Result result = run({"check"});
  EXPECT_NE(result.out.find("processor-load        error  Overflow\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("memory                    1  WMI has no operating system object\n"),
            std::string::npos)
      << result.out;
  EXPECT_EQ(result.status, 1);
}

TEST_F(Agent, WithoutWmiEveryCommandSaysSo) {
  wmi.installed = false;
  EXPECT_EQ(run({"check"}).status, 1);
  const Result query = run({"query", "SELECT * FROM X", "--json"});
  EXPECT_EQ(query.status, 1);
  EXPECT_EQ(Json::parse(query.out).dump(),
            R"({"error":{"Number":429,"Source":"KVWMI","Description":"WMI not installed"}})");
  EXPECT_EQ(run({"classes"}).err, "kvwmi: WMI not installed (429)\n    raised by KVWMI\n");
}

TEST_F(Agent, QueryPrintsATableThatFits) {
  wmi.answer("SELECT * FROM X", {object({{"Name", Value("a")}, {"Size", Value("10")}}, "X"),
                                 object({{"Name", Value("bcd")}, {"Size", Value()}}, "X")});
  EXPECT_EQ(run({"query", "SELECT * FROM X"}).out, "Name  Size\na     10\nbcd   NULL\n");
}

TEST_F(Agent, QueryPrintsBlocksWhereATableWouldNotFit) {
  wmi.answer("SELECT * FROM X", {object({{"Name", Value("a")}, {"Text", Value("one two three four")}}, "X"),
                                 object({{"Name", Value("b")}, {"Text", Value("five")}}, "X")});
  Console::Style narrow;
  narrow.width = 20;
  EXPECT_EQ(run({"query", "SELECT * FROM X"}, narrow).out,
            "X\n  Name  a\n  Text  one two three four\n\nX\n  Name  b\n  Text  five\n");
}

TEST_F(Agent, QueryAsJsonIsAnArrayOfObjects) {
  wmi.answer("SELECT * FROM X",
             {object({{"Name", Value("a")}, {"Size", Value("10")}, {"On", Value(true)}}, "X")});
  EXPECT_EQ(Json::parse(run({"query", "SELECT * FROM X", "--json"}).out).dump(),
            R"([{"Name":"a","Size":"10","On":true}])");
  EXPECT_EQ(run({"query", "SELECT * FROM Empty", "--json"}).out, "[]\n");
  EXPECT_EQ(run({"query", "SELECT * FROM Empty"}).out, "(no objects)\n");
}

TEST_F(Agent, AQueryOfClassesNamesThem) {
  const std::string query = "SELECT*FROM meta_class WHERE __CLASS LIKE 'CIM%'";
  wmi.answer(query, {class_object({}, "CIM_A"), class_object({{"Name", Value()}}, "CIM_B")});
  EXPECT_EQ(Json::parse(run({"query", query, "--json"}).out).dump(),
            R"([{"__CLASS":"CIM_A"},{"__CLASS":"CIM_B","Name":null}])");
  EXPECT_EQ(run({"query", query}).out, "CIM_A\n\nCIM_B\n  Name  NULL\n");
}

TEST_F(Agent, QueryShowsTheSystemPropertiesThatItSelects) {
  const std::string query = "SELECT __PATH, Name FROM X";
  wmi.answer(query, {object({{"__PATH", Value("X=1")}, {"Name", Value("a")}}, "X")});
  EXPECT_EQ(Json::parse(run({"query", query, "--json"}).out).dump(), R"([{"Name":"a","__PATH":"X=1"}])");
  EXPECT_EQ(run({"query", query}).out, "Name  __PATH\na     X=1\n");
}

TEST_F(Agent, QueryGoesToTheNamespaceItIsGiven) {
  EXPECT_EQ(run({"query", "SELECT * FROM X", "--namespace", R"(root\DEFAULT)"}).status, 0);
  ASSERT_EQ(wmi.connections.size(), 1U);
  EXPECT_EQ(wmi.connections[0].name_space, R"(root\DEFAULT)");
}

TEST_F(Agent, BytesThatAreNoUtf8DoNotBreakTheJson) {
  wmi.answer("SELECT * FROM X", {object({{"Name", Value("a\xFFz")}}, "X")});
  EXPECT_EQ(Json::parse(run({"query", "SELECT * FROM X", "--json"}).out).dump(),
            "[{\"Name\":\"a\xEF\xBF\xBDz\"}]");
}

TEST_F(Agent, AMalformedQueryShowsACaretUnderThePlace) {
  refuse("SELECT Name\nFRM X", 12, "expected FROM");
  const Result result = run({"query", "SELECT Name\nFRM X"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "kvwmi: Invalid query (0x80041017): expected FROM\n"
            "    FRM X\n"
            "    ^\n"
            "    raised by SWbemServicesEx\n");
}

TEST_F(Agent, TheCaretStandsUnderTheCharacterWhateverIsBeforeIt) {
  refuse("SELECT \xC3\xA4\t\xC3\xA4 ?", 13, "unexpected text");
  EXPECT_NE(run({"query", "SELECT \xC3\xA4\t\xC3\xA4 ?"})
                .err.find("\n    SELECT \xC3\xA4 \xC3\xA4 ?\n"
                          "               ^\n"),
            std::string::npos);
}

TEST_F(Agent, TheCaretStandsUnderTheCharacterAlsoBehindWideOnes) {
  const std::string query = "SELECT * FROM X WHERE Name='日本語' ?";
  refuse(query, query.find('?'), "unexpected character '?'");
  EXPECT_EQ(run({"query", query}).err, "kvwmi: Invalid query (0x80041017): unexpected character '?'\n    " +
                                           query + "\n    " + std::string(36, ' ') +
                                           "^\n    raised by SWbemServicesEx\n");
  const std::string marked = "SELECT e\u0301 ?";
  refuse(marked, marked.find('?'), "unexpected character '?'");
  EXPECT_EQ(run({"query", marked}).err, "kvwmi: Invalid query (0x80041017): unexpected character '?'\n    " +
                                            marked + "\n    " + std::string(9, ' ') +
                                            "^\n    raised by SWbemServicesEx\n");
}

TEST_F(Agent, OfALongQueryOnlyThePartAroundTheCaretIsShown) {
  const std::string query = "SELECT * FROM X WHERE " + std::string(200, 'a') + " ? " + std::string(200, 'b');
  refuse(query, query.find('?'), "unexpected character '?'");
  Console::Style narrow;
  narrow.width = 40;
  narrow.live = true;
  EXPECT_EQ(run({"query", query}, narrow).err,
            "kvwmi: Invalid query (0x80041017): unexpected character '?'\n"
            "    ..." +
                std::string(14, 'a') + " ? " + std::string(13, 'b') +
                "...\n"
                "                      ^\n"
                "    raised by SWbemServicesEx\n");
  EXPECT_NE(run({"query", query}).err.find("\n    " + query + "\n"), std::string::npos);
}

TEST_F(Agent, AnUnknownClassNamesTheNearest) {
  // Not every WMI tells the place.
  wmi.errors.emplace("SELECT * FROM Win32_Proces",
                     wmi::wmi_error(wmi::Status::invalid_class, wmi::source::kObjectSet));
  wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process"), object({}, "Win32_Service")});
  wmi.errors.emplace("SELECT*FROM Win32_Proces;",
                     wmi::wmi_error(wmi::Status::invalid_class, wmi::source::kObjectSet));
  for (const char* query : {"SELECT * FROM Win32_Proces", "SELECT*FROM Win32_Proces;"}) {
    const Result result = run({"query", query});
    EXPECT_EQ(
        result.err,
        "kvwmi: Invalid class (0x80041010): there is no class 'Win32_Proces'; nearest: Win32_Process\n");
    EXPECT_EQ(result.status, 1);
  }
  EXPECT_EQ(Json::parse(run({"query", "SELECT * FROM Win32_Proces", "--json"}).out)["error"]["message"],
            "there is no class 'Win32_Proces'; nearest: Win32_Process");

  wmi.errors.emplace("SELECT * FROM meta_class",
                     wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kObjectSet));
  EXPECT_EQ(run({"query", "SELECT * FROM Win32_Proces"}).err,
            "kvwmi: Invalid class (0x80041010): there is no class 'Win32_Proces'\n")
      << "the query's own failure, not that of looking for other names";
}

TEST_F(Agent, ANameThatDoesNotExistIsOneLine) {
  const std::string query = "SELECT Nme FROM X";
  wmi.errors.emplace(query, wmi::wmi_error(wmi::Status::invalid_query, wmi::source::kObjectSet)
                                .with_diagnostic({query, 7, "X has no property 'Nme'; nearest: Name",
                                                  QueryDiagnostic::Fault::name}));
  const Result result = run({"query", query});
  EXPECT_EQ(result.err, "kvwmi: Invalid query (0x80041017): X has no property 'Nme'; nearest: Name\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.status, 1);
}

TEST_F(Agent, ClassesNamesThemAll) {
  wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process"), object({}, "Win32_Service")});
  EXPECT_EQ(run({"classes"}).out, "Win32_Process\nWin32_Service\n");
  EXPECT_EQ(Json::parse(run({"classes", "--json"}).out).dump(), R"(["Win32_Process","Win32_Service"])");
}

TEST_F(Agent, ClassesDescribesOne) {
  const auto plain = class_object({{"Name", Value()}}, "X");
  wmi.answer("SELECT * FROM meta_class WHERE __this ISA 'x'", {plain});
  EXPECT_EQ(run({"classes", "x"}).out, "X\n\nPROPERTY  TYPE    KEY  DESCRIPTION\nName      string\n");
  EXPECT_EQ(Json::parse(run({"classes", "x", "--json"}).out).dump(),
            R"({"class":"X","superclasses":[],"description":"","properties":[{"name":"Name","type":"string",)"
            R"("array":false,"key":false,"description":""}],"methods":[]})");
}

TEST_F(Agent, ClassesTellsDerivationAndMethodsToo) {
  const auto machine = class_object({{"Name", Value()}}, "Y");
  machine->superclasses = {Value("B"), Value("A")};
  machine->description = "The machine.";
  machine->class_methods = {{"Reboot", {}, "Starts anew."},
                            {"Stop", {{"Flags", wmi::CimType::sint32}, {"Why", wmi::CimType::string}}, ""}};
  wmi.answer("SELECT * FROM meta_class WHERE __this ISA 'y'", {machine});
  EXPECT_EQ(run({"classes", "y"}).out,
            "Y, derived from B, A\n"
            "The machine.\n\n"
            "PROPERTY  TYPE    KEY  DESCRIPTION\n"
            "Name      string\n\n"
            "METHOD                          DESCRIPTION\n"
            "Reboot()                        Starts anew.\n"
            "Stop(sint32 Flags, string Why)\n");
  const Json json = Json::parse(run({"classes", "y", "--json"}).out);
  EXPECT_EQ(json["superclasses"].dump(), R"(["B","A"])");
  EXPECT_EQ(json["description"], "The machine.");
  EXPECT_EQ(json["methods"].dump(),
            R"([{"name":"Reboot","in":[],"description":"Starts anew."},{"name":"Stop","in":[)"
            R"({"name":"Flags","type":"sint32"},{"name":"Why","type":"string"}],"description":""}])");
}

TEST_F(Agent, AnEmptyNameIsANameAndNotNone) {
  EXPECT_EQ(run({"check", ""}).err.substr(0, 24), "kvwmi: unknown check \"\";");
  EXPECT_EQ(run({"check", ""}).status, 2);
  wmi.answer("SELECT * FROM meta_class", {class_object({}, "Win32_Process")});
  const Result classes = run({"classes", ""});
  EXPECT_EQ(classes.err, "kvwmi: unknown class \"\" in root\\CIMV2; nearest: Win32_Process\n");
  EXPECT_EQ(classes.out, "");
  EXPECT_EQ(classes.status, 1);
}

TEST_F(Agent, BehindTwoDashesEverythingIsAPlainWord) {
  EXPECT_EQ(run({"check", "process-exists", "--", "-bash"}).out, "process-exists \"-bash\": no\n");
  EXPECT_EQ(run({"check", "process-exists", "--", "--"}).out, "process-exists \"--\": no\n");
  EXPECT_EQ(run({"check", "--json", "--", "memory"}).status, 3);
  EXPECT_EQ(run({"query", "--", "SELECT * FROM Empty"}).out, "(no objects)\n");
  EXPECT_EQ(run({"check", "process-exists", "--", "x", "-y"}).err, "kvwmi: check has no use for \"-y\"\n");
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

TEST_F(Agent, AnAnswerThatCannotBeWrittenIsAFailure) {
  FullBuffer full;
  std::ostream out(&full);
  std::ostringstream err;
  EXPECT_EQ(run_agent({"--version"}, out, err, {}), 1);
  EXPECT_EQ(err.str(), "kvwmi: cannot write the answer\n");
}

TEST_F(Agent, ClassesOfAnUnknownNameNamesTheNearest) {
  wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process"), object({}, "Win32_Service")});
  const Result result = run({"classes", "Win32_Servis"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "kvwmi: unknown class \"Win32_Servis\" in root\\CIMV2; nearest: Win32_Service\n");
  const Json error = Json::parse(run({"classes", "Win32_Servis", "--json"}).out)["error"];
  EXPECT_EQ(error["Number"], -2147217406);
  EXPECT_EQ(error["Description"], "Not found ");
  EXPECT_EQ("kvwmi: " + error["message"].get<std::string>() + "\n", result.err);
}

struct Usage {
  std::vector<std::string> arguments;
  std::string complaint;
};
void PrintTo(const Usage& usage, std::ostream* out) {
  *out << usage.complaint;
}
class AgentUsage : public ::testing::TestWithParam<Usage> {};

TEST_P(AgentUsage, IsOneLineThatNamesWhatIsWrong) {
  const Result result = run(GetParam().arguments);
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

TEST(AgentHelp, WithoutACommandIsUsage) {
  const Result result = run({});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_NE(result.err.find("Usage: kvwmi"), std::string::npos);
}

TEST(AgentHelp, NamesCommandsChecksAndOptions) {
  const Result all = run({"--help"});
  EXPECT_EQ(all.status, 0);
  EXPECT_EQ(all.err, "");
  for (const char* word : {"check", "query", "classes", "--json", "NO_COLOR", "Exit status"}) {
    EXPECT_NE(all.out.find(word), std::string::npos) << word;
  }
  const Result check = run({"check", "--help"});
  for (const char* word : {"power-source", "service-state NAME", "processor-load", "--json"}) {
    EXPECT_NE(check.out.find(word), std::string::npos) << word;
  }
  EXPECT_EQ(run({"--version"}).out, "kvwmi " KVWMI_VERSION "\n");
}

TEST(AgentHelp, TellsEveryExitStatusWhereverItTellsAny) {
  using Words = std::vector<std::string>;
  for (const Words& words : {Words{"--help"}, Words{"check", "--help"}, Words{"run", "--help"}}) {
    const std::string help = run(words).out;
    const std::string statuses = help.substr(std::min(help.find("Exit status:"), help.size()));
    for (const char* status : {"\n    0  ", "\n    1  ", "\n    2  ", "\n    3  ", "\n  130  "}) {
      EXPECT_NE(statuses.find(status), std::string::npos) << words.front() << status;
    }
  }
}

TEST(AgentHelp, UsageIsALineOfTextAlsoWhereAnswersAreJson) {
  const Result result = run({"check", "chek", "--json"});
  EXPECT_EQ(result.err.find("kvwmi: unknown check \"chek\""), 0U) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.status, 2);
}

TEST_F(Agent, CompletesCommandsChecksClassesAndOptions) {
  wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process")});
  const auto first_lines = [](const std::string& text, int count) {
    std::size_t end = 0;
    while (count-- > 0) end = text.find('\n', end) + 1;
    return text.substr(0, end);
  };
  EXPECT_EQ(first_lines(run({"complete"}).out, 3), "check\nquery\nclasses\n");
  EXPECT_EQ(first_lines(run({"complete", "check", "--json"}).out, 2), "power-source\nservice-state\n");
  EXPECT_EQ(run({"complete", "check", "memory"}).out, "--help\n--json\n--version\n");
  EXPECT_EQ(run({"complete", "classes"}).out, "Win32_Process\n--help\n--json\n--namespace\n--version\n");
}

TEST_F(Agent, ColoursOnlyWhereTheyAreWanted) {
  Console::Style colour;
  colour.error_colour = true;
  EXPECT_EQ(run({"chek"}, colour).err.substr(0, 15), "\x1b[31mkvwmi:\x1b[0m");
  EXPECT_EQ(run({"query", "SELECT * FROM Empty"}, colour).out, "(no objects)\n");
  colour.colour = true;
  EXPECT_EQ(run({"query", "SELECT * FROM Empty"}, colour).out, "\x1b[2m(no objects)\x1b[0m\n");
  colour.error_colour = false;
  EXPECT_EQ(run({"chek"}, colour).err.substr(0, 6), "kvwmi:");
  EXPECT_EQ(run({"chek"}).err.find('\x1b'), std::string::npos);
}

}  // namespace
}  // namespace kvwmi::agent
