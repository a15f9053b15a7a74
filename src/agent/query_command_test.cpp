#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/testing/agent_fixture.h"
#include "frame/wmi_status.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using wmi::Value;

using QueryCommandTest = testing::AgentFixture;

TEST_F(QueryCommandTest, PrintsATableThatFits) {
  wmi.answer("SELECT * FROM X", {object({{"Name", Value("a")}, {"Size", Value("10")}}, "X"),
                                 object({{"Name", Value("bcd")}, {"Size", Value()}}, "X")});
  EXPECT_EQ(run_agent({"query", "SELECT * FROM X"}).out, "Name  Size\na     10\nbcd   NULL\n");
}

TEST_F(QueryCommandTest, PrintsBlocksWhereATableWouldNotFit) {
  wmi.answer("SELECT * FROM X", {object({{"Name", Value("a")}, {"Text", Value("one two three four")}}, "X"),
                                 object({{"Name", Value("b")}, {"Text", Value("five")}}, "X")});
  Console::Style narrow;
  narrow.width = 20;
  EXPECT_EQ(run_agent({"query", "SELECT * FROM X"}, narrow).out,
            "X\n  Name  a\n  Text  one two three four\n\nX\n  Name  b\n  Text  five\n");
}

TEST_F(QueryCommandTest, AsJsonIsAnArrayOfObjects) {
  wmi.answer("SELECT * FROM X",
             {object({{"Name", Value("a")}, {"Size", Value("10")}, {"On", Value(true)}}, "X")});
  EXPECT_EQ(Json::parse(run_agent({"query", "SELECT * FROM X", "--json"}).out).dump(),
            R"([{"Name":"a","Size":"10","On":true}])");
  EXPECT_EQ(run_agent({"query", "SELECT * FROM Empty", "--json"}).out, "[]\n");
  EXPECT_EQ(run_agent({"query", "SELECT * FROM Empty"}).out, "(no objects)\n");
}

TEST_F(QueryCommandTest, AQueryOfClassesNamesThem) {
  const std::string query = "SELECT*FROM meta_class WHERE __CLASS LIKE 'CIM%'";
  wmi.answer(query, {class_object({}, "CIM_A"), class_object({{"Name", Value()}}, "CIM_B")});
  EXPECT_EQ(Json::parse(run_agent({"query", query, "--json"}).out).dump(),
            R"([{"__CLASS":"CIM_A"},{"__CLASS":"CIM_B","Name":null}])");
  EXPECT_EQ(run_agent({"query", query}).out, "CIM_A\n\nCIM_B\n  Name  NULL\n");
}

TEST_F(QueryCommandTest, ShowsTheSystemPropertiesThatItSelects) {
  const std::string query = "SELECT __PATH, Name FROM X";
  wmi.answer(query, {object({{"__PATH", Value("X=1")}, {"Name", Value("a")}}, "X")});
  EXPECT_EQ(Json::parse(run_agent({"query", query, "--json"}).out).dump(),
            R"([{"Name":"a","__PATH":"X=1"}])");
  EXPECT_EQ(run_agent({"query", query}).out, "Name  __PATH\na     X=1\n");
}

TEST_F(QueryCommandTest, GoesToTheNamespaceItIsGiven) {
  EXPECT_EQ(run_agent({"query", "SELECT * FROM X", "--namespace", R"(root\DEFAULT)"}).status, 0);
  ASSERT_EQ(wmi.connections.size(), 1U);
  EXPECT_EQ(wmi.connections[0].name_space, R"(root\DEFAULT)");
}

TEST_F(QueryCommandTest, BytesThatAreNoUtf8DoNotBreakTheJson) {
  wmi.answer("SELECT * FROM X", {object({{"Name", Value("a\xFFz")}}, "X")});
  EXPECT_EQ(Json::parse(run_agent({"query", "SELECT * FROM X", "--json"}).out).dump(),
            "[{\"Name\":\"a\xEF\xBF\xBDz\"}]");
}

