#include "kvwmi/wmi_session.h"

#include <gtest/gtest.h>

#include "frame/testing/local_ground.h"
#include "frame/wmi_status.h"
#include "kvwmi/error.h"

namespace kvwmi {
namespace {

using testing::FakeGround;
using testing::FakeObject;

std::shared_ptr<FakeObject> object(wmi::NamedValues values, std::string class_name) {
  return std::make_shared<FakeObject>(std::move(values), std::move(class_name));
}

/// The failure of `steps`.
template <typename Steps>
Error failure_of(Steps steps) {
  try {
    steps();
  } catch (const Error& error) {
    return error;
  }
  ADD_FAILURE() << "nothing was raised";
  return Error(0, "", "");
}

TEST(WmiSession, ConnectsToTheNamespaceItIsGiven) {
  FakeGround ground;
  WmiSession usual(ground);
  WmiSession other(ground, R"(root\DEFAULT)");
  ASSERT_EQ(ground.wmi.connections.size(), 2U);
  EXPECT_EQ(ground.wmi.connections[0].name_space, R"(root\CIMV2)");
  EXPECT_EQ(ground.wmi.connections[0].server, ".");
  EXPECT_EQ(ground.wmi.connections[1].name_space, R"(root\DEFAULT)");
}

TEST(WmiSession, ConnectsToTheLocalMachineByItself) {
  FakeGround& ground = testing::fake_local_ground();
  const std::size_t before = ground.wmi.connections.size();
  WmiSession session;
  EXPECT_EQ(ground.wmi.connections.size(), before + 1);
}

TEST(WmiSession, SaysSoWhereWmiIsAbsent) {
  FakeGround ground;
  ground.wmi.installed = false;
  const Error error = failure_of([&] { WmiSession session(ground); });
  EXPECT_EQ(error.number(), 429);
  EXPECT_EQ(error.description(), "WMI not installed");
}

TEST(WmiSession, AnswersObjectsInOrderWithTheirProperties) {
  FakeGround ground;
  ground.wmi.answer("SELECT * FROM A", {object({{"Name", wmi::Value("one")}, {"Size", wmi::Value("7")}}, "A"),
                                        object({{"Name", wmi::Value("two")}, {"Size", wmi::Value()}}, "A")});
  const std::vector<WmiObject> found = WmiSession(ground).query("SELECT * FROM A");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].class_name, "A");
  ASSERT_EQ(found[0].properties.size(), 2U);
  EXPECT_EQ(found[0].properties[0].name, "Name");
  EXPECT_EQ(found[0].properties[0].value, wmi::Value("one"));
  EXPECT_EQ(found[1].properties[0].value, wmi::Value("two"));
  EXPECT_TRUE(found[1].properties[1].value.is_null());
}

TEST(WmiSession, SystemPropertiesComeWhereTheQuerySelectsThem) {
  FakeGround ground;
  const auto row = object({{"__PATH", wmi::Value("A.Name=\"x\"")},
                           {"__GENUS", wmi::Value(std::int32_t{2})},
                           {"__DERIVATION", wmi::Value(wmi::Value::Array{wmi::Value("B")})},
                           {"Name", wmi::Value("x")}},
                          "A");
  const std::string named = "select __path,Name,\t__GENUS , __Derivation,__PATH FROM A WHERE __CLASS='A'";
  ground.wmi.answer(named, {row});
  const std::vector<WmiObject> found = WmiSession(ground).query(named);
  ASSERT_EQ(found.size(), 1U);
  ASSERT_EQ(found[0].properties.size(), 4U);
  EXPECT_EQ(found[0].properties[0].name, "Name");
  EXPECT_EQ(found[0].properties[1].name, "__PATH");
  EXPECT_EQ(found[0].properties[1].value, wmi::Value("A.Name=\"x\""));
  EXPECT_EQ(found[0].properties[1].type, wmi::CimType::string);
  EXPECT_EQ(found[0].properties[2].name, "__GENUS");
  EXPECT_EQ(found[0].properties[2].type, wmi::CimType::sint32);
  EXPECT_EQ(found[0].properties[3].name, "__DERIVATION");
  EXPECT_TRUE(found[0].properties[3].is_array);
}

TEST(WmiSession, ASystemPropertyInTheConditionIsNotSelected) {
  FakeGround ground;
  for (const std::string query : {"SELECT * FROM A WHERE __CLASS='A'", "SELECT *FROM A WHERE __CLASS='A'",
                                  "SELECT* FROM A WHERE __CLASS='A'", "SELECT*FROM A WHERE __CLASS = 'A'",
                                  "SELECT Name FROM A WHERE __CLASS = 'A'"}) {
    ground.wmi.answer(query, {object({{"__CLASS", wmi::Value("A")}, {"Name", wmi::Value("x")}}, "A")});
    const std::vector<WmiObject> found = WmiSession(ground).query(query);
    ASSERT_EQ(found.size(), 1U) << query;
    ASSERT_EQ(found[0].properties.size(), 1U) << query;
    EXPECT_EQ(found[0].properties[0].name, "Name") << query;
  }
}

