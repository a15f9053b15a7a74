#include "agent/values.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "frame/testing/fake_ground.h"

namespace kvwmi::agent {
namespace {

using wmi::CimType;
using wmi::Value;

std::shared_ptr<wmi::Object> embedded() {
  return std::make_shared<testing::FakeObject>(
      wmi::NamedValues{{"Name", Value("x")}, {"Size", Value()}, {"Id", Value(std::int32_t{4})}},
      "Win32_Thing");
}

TEST(Values, JsonOfEachKind) {
  EXPECT_EQ(to_json(Value()).dump(), "null");
  EXPECT_EQ(to_json(Value(true)).dump(), "true");
  EXPECT_EQ(to_json(Value(std::uint8_t{200})).dump(), "200");
  EXPECT_EQ(to_json(Value(std::int16_t{-3})).dump(), "-3");
  EXPECT_EQ(to_json(Value(std::int32_t{-1})).dump(), "-1");
  EXPECT_EQ(to_json(Value(0.5)).dump(), "0.5");
  EXPECT_EQ(to_json(Value("18446744073709551615")).dump(), "\"18446744073709551615\"");
  EXPECT_EQ(to_json(Value(Value::Array{Value("a"), Value()})).dump(), R"(["a",null])");
  EXPECT_EQ(to_json(Value(Value::Array{})).dump(), "[]");
  EXPECT_EQ(to_json(Value(embedded())).dump(), R"({"Name":"x","Size":null,"Id":4})");
  EXPECT_EQ(to_json(Value(std::shared_ptr<wmi::Object>())).dump(), "null");
}

TEST(Values, LinesForPeopleOfEachKind) {
  EXPECT_EQ(to_line(Value()), "NULL");
  EXPECT_EQ(to_line(Value(false)), "FALSE");
  EXPECT_EQ(to_line(Value(std::uint8_t{200})), "200");
  EXPECT_EQ(to_line(Value(2.5F)), "2.5");
  EXPECT_EQ(to_line(Value("two\nlines")), "two\\nlines");
  EXPECT_EQ(to_line(Value(Value::Array{Value("a"), Value(true)})), "{a, TRUE}");
  EXPECT_EQ(to_line(Value(embedded())), "Win32_Thing {Name=x, Id=4}");
}

TEST(Values, ObjectsKeepTheOrderOfTheirProperties) {
  WmiObject object{"C", {}};
  object.properties.push_back({"Zeta", Value("1"), CimType::uint64, false, true, ""});
  object.properties.push_back({"Alpha", Value(), CimType::string, false, false, ""});
  EXPECT_EQ(to_json(object).dump(), R"({"Zeta":"1","Alpha":null})");
}

TEST(Values, ErrorsTellNumberSourceAndDescription) {
  const Error error(-2147220975, "SWbemObjectSet\r\n\tKVWMI : CheckPoint.m_GetServiceState",
                    "Invalid query ");
  EXPECT_EQ(to_json(error).dump(),
            R"({"Number":-2147220975,"Source":"SWbemObjectSet\r\n\tKVWMI : CheckPoint.m_GetServiceState",)"
            R"("Description":"Invalid query "})");
}

TEST(Values, TypeNamesAreWmis) {
  WmiProperty property;
  property.type = CimType::uint64;
  EXPECT_EQ(type_text(property), "uint64");
  property.type = CimType::reference;
  property.is_array = true;
  EXPECT_EQ(type_text(property), "ref[]");
  EXPECT_TRUE(is_number(CimType::uint64));
  EXPECT_TRUE(is_number(CimType::real64));
  EXPECT_FALSE(is_number(CimType::boolean));
  EXPECT_FALSE(is_number(CimType::datetime));
}

}  // namespace
}  // namespace kvwmi::agent
