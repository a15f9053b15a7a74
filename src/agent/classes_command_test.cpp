#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "agent/testing/agent_fixture.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using wmi::Value;

using ClassesCommandTest = testing::AgentFixture;

TEST_F(ClassesCommandTest, NamesThemAll) {
  wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process"), object({}, "Win32_Service")});
  EXPECT_EQ(run_agent({"classes"}).out, "Win32_Process\nWin32_Service\n");
  EXPECT_EQ(Json::parse(run_agent({"classes", "--json"}).out).dump(), R"(["Win32_Process","Win32_Service"])");
}

TEST_F(ClassesCommandTest, DescribesOne) {
  const auto plain = class_object({{"Name", Value()}}, "X");
  wmi.answer("SELECT * FROM meta_class WHERE __this ISA 'x'", {plain});
  EXPECT_EQ(run_agent({"classes", "x"}).out, "X\n\nPROPERTY  TYPE    KEY  DESCRIPTION\nName      string\n");
  EXPECT_EQ(Json::parse(run_agent({"classes", "x", "--json"}).out).dump(),
            R"({"class":"X","superclasses":[],"description":"","properties":[{"name":"Name","type":"string",)"
            R"("array":false,"key":false,"description":""}],"methods":[]})");
}

TEST_F(ClassesCommandTest, TellsDerivationAndMethodsToo) {
  const auto machine = class_object({{"Name", Value()}}, "Y");
  machine->superclasses = {Value("B"), Value("A")};
  machine->description = "The machine.";
  machine->class_methods = {{"Reboot", {}, "Starts anew."},
                            {"Stop", {{"Flags", wmi::CimType::sint32}, {"Why", wmi::CimType::string}}, ""}};
  wmi.answer("SELECT * FROM meta_class WHERE __this ISA 'y'", {machine});
  EXPECT_EQ(run_agent({"classes", "y"}).out,
            "Y, derived from B, A\n"
            "The machine.\n\n"
            "PROPERTY  TYPE    KEY  DESCRIPTION\n"
            "Name      string\n\n"
            "METHOD                          DESCRIPTION\n"
            "Reboot()                        Starts anew.\n"
            "Stop(sint32 Flags, string Why)\n");
  const Json json = Json::parse(run_agent({"classes", "y", "--json"}).out);
  EXPECT_EQ(json["superclasses"].dump(), R"(["B","A"])");
  EXPECT_EQ(json["description"], "The machine.");
  EXPECT_EQ(json["methods"].dump(),
            R"([{"name":"Reboot","in":[],"description":"Starts anew."},{"name":"Stop","in":[)"
            R"({"name":"Flags","type":"sint32"},{"name":"Why","type":"string"}],"description":""}])");
}

TEST_F(ClassesCommandTest, AnUnknownNameIsToldTheNearest) {
  wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process"), object({}, "Win32_Service")});
  const Result result = run_agent({"classes", "Win32_Servis"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "kvwmi: unknown class \"Win32_Servis\" in root\\CIMV2; nearest: Win32_Service\n");
  const Json error = Json::parse(run_agent({"classes", "Win32_Servis", "--json"}).out)["error"];
  EXPECT_EQ(error["Number"], -2147217406);
  EXPECT_EQ(error["Description"], "Not found ");
  EXPECT_EQ("kvwmi: " + error["message"].get<std::string>() + "\n", result.err);
}

}  // namespace
}  // namespace kvwmi::agent