TEST(WmiSession, CarriesTheDiagnosticOfARefusedQuery) {
  FakeGround ground;
  ground.wmi.errors.emplace("SELEKT", wmi::wmi_error(wmi::Status::invalid_query, wmi::source::kServices)
                                          .with_diagnostic({"SELEKT", 0, "expected SELECT"}));
  WmiSession session(ground);
  const Error error = failure_of([&] { static_cast<void>(session.query("SELEKT")); });
  EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80041017));
  EXPECT_EQ(error.source(), "SWbemServicesEx");
  EXPECT_EQ(error.description(), "Invalid query ");
  ASSERT_NE(error.query_diagnostic(), nullptr);
  EXPECT_EQ(error.query_diagnostic()->message, "expected SELECT");
}

TEST(WmiSession, ListsTheClasses) {
  FakeGround ground;
  ground.wmi.answer("SELECT * FROM meta_class", {object({}, "Win32_Process"), object({}, "Win32_Service")});
  EXPECT_EQ(WmiSession(ground).classes(), (std::vector<std::string>{"Win32_Process", "Win32_Service"}));
}

TEST(WmiSession, DescribesAClassInAnyCaseAndNotOneDerivedFromIt) {
  FakeGround ground;
  ground.wmi.answer("SELECT * FROM meta_class WHERE __this ISA 'cim_service'",
                    {object({{"State", wmi::Value()}}, "Win32_Service"),
                     object({{"Started", wmi::Value()}}, "CIM_Service")});
  const WmiClass description = WmiSession(ground).class_description("cim_service");
  EXPECT_EQ(description.name, "CIM_Service");
  ASSERT_EQ(description.properties.size(), 1U);
  EXPECT_EQ(description.properties[0].name, "Started");
}

TEST(WmiSession, AClassTellsItsSuperclassesItsDescriptionAndItsMethods) {
  FakeGround ground;
  const auto service = object({{"State", wmi::Value()}}, "Win32_Service");
  service->genus = 1;
  service->superclasses = {wmi::Value("Win32_BaseService"), wmi::Value("CIM_Service")};
  service->description = "The services.";
  service->class_methods = {{"Change", {{"Flags", wmi::CimType::sint32}}, "Changes it."}};
  ground.wmi.answer("SELECT * FROM meta_class WHERE __this ISA 'Win32_Service'", {service});
  const WmiClass description = WmiSession(ground).class_description("Win32_Service");
  EXPECT_EQ(description.superclasses, (std::vector<std::string>{"Win32_BaseService", "CIM_Service"}));
  EXPECT_EQ(description.description, "The services.");
  ASSERT_EQ(description.methods.size(), 1U);
  EXPECT_EQ(description.methods[0].name, "Change");
  ASSERT_EQ(description.methods[0].in.size(), 1U);
  EXPECT_EQ(description.methods[0].in[0].name, "Flags");
  EXPECT_EQ(description.methods[0].in[0].type, wmi::CimType::sint32);
}

TEST(WmiSession, AnObjectSaysWhetherItIsAClass) {
  FakeGround ground;
  const auto process = object({}, "Win32_Process");
  process->genus = 1;
  ground.wmi.answer("SELECT*FROM meta_class", {process});
  ground.wmi.answer("SELECT * FROM Win32_Process", {object({}, "Win32_Process")});
  EXPECT_TRUE(WmiSession(ground).query("SELECT*FROM meta_class").at(0).is_class);
  EXPECT_FALSE(WmiSession(ground).query("SELECT * FROM Win32_Process").at(0).is_class);
}

TEST(WmiSession, AnUnknownClassIsNotFound) {
  FakeGround ground;
  WmiSession session(ground);
  for (const char* name : {"Win32_Proces", "", "x' OR __this ISA 'y"}) {
    const Error error = failure_of([&] { static_cast<void>(session.class_description(name)); });
    EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80041002)) << name;
    EXPECT_EQ(error.description(), "Not found ") << name;
  }
}

TEST(WmiSession, AnUnknownClassIsNotFoundWhereIsaWithItIsRefusedToo) {
  FakeGround ground;
  const std::string query = "SELECT * FROM meta_class WHERE __this ISA 'Nope'";
  ground.wmi.errors.emplace(query, wmi::wmi_error(wmi::Status::invalid_class, wmi::source::kObjectSet)
                                       .with_diagnostic({query, 42, "there is no class 'Nope'"}));
  WmiSession session(ground);
  const Error error = failure_of([&] { static_cast<void>(session.class_description("Nope")); });
  EXPECT_TRUE(is_status(error, wmi::Status::not_found));
  EXPECT_EQ(error.query_diagnostic(), nullptr);  // the query is none of the caller's

  ground.wmi.errors.insert_or_assign(query,
                                     wmi::wmi_error(wmi::Status::access_denied, wmi::source::kObjectSet));
  EXPECT_TRUE(is_status(failure_of([&] { static_cast<void>(session.class_description("Nope")); }),
                        wmi::Status::access_denied));
}

}  // namespace
}  // namespace kvwmi