TEST_F(QueryCommandTest, AMalformedQueryShowsACaretUnderThePlace) {
  refuse("SELECT Name\nFRM X", 12, "expected FROM");
  const Result result = run_agent({"query", "SELECT Name\nFRM X"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "kvwmi: Invalid query (0x80041017): expected FROM\n"
            "    FRM X\n"
            "    ^\n"
            "    raised by SWbemServicesEx\n");
}

TEST_F(QueryCommandTest, TheCaretStandsUnderTheCharacterWhateverIsBeforeIt) {
  refuse("SELECT \xC3\xA4\t\xC3\xA4 ?", 13, "unexpected text");
  EXPECT_NE(run_agent({"query", "SELECT \xC3\xA4\t\xC3\xA4 ?"})
                .err.find("\n    SELECT \xC3\xA4 \xC3\xA4 ?\n"
                          "               ^\n"),
            std::string::npos);
}

TEST_F(QueryCommandTest, TheCaretStandsUnderTheCharacterAlsoBehindWideOnes) {
  const std::string query = "SELECT * FROM X WHERE Name='日本語' ?";
  refuse(query, query.find('?'), "unexpected character '?'");
  EXPECT_EQ(run_agent({"query", query}).err,
            "kvwmi: Invalid query (0x80041017): unexpected character '?'\n    " + query + "\n    " +
                std::string(36, ' ') + "^\n    raised by SWbemServicesEx\n");
  const std::string marked = "SELECT e\u0301 ?";
  refuse(marked, marked.find('?'), "unexpected character '?'");
  EXPECT_EQ(run_agent({"query", marked}).err,
            "kvwmi: Invalid query (0x80041017): unexpected character '?'\n    " + marked + "\n    " +
                std::string(9, ' ') + "^\n    raised by SWbemServicesEx\n");
}

TEST_F(QueryCommandTest, OfALongQueryOnlyThePartAroundTheCaretIsShown) {
  const std::string query = "SELECT * FROM X WHERE " + std::string(200, 'a') + " ? " + std::string(200, 'b');
  refuse(query, query.find('?'), "unexpected character '?'");
  Console::Style narrow;
  narrow.width = 40;
  narrow.live = true;
  EXPECT_EQ(run_agent({"query", query}, narrow).err,
            "kvwmi: Invalid query (0x80041017): unexpected character '?'\n"
            "    ..." +
                std::string(14, 'a') + " ? " + std::string(13, 'b') +
                "...\n"
                "                      ^\n"
                "    raised by SWbemServicesEx\n");
  EXPECT_NE(run_agent({"query", query}).err.find("\n    " + query + "\n"), std::string::npos);
}

TEST_F(QueryCommandTest, AnUnknownClassNamesTheNearest) {
  // Not every WMI tells the place.
  wmi.errors.emplace("SELECT * FROM Win32_Proces",
                     wmi::wmi_error(wmi::Status::invalid_class, wmi::source::kObjectSet));
  wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process"), object({}, "Win32_Service")});
  wmi.errors.emplace("SELECT*FROM Win32_Proces;",
                     wmi::wmi_error(wmi::Status::invalid_class, wmi::source::kObjectSet));
  for (const char* query : {"SELECT * FROM Win32_Proces", "SELECT*FROM Win32_Proces;"}) {
    const Result result = run_agent({"query", query});
    EXPECT_EQ(
        result.err,
        "kvwmi: Invalid class (0x80041010): there is no class 'Win32_Proces'; nearest: Win32_Process\n");
    EXPECT_EQ(result.status, 1);
  }
  EXPECT_EQ(Json::parse(run_agent({"query", "SELECT * FROM Win32_Proces", "--json"}).out)["error"]["message"],
            "there is no class 'Win32_Proces'; nearest: Win32_Process");

  wmi.errors.emplace("SELECT * FROM meta_class",
                     wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kObjectSet));
  EXPECT_EQ(run_agent({"query", "SELECT * FROM Win32_Proces"}).err,
            "kvwmi: Invalid class (0x80041010): there is no class 'Win32_Proces'\n")
      << "the query's own failure, not that of looking for other names";
}

TEST_F(QueryCommandTest, ANameThatDoesNotExistIsOneLine) {
  const std::string query = "SELECT Nme FROM X";
  wmi.errors.emplace(query, wmi::wmi_error(wmi::Status::invalid_query, wmi::source::kObjectSet)
                                .with_diagnostic({query, 7, "X has no property 'Nme'; nearest: Name",
                                                  QueryDiagnostic::Fault::name}));
  const Result result = run_agent({"query", query});
  EXPECT_EQ(result.err, "kvwmi: Invalid query (0x80041017): X has no property 'Nme'; nearest: Name\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace kvwmi::agent
