#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/testing/agent_fixture.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using wmi::Value;

using CheckCommandTest = testing::AgentFixture;

constexpr const char* kServiceQuery = "SELECT * FROM Win32_Service WHERE DisplayName='Web Server'";
constexpr const char* kSystemQuery = "SELECT * FROM Win32_OperatingSystem";

TEST_F(CheckCommandTest, SaysTheAnswerInWords) {
  wmi.answer(kServiceQuery, {object({{"State", Value("Running")}})});
  const Result result = run_agent({"check", "service-state", "Web Server"});
  EXPECT_EQ(result.out, "service-state \"Web Server\": Running (4)\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, 0);
}

TEST_F(CheckCommandTest, AsJsonNamesMethodResultAndOutput) {
  wmi.answer(kServiceQuery, {object({{"State", Value("Running")}})});
  const Result result = run_agent({"check", "service-state", "Web Server", "--json"});
  EXPECT_EQ(Json::parse(result.out).dump(), R"({"method":"m_GetServiceState","result":0,"f_lngState":4})");
  EXPECT_EQ(result.status, 0);
}

TEST_F(CheckCommandTest, SizesAreNumbersOfAnyWidth) {
  wmi.answer(kSystemQuery, {object({{"FreePhysicalMemory", Value("922337203685477")}})});
  const Result json = run_agent({"check", "free-memory", "--json"});
  EXPECT_EQ(Json::parse(json.out).dump(),
            R"({"method":"m_GetFreePhysicalMemorySize","result":0,"f_curSize":922337203685477})");
  EXPECT_EQ(run_agent({"check", "free-memory"}).out, "free-memory: 922,337,203,685,477 KB (858993.5 TB)\n");
}

TEST_F(CheckCommandTest, AStepCodeIsExitStatusThree) {
  const Result result = run_agent({"check", "service-state", "Web Server"});
  EXPECT_EQ(result.out, "service-state \"Web Server\": no service has this display name (result 1)\n");
  EXPECT_EQ(result.status, 3);
  const Result json = run_agent({"check", "service-state", "Web Server", "--json"});
  EXPECT_EQ(Json::parse(json.out).dump(), R"({"method":"m_GetServiceState","result":1,"f_lngState":0})");
  EXPECT_EQ(json.status, 3);
}

TEST_F(CheckCommandTest, AFailureShowsWhatAutomationClientsSee) {
  const std::string query = "SELECT * FROM Win32_Process WHERE Name='it's'";
  refuse(query, 43, "unexpected text");
  const Result result = run_agent({"check", "process-exists", "it's"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "kvwmi: Invalid query (0x80040211): unexpected text\n"
            "    SELECT * FROM Win32_Process WHERE Name='it's'\n"
            "                                               ^\n"
            "    raised by SWbemServicesEx\n"
            "              KVWMI : CheckPoint.m_GetProcessExistence\n");
  const Result json = run_agent({"check", "process-exists", "it's", "--json"});
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(Json::parse(json.out).dump(),
            R"({"method":"m_GetProcessExistence","error":{"Number":-2147220975,)"
            R"("Source":"SWbemServicesEx\r\n\tKVWMI : CheckPoint.m_GetProcessExistence",)"
            R"("Description":"Invalid query ","offset":43,"message":"unexpected text"}})");
}

TEST_F(CheckCommandTest, AllChecksWithoutANameInOneTable) {
  wmi.answer(kSystemQuery, {object({{"FreePhysicalMemory", Value("2048")},
                                    {"TotalVisibleMemorySize", Value("4096")},
                                    {"FreeVirtualMemory", Value("1")},
                                    {"TotalVirtualMemorySize", Value("2")},
                                    {"FreeSpaceInPagingFiles", Value("0")},
                                    {"SizeStoredInPagingFiles", Value()}})});
  wmi.answer("SELECT * FROM Win32_Processor", {object({{"LoadPercentage", Value(std::int32_t{7})}})});
  const Result result = run_agent({"check"});
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
  const Json json = Json::parse(run_agent({"check", "--json"}).out);
  ASSERT_EQ(json.size(), 8U);
  EXPECT_EQ(json[7].dump(), R"({"method":"m_GetProcessorLoadPercentage","result":0,"f_lngPercentage":7})");
}

TEST_F(CheckCommandTest, AnErrorInTheTableOutweighsAStepCode) {
  wmi.answer("SELECT * FROM Win32_Processor", {object({{"LoadPercentage", Value()}})});
  const Result result = run_agent({"check"});
  EXPECT_NE(result.out.find("processor-load        error  Overflow\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("memory                    1  WMI has no operating system object\n"),
            std::string::npos)
      << result.out;
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace kvwmi::agent
