#include "kvwmi/currency.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "frame/testing/raises.h"

namespace kvwmi {
namespace {

using testing::raised_by;
using testing::runtime;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

std::int64_t scaled(std::string_view text) {
  return Currency::from_text(text).scaled();
}

Currency units(std::int64_t value) {
  return Currency::from_scaled(value);
}

TEST(Currency, StartsAtZero) {
  EXPECT_EQ(Currency().scaled(), 0);
}

TEST(Currency, OrdersByValue) {
  EXPECT_LT(units(-1), units(0));
  EXPECT_LT(units(1), units(2));
  EXPECT_EQ(units(5), units(5));
}

struct TextCase {
  const char* text;
  std::int64_t scaled;
};

class CurrencyFromText : public ::testing::TestWithParam<TextCase> {};

TEST_P(CurrencyFromText, IsExact) {
  EXPECT_EQ(scaled(GetParam().text), GetParam().scaled) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Plain, CurrencyFromText,
    ::testing::Values(TextCase{"0", 0}, TextCase{"-0", 0}, TextCase{"1", 10'000}, TextCase{"+1", 10'000},
                      TextCase{"-1.5", -15'000}, TextCase{".25", 2'500}, TextCase{"3.", 30'000},
                      TextCase{"0.0001", 1}, TextCase{" 42 ", 420'000},
                      TextCase{"0000000000000000000000000000000000000001.00000000000000000000000000", 10'000},
                      TextCase{"1e3", 10'000'000}, TextCase{"12.5E-1", 12'500}, TextCase{"1e-400", 0},
                      // more digits than a double holds, and yet exact
                      TextCase{"900000000000000.0001", 9'000'000'000'000'000'001},
                      TextCase{"99999999999999999999999999e-20", 10'000'000'000},
                      TextCase{"0e999999999", 0}));

INSTANTIATE_TEST_SUITE_P(HalfToEven, CurrencyFromText,
                         ::testing::Values(TextCase{"0.00005", 0}, TextCase{"0.00015", 2},
                                           TextCase{"0.00025", 2}, TextCase{"-0.00015", -2},
                                           TextCase{"0.000050", 0}, TextCase{"0.000051", 1},
                                           TextCase{"0.0000500000000000000000000000001", 1},
                                           TextCase{"0.00004999999999999999999999999", 0},
                                           TextCase{"0.00009", 1}, TextCase{"0.000009", 0},
                                           TextCase{"0.99995", 10'000}, TextCase{"0.99985", 9'998}));

INSTANTIATE_TEST_SUITE_P(Limits, CurrencyFromText,
                         ::testing::Values(TextCase{"922337203685477", 9'223'372'036'854'770'000},
                                           TextCase{"922337203685477.5807", kMost},
                                           TextCase{"922337203685477.58074", kMost},
                                           TextCase{"-922337203685477.5808", kLeast},
                                           TextCase{"-922337203685477.58085", kLeast}));

class CurrencyOverflow : public ::testing::TestWithParam<const char*> {};

TEST_P(CurrencyOverflow, IsRaised) {
  EXPECT_EQ(raised_by([] { return scaled(GetParam()); }), runtime(RuntimeError::overflow)) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Texts, CurrencyOverflow,
                         ::testing::Values("922337203685477.5808", "922337203685477.58075",
                                           "-922337203685477.5809", "-922337203685477.58086",
                                           // every unsigned limit on the way to it
                                           "1844674407370955.16155", "1844674407370955.1616",
                                           "18446744073709551615", "18446744073709551616", "1e300", "-1e15",
                                           "100000000000000000000000000000000000000000"));

class NoCurrency : public ::testing::TestWithParam<const char*> {};

TEST_P(NoCurrency, IsATypeMismatch) {
  EXPECT_EQ(raised_by([] { return scaled(GetParam()); }), runtime(RuntimeError::type_mismatch)) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Texts, NoCurrency,
                         ::testing::Values("", " ", "-", ".", "abc", "1.2.3", "--5", "+-5", "1e", "0x1F",
                                           "inf", "nan", "1 2", "12kB"));

TEST(Currency, FromInteger) {
  EXPECT_EQ(Currency::from_integer(-3).scaled(), -30'000);
  EXPECT_EQ(Currency::from_integer(922'337'203'685'477).scaled(), 9'223'372'036'854'770'000);
  EXPECT_EQ(Currency::from_integer(-922'337'203'685'477).scaled(), -9'223'372'036'854'770'000);
  for (const std::int64_t beyond :
       {INT64_C(922'337'203'685'478), INT64_C(-922'337'203'685'478), kMost, kLeast}) {
    EXPECT_EQ(raised_by([&] { return Currency::from_integer(beyond); }), runtime(RuntimeError::overflow));
  }
}

TEST(Currency, FromDoubleRoundsHalfToEven) {
  EXPECT_EQ(Currency::from_double(1.5).scaled(), 15'000);
  // Thirty-seconds are exact in binary and give exact halves of a ten-thousandth.
  EXPECT_EQ(Currency::from_double(1.0 / 32).scaled(), 312);
  EXPECT_EQ(Currency::from_double(3.0 / 32).scaled(), 938);
  EXPECT_EQ(Currency::from_double(5.0 / 32).scaled(), 1562);
  EXPECT_EQ(Currency::from_double(-3.0 / 32).scaled(), -938);
  EXPECT_EQ(Currency::from_double(0.00004).scaled(), 0);
}

TEST(Currency, FromDoubleRaisesWhatDoesNotFit) {
  const double limit = 922'337'203'685'477.5808;
  EXPECT_EQ(Currency::from_double(-limit).scaled(), kLeast);
  for (const double beyond : {limit, -922'337'203'685'478.0, 1e300, -1e300, HUGE_VAL, -HUGE_VAL,
                              std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(raised_by([&] { return Currency::from_double(beyond); }), runtime(RuntimeError::overflow))
        << beyond;
  }
}

TEST(Currency, ToDouble) {
  EXPECT_EQ(units(12'345).to_double(), 1.2345);
  EXPECT_EQ(units(kLeast).to_double(), -922'337'203'685'477.5808);
}

TEST(Currency, RoundsToWholeNumbersHalfToEven) {
  const std::vector<std::pair<std::int64_t, std::int64_t>> cases{{0, 0},
                                                                 {4'999, 0},
                                                                 {5'000, 0},
                                                                 {5'001, 1},
                                                                 {15'000, 2},
                                                                 {25'000, 2},
                                                                 {-5'000, 0},
                                                                 {-5'001, -1},
                                                                 {-15'000, -2},
                                                                 {-25'000, -2},
                                                                 {kMost, 922'337'203'685'478},
                                                                 {kLeast, -922'337'203'685'478}};
  for (const auto& [value, whole] : cases) EXPECT_EQ(units(value).rounded(), whole) << value;
}

TEST(Currency, ToText) {
  const std::vector<std::pair<std::int64_t, const char*>> cases{{0, "0"},
                                                                {10'000, "1"},
                                                                {15'000, "1.5"},
                                                                {1, "0.0001"},
                                                                {-1, "-0.0001"},
                                                                {10'100, "1.01"},
                                                                {-123'400, "-12.34"},
                                                                {kMost, "922337203685477.5807"},
                                                                {kLeast, "-922337203685477.5808"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(units(value).to_text(), text);
}

TEST(Currency, TextComesBackUnchanged) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 10'000; ++i) {
    const auto value = static_cast<std::int64_t>(random());
    EXPECT_EQ(scaled(units(value).to_text()), value);
  }
}

TEST(Currency, SumsAndDifferences) {
  EXPECT_EQ(units(1) + units(-3), units(-2));
  EXPECT_EQ(units(1) - units(-3), units(4));
  EXPECT_EQ(units(kMost) + units(kLeast), units(-1));
  EXPECT_EQ(units(-1) - units(kMost), units(kLeast));
  EXPECT_EQ(units(-1) - units(kLeast), units(kMost));
  Currency sum = units(2);
  sum += units(3);
  EXPECT_EQ(sum, units(5));
}

TEST(Currency, SumsAndDifferencesThatDoNotFitAreRaised) {
  const auto overflow = runtime(RuntimeError::overflow);
  EXPECT_EQ(raised_by([] { return units(kMost) + units(1); }), overflow);
  EXPECT_EQ(raised_by([] { return units(kLeast) + units(-1); }), overflow);
  EXPECT_EQ(raised_by([] { return units(kLeast) - units(1); }), overflow);
  EXPECT_EQ(raised_by([] { return units(0) - units(kLeast); }), overflow);
  Currency sum = units(kMost);
  EXPECT_EQ(raised_by([&] { return sum += units(1); }), overflow);
  EXPECT_EQ(sum, units(kMost));
}

TEST(Currency, Products) {
  const auto product = [](const char* a, const char* b) {
    return (Currency::from_text(a) * Currency::from_text(b)).to_text();
  };
  EXPECT_EQ(product("1.5", "2"), "3");
  EXPECT_EQ(product("-1.5", "2"), "-3");
  EXPECT_EQ(product("-0.01", "-0.01"), "0.0001");
  EXPECT_EQ(product("10", "1073741824"), "10737418240");
  EXPECT_EQ(product("922337203685477.5807", "1"), "922337203685477.5807");
  EXPECT_EQ(product("922337203685477.5807", "-1"), "-922337203685477.5807");
  EXPECT_EQ(product("-922337203685477.5808", "1"), "-922337203685477.5808");
  EXPECT_EQ(product("0", "-922337203685477.5808"), "0");
  EXPECT_EQ(product("30370004.9996", "30370004.9996"), "922337203675728.996");
}

TEST(Currency, ProductsRoundHalfToEven) {
  EXPECT_EQ(units(1) * units(5'000), units(0));
  EXPECT_EQ(units(3) * units(5'000), units(2));
  EXPECT_EQ(units(5) * units(5'000), units(2));
  EXPECT_EQ(units(-3) * units(5'000), units(-2));
  EXPECT_EQ(units(1) * units(5'001), units(1));
}

TEST(Currency, ProductsThatDoNotFitAreRaised) {
  const auto overflow = runtime(RuntimeError::overflow);
  EXPECT_EQ(raised_by([] { return units(kLeast) * units(-10'000); }), overflow);
  EXPECT_EQ(raised_by([] { return units(kMost) * units(10'001); }), overflow);
  EXPECT_EQ(raised_by([] { return units(kLeast) * units(kLeast); }), overflow);
  EXPECT_EQ(raised_by([] { return units(kMost) * units(kMost); }), overflow);
  // 922337203685477.58078249 before rounding: only the rounding crosses the limit
  EXPECT_EQ(raised_by([] { return units(9222449791875588249) * units(10'001); }), overflow);
}

/// The same product with another algorithm: schoolbook on base-10 digits.
std::string decimal_product(std::uint64_t a, std::uint64_t b) {
  std::vector<int> x;
  std::vector<int> y;
  for (; a != 0; a /= 10) x.push_back(static_cast<int>(a % 10));
  for (; b != 0; b /= 10) y.push_back(static_cast<int>(b % 10));
  std::vector<int> sum(x.size() + y.size() + 1);
  for (std::size_t i = 0; i < x.size(); ++i) {
    for (std::size_t j = 0; j < y.size(); ++j) sum[i + j] += x[i] * y[j];
  }
  for (std::size_t i = 0; i + 1 < sum.size(); ++i) {
    sum[i + 1] += sum[i] / 10;
    sum[i] %= 10;
  }
  std::string text;
  for (auto digit = sum.rbegin(); digit != sum.rend(); ++digit)
    text.push_back(static_cast<char>('0' + *digit));
  return text;
}

TEST(Currency, ProductsAgreeWithLongMultiplication) {
  std::mt19937_64 random(2);
  int fitting = 0;
  for (int i = 0; i < 20'000; ++i) {
    const auto shift = random() % 63;
    const auto a = static_cast<std::int64_t>((random() >> 1) >> shift);
    const auto b = static_cast<std::int64_t>((random() >> 1) >> (62 - shift));
    // The exact product has eight decimals; reading it as text rounds it to four.
    std::string exact =
        "00000000" + decimal_product(static_cast<std::uint64_t>(a), static_cast<std::uint64_t>(b));
    exact.insert(exact.size() - 8, ".");
    try {
      const Currency expected = Currency::from_text(exact);
      EXPECT_EQ(units(a) * units(b), expected) << a << " * " << b;
      EXPECT_EQ(units(-a) * units(b), units(-expected.scaled())) << a << " * " << b;
      ++fitting;
    } catch (const Error&) {
      EXPECT_EQ(raised_by([&] { return units(a) * units(b); }), runtime(RuntimeError::overflow));
    }
  }
  EXPECT_GT(fitting, 1'000);
}

}  // namespace
}  // namespace kvwmi
