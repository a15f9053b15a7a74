#include "frame/conversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "frame/testing/raises.h"

namespace kvwmi {
namespace {

using testing::raised_by;
using testing::runtime;
using wmi::Value;

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();

Value text(const char* value) {
  return Value(value);
}
Value number(std::int32_t value) {
  return Value(value);
}

/// Every conversion under one roof, for the rules that all of them share.
using Conversion = void (*)(const Value&);
const std::vector<std::pair<const char*, Conversion>> kConversions{
    {"to_text", [](const Value& value) { static_cast<void>(to_text(value)); }},
    {"to_long", [](const Value& value) { static_cast<void>(to_long(value)); }},
    {"to_currency", [](const Value& value) { static_cast<void>(to_currency(value)); }},
    {"to_double", [](const Value& value) { static_cast<void>(to_double(value)); }},
    {"to_boolean", [](const Value& value) { static_cast<void>(to_boolean(value)); }},
};

void expect_raised(const Value& value, RuntimeError error, std::size_t first = 0) {
  for (std::size_t i = first; i < kConversions.size(); ++i) {
    const auto raised = raised_by([&] {
      kConversions[i].second(value);
      return 0;
    });
    EXPECT_EQ(raised, runtime(error)) << kConversions[i].first;
  }
}

TEST(Conversion, NullIsAnInvalidUseOfNull) {
  expect_raised(Value(), RuntimeError::invalid_use_of_null);
}

TEST(Conversion, ArraysAndObjectsAreATypeMismatch) {
  expect_raised(Value(Value::Array{number(1)}), RuntimeError::type_mismatch);
  expect_raised(Value(Value::Array{}), RuntimeError::type_mismatch);
  expect_raised(Value(std::shared_ptr<wmi::Object>()), RuntimeError::type_mismatch);
}

TEST(Conversion, TextThatIsNoNumberIsATypeMismatch) {
  for (const char* word : {"", " ", "abc", "12kB", "0x1F", "1,5", "--1"}) {
    expect_raised(text(word), RuntimeError::type_mismatch, 1);
  }
}

struct TextCase {
  Value value;
  const char* text;
};

TEST(ToText, StandardVariantRules) {
  const std::vector<TextCase> cases{
      {Value(true), "True"},
      {Value(false), "False"},
      {Value(std::uint8_t{200}), "200"},
      {Value(std::int16_t{-32768}), "-32768"},
      {Value(kMost), "2147483647"},
      {Value(kLeast), "-2147483648"},
      {Value("18446744073709551615"), "18446744073709551615"},
      {Value(""), ""},
      {Value("  as it is \r\n"), "  as it is \r\n"},
      // seven digits of a short real, fifteen of a long one
      {Value(0.1F), "0.1"},
      {Value(1.0F / 3.0F), "0.3333333"},
      {Value(16777216.0F), "1.677722E+07"},
      {Value(0.1 + 0.2), "0.3"},
      {Value(1.0 / 3.0), "0.333333333333333"},
      {Value(-2.5), "-2.5"},
      {Value(3.0), "3"},
      {Value(100000000000000.0), "100000000000000"},
      {Value(1e15), "1E+15"},
      {Value(-1.25e-7), "-1.25E-07"},
      {Value(0.0001), "0.0001"},
      {Value(0.00001), "1E-05"},
      {Value(1e300), "1E+300"},
      {Value(0.0), "0"},
      {Value(-0.0), "0"},
  };
  for (const TextCase& row : cases) EXPECT_EQ(to_text(row.value), row.text);
}

TEST(ToText, EmbeddedNulIsKept) {
  EXPECT_EQ(to_text(Value(std::string("a\0b", 3))), std::string("a\0b", 3));
}

struct LongCase {
  Value value;
  std::int32_t result;
};

TEST(ToLong, EveryScalar) {
  const std::vector<LongCase> cases{
      {Value(true), -1},
      {Value(false), 0},
      {Value(std::uint8_t{255}), 255},
      {Value(std::int16_t{-2}), -2},
      {number(kMost), kMost},
      {number(kLeast), kLeast},
      {Value(0.5F), 0},
      {Value(2.5), 2},
      {Value(3.5), 4},
      {Value(-2.5), -2},
      {Value(2147483647.5 - 0.25), kMost},
      {Value(-2147483648.5), kLeast},
      {text("4294967"), 4294967},
      {text(" -12 "), -12},
      {text("1e3"), 1000},
      {text("2.5"), 2},
      // one rounding, not two: four decimals alone would make this a half
      {text("0.50001"), 1},
      {text("2.50001"), 3},
  };
  for (const LongCase& row : cases) EXPECT_EQ(to_long(row.value), row.result) << to_text(row.value);
}

TEST(ToLong, BeyondTheRangeIsAnOverflow) {
  const std::vector<Value> cases{Value(2147483647.5),
                                 Value(-2147483649.0),
                                 text("2147483648"),
                                 text("-2147483649"),
                                 text("1e300"),
                                 text("1e309"),
                                 text("18446744073709551615"),
                                 Value(1e10F),
                                 Value(HUGE_VAL),
                                 Value(std::numeric_limits<double>::quiet_NaN())};
  for (const Value& value : cases) {
    EXPECT_EQ(raised_by([&] { return to_long(value); }), runtime(RuntimeError::overflow)) << to_text(value);
  }
}

TEST(ToCurrency, EveryScalar) {
  EXPECT_EQ(to_currency(Value(true)), Currency::from_integer(-1));
  EXPECT_EQ(to_currency(Value(std::uint8_t{7})), Currency::from_integer(7));
  EXPECT_EQ(to_currency(Value(std::int16_t{-7})), Currency::from_integer(-7));
  EXPECT_EQ(to_currency(number(kLeast)), Currency::from_integer(kLeast));
  EXPECT_EQ(to_currency(Value(0.25F)), Currency::from_scaled(2'500));
  EXPECT_EQ(to_currency(Value(1.5)), Currency::from_scaled(15'000));
  // a 64-bit counter arrives as text and loses nothing
  EXPECT_EQ(to_currency(text("922337203685477")), Currency::from_integer(922'337'203'685'477));
  EXPECT_EQ(to_currency(text("9007199254740.9931")), Currency::from_scaled(90'071'992'547'409'931));
}

TEST(ToCurrency, ACounterTooLargeIsAnOverflow) {
  for (const char* counter : {"922337203685478", "18446744073709551615", "-922337203685478"}) {
    EXPECT_EQ(raised_by([&] { return to_currency(text(counter)); }), runtime(RuntimeError::overflow))
        << counter;
  }
  EXPECT_EQ(raised_by([] { return to_currency(Value(1e20)); }), runtime(RuntimeError::overflow));
}

TEST(ToDouble, EveryScalar) {
  EXPECT_EQ(to_double(Value(true)), -1.0);
  EXPECT_EQ(to_double(Value(std::uint8_t{9})), 9.0);
  EXPECT_EQ(to_double(number(-5)), -5.0);
  EXPECT_EQ(to_double(Value(0.5F)), 0.5);
  EXPECT_EQ(to_double(text("1e300")), 1e300);
  EXPECT_EQ(to_double(text("0.1")), 0.1);
  EXPECT_EQ(raised_by([] { return to_double(text("1e309")); }), runtime(RuntimeError::overflow));
}

TEST(ToBoolean, AnyNumberButZeroIsTrue) {
  EXPECT_TRUE(to_boolean(Value(true)));
  EXPECT_FALSE(to_boolean(Value(false)));
  EXPECT_TRUE(to_boolean(number(-1)));
  EXPECT_TRUE(to_boolean(number(2)));
  EXPECT_FALSE(to_boolean(number(0)));
  EXPECT_TRUE(to_boolean(Value(0.001)));
  EXPECT_FALSE(to_boolean(Value(-0.0)));
  EXPECT_TRUE(to_boolean(text("1")));
  EXPECT_FALSE(to_boolean(text("0")));
}

TEST(ToBoolean, TheTwoWordsInAnyCase) {
  EXPECT_TRUE(to_boolean(text("TRUE")));
  EXPECT_TRUE(to_boolean(text("True")));
  EXPECT_FALSE(to_boolean(text("false")));
  EXPECT_EQ(raised_by([] { return to_boolean(text("yes")); }), runtime(RuntimeError::type_mismatch));
}

TEST(RoundToLong, HalvesGoToTheEvenNeighbour) {
  const std::vector<std::pair<double, std::int32_t>> cases{
      {0.5, 0}, {1.5, 2}, {2.5, 2}, {50.5, 50}, {51.5, 52}, {-0.5, 0}, {-1.5, -2}, {2.4999999999999996, 2}};
  for (const auto& [value, rounded] : cases) EXPECT_EQ(round_to_long(value), rounded) << value;
}

TEST(RoundToLong, EdgesOfTheRange) {
  EXPECT_EQ(round_to_long(2147483647.49), kMost);
  EXPECT_EQ(round_to_long(-2147483648.5), kLeast);
  for (const double beyond : {2147483647.5, -2147483648.51, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(raised_by([&] { return round_to_long(beyond); }), runtime(RuntimeError::overflow)) << beyond;
  }
}

TEST(CheckedAdd, SumsThatDoNotFitAreRaised) {
  EXPECT_EQ(checked_add(kMost - 1, 1), kMost);
  EXPECT_EQ(checked_add(kLeast, kMost), -1);
  EXPECT_EQ(raised_by([] { return checked_add(kMost, 1); }), runtime(RuntimeError::overflow));
  EXPECT_EQ(raised_by([] { return checked_add(kLeast, -1); }), runtime(RuntimeError::overflow));
}

TEST(Divide, DividesAsTheAutomationRunTimeDoes) {
  EXPECT_EQ(divide(101, 2), 50.5);
  EXPECT_EQ(divide(0, 4), 0.0);
  EXPECT_EQ(raised_by([] { return divide(0, 0); }), runtime(RuntimeError::overflow));
  EXPECT_EQ(raised_by([] { return divide(-0.0, 0); }), runtime(RuntimeError::overflow));
  EXPECT_EQ(raised_by([] { return divide(3, 0); }), runtime(RuntimeError::division_by_zero));
  EXPECT_EQ(raised_by([] { return divide(-3, -0.0); }), runtime(RuntimeError::division_by_zero));
}

}  // namespace
}  // namespace kvwmi
