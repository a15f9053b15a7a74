#include "wmi/cim/automation.h"

#include <gtest/gtest.h>

#include "frame/wmi_status.h"

namespace kvwmi::cim {
namespace {

using wmi::Value;
using Cim = cim::Value;

constexpr std::int64_t kMinus = -1;
constexpr std::uint64_t kUint32Max = 0xFFFFFFFFU;

TEST(ToAutomation, MapsEveryCimTypeToItsAutomationType) {
  struct Case {
    CimType type;
    Cim value;
    Value expected;
  };
  const Case cases[] = {
      {CimType::sint8, Cim(std::int64_t{-128}), Value(std::int16_t{-128})},
      {CimType::uint8, Cim(std::uint64_t{255}), Value(std::uint8_t{255})},
      {CimType::sint16, Cim(std::int64_t{-32768}), Value(std::int16_t{-32768})},
      {CimType::char16, Cim(std::uint64_t{65}), Value(std::int16_t{65})},
      {CimType::uint16, Cim(std::uint64_t{65535}), Value(std::int32_t{65535})},
      {CimType::sint32, Cim(kMinus), Value(std::int32_t{-1})},
      {CimType::uint32, Cim(kUint32Max), Value(std::int32_t{-1})},  // bit pattern
      {CimType::sint64, Cim(kMinus), Value("-1")},
      {CimType::uint64, Cim(UINT64_MAX), Value("18446744073709551615")},
      {CimType::real32, Cim(1.5), Value(1.5F)},
      {CimType::real64, Cim(0.1), Value(0.1)},
      {CimType::boolean, Cim(true), Value(true)},
      {CimType::string, Cim(std::string("a\0b", 3)), Value(std::string("a\0b", 3))},
      {CimType::datetime, Cim("20261120105237.000000+000"), Value("20261120105237.000000+000")},
      {CimType::reference, Cim("C.K=1"), Value("C.K=1")},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(to_automation(c.value, c.type), c.expected) << static_cast<int>(c.type);
    EXPECT_TRUE(to_automation(Cim(), c.type).is_null()) << static_cast<int>(c.type);
  }
}

TEST(ToAutomation, CutsIntegersToTheDeclaredWidth) {
  EXPECT_EQ(to_automation(Cim(std::uint64_t{0x1FF}), CimType::uint8), Value(std::uint8_t{0xFF}));
  EXPECT_EQ(to_automation(Cim(std::uint64_t{0x1'0000'0002}), CimType::uint32), Value(std::int32_t{2}));
}

TEST(ToAutomation, ConvertsArraysElementByElement) {
  const Cim ports(Cim::Array{Cim(std::uint64_t{80}), Cim(), Cim(std::uint64_t{443})});
  EXPECT_EQ(to_automation(ports, CimType::uint16),
            Value(Value::Array{Value(std::int32_t{80}), Value(), Value(std::int32_t{443})}));
  EXPECT_EQ(to_automation(Cim(Cim::Array{}), CimType::string), Value(Value::Array{}));
}

TEST(ToAutomation, RefusesAValueOfAnotherKind) {
  try {
    static_cast<void>(to_automation(Cim("5"), CimType::uint32));
    FAIL() << "text taken for a number";
  } catch (const Error& error) {
    EXPECT_TRUE(wmi::is_status(error, wmi::Status::type_mismatch));
  }
  EXPECT_THROW(static_cast<void>(to_automation(Cim(1.0), CimType::string)), Error);
}

TEST(FromAutomation, TakesWhatFitsTheType) {
  struct Case {
    CimType type;
    Value value;
    std::optional<Cim> expected;
  };
  const Case cases[] = {
      {CimType::uint32, Value(std::int32_t{-1}), Cim(kUint32Max)},
      {CimType::uint32, Value("4294967295"), Cim(kUint32Max)},
      {CimType::uint32, Value("4294967296"), std::nullopt},
      {CimType::uint32, Value(1.5), std::nullopt},
      {CimType::uint16, Value(std::int32_t{-1}), std::nullopt},
      {CimType::uint8, Value(std::int16_t{255}), Cim(std::uint64_t{255})},
      {CimType::sint8, Value(std::int32_t{128}), std::nullopt},
      {CimType::sint32, Value("-7"), Cim(std::int64_t{-7})},
      {CimType::sint64, Value("9223372036854775808"), std::nullopt},
      {CimType::uint64, Value("18446744073709551615"), Cim(UINT64_MAX)},
      {CimType::uint64, Value("x"), std::nullopt},
      {CimType::boolean, Value("True"), Cim(true)},
      {CimType::boolean, Value(std::int32_t{0}), Cim(false)},
      {CimType::boolean, Value("perhaps"), std::nullopt},
      {CimType::string, Value(std::int32_t{5}), Cim("5")},
      {CimType::real64, Value("2.5"), Cim(2.5)},
      {CimType::uint32, Value(), Cim()},
      {CimType::uint8, Value(Value::Array{Value(std::int32_t{1})}), Cim(Cim::Array{Cim(std::uint64_t{1})})},
      {CimType::uint8, Value(Value::Array{Value(std::int32_t{256})}), std::nullopt},
      {CimType::object, Value("x"), std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(from_automation(c.value, c.type), c.expected)
        << static_cast<int>(c.type) << " case " << &c - cases;
  }
}

}  // namespace
}  // namespace kvwmi::cim
