#include "frame/decimal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kvwmi {
namespace {

struct Reading {
  const char* text;
  bool negative;
  const char* digits;
  int exponent;
};

class DecimalReading : public ::testing::TestWithParam<Reading> {};

TEST_P(DecimalReading, IsTakenApart) {
  const auto decimal = parse_decimal(GetParam().text);
  ASSERT_TRUE(decimal) << GetParam().text;
  EXPECT_EQ(decimal->negative, GetParam().negative) << GetParam().text;
  EXPECT_EQ(decimal->digits, GetParam().digits) << GetParam().text;
  if (!decimal->digits.empty()) {
    EXPECT_EQ(decimal->exponent, GetParam().exponent) << GetParam().text;
  }
}

INSTANTIATE_TEST_SUITE_P(Texts, DecimalReading,
                         ::testing::Values(Reading{"0", false, "", 0}, Reading{"-0.000", true, "", 0},
                                           Reading{"5", false, "5", 1}, Reading{"5.", false, "5", 1},
                                           Reading{".5", false, "5", 0}, Reading{"+.05", false, "5", -1},
                                           Reading{"0012.3400", false, "123400", 2},
                                           Reading{" \t-7\r\n", true, "7", 1}, Reading{"1e2", false, "1", 3},
                                           Reading{"1.5E-3", false, "15", -2},
                                           Reading{"0.001e+3", false, "1", 1}));

class NotADecimal : public ::testing::TestWithParam<const char*> {};

TEST_P(NotADecimal, IsRefused) {
  EXPECT_FALSE(parse_decimal(GetParam())) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Texts, NotADecimal,
                         ::testing::Values("", " ", "+", "-", ".", "-.", "--5", "+-5", "5-", "1.2.3", "1 2",
                                           "e5", "1e", "1e+", "1e--2", "1e2.5", "0x10", "1,5", "inf", "nan",
                                           "5\xC2\xA0", "1e2 3"));

TEST(Decimal, AnEmbeddedNulIsNoBlank) {
  EXPECT_FALSE(parse_decimal(std::string_view("5\0", 2)));
}

TEST(Decimal, AHugeExponentStaysReadable) {
  const auto decimal = parse_decimal("1e99999999999999999999");
  ASSERT_TRUE(decimal);
  EXPECT_GE(decimal->exponent, 1'000'000);
}

TEST(DecimalAsDouble, IsTheNearestOne) {
  EXPECT_EQ(to_double(*parse_decimal("0.1")), 0.1);
  EXPECT_EQ(to_double(*parse_decimal("-1.7976931348623157e308")), -std::numeric_limits<double>::max());
  EXPECT_EQ(to_double(*parse_decimal("18446744073709551615")), 18446744073709551616.0);
}

TEST(DecimalAsDouble, BeyondTheRangeIsNone) {
  EXPECT_FALSE(to_double(*parse_decimal("1e309")));
  EXPECT_FALSE(to_double(*parse_decimal("-1e309")));
}

TEST(DecimalAsDouble, BelowTheRangeIsZero) {
  EXPECT_EQ(to_double(*parse_decimal("1e-400")), 0.0);
}

TEST(DecimalAsDouble, NegativeZeroKeepsItsSign) {
  EXPECT_TRUE(std::signbit(*to_double(*parse_decimal("-0"))));
}

}  // namespace
}  // namespace kvwmi
