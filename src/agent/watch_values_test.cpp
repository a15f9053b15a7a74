#include "agent/watch_values.h"

#include <gtest/gtest.h>

#include "agent/usage_error.h"

namespace kvwmi::agent {
namespace {

using namespace std::chrono_literals;

template <typename Parse>
std::string refusal(Parse parse, const std::string& text) {
  try {
    (void)parse(text);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(WatchValuesTest, Sizes) {
  EXPECT_EQ(parse_size("512"), (Size{Currency::from_integer(512), 0}));
  EXPECT_EQ(parse_size("512B"), (Size{Currency::from_integer(512), 0}));
  EXPECT_EQ(parse_size("100kb"), (Size{Currency::from_integer(100), 1}));
  EXPECT_EQ(parse_size("1.5 MB"), (Size{Currency::from_text("1.5"), 2}));
  EXPECT_EQ(parse_size("10GB"), (Size{Currency::from_integer(10), 3}));
  EXPECT_EQ(parse_size("80%"), (Size{Currency::from_integer(80), 4}));
  EXPECT_EQ(parse_size("-1"), (Size{Currency::from_integer(-1), 0}));
}

TEST(WatchValuesTest, WhatIsNoSize) {
  for (const char* text : {"", "GB", "10 G B", "10TB", "ten", "1.2.3", "10GB ", "0x10", "%"}) {
    EXPECT_EQ(refusal(parse_size, text),
              "\"" + std::string(text) + "\" is not a size such as 512, 100KB, 1.5MB, 10GB or 20%");
  }
}

TEST(WatchValuesTest, Percentages) {
  EXPECT_EQ(parse_percentage("80%"), 80);
  EXPECT_EQ(parse_percentage("80"), 80);
  EXPECT_EQ(parse_percentage("0 %"), 0);
  EXPECT_EQ(parse_percentage("-1"), -1);
  for (const char* text : {"", "80GB", "80.5%", "%", "99999999999"}) {
    EXPECT_EQ(refusal(parse_percentage, text),
              "\"" + std::string(text) + "\" is not a percentage such as 80%");
  }
}

TEST(WatchValuesTest, Durations) {
  EXPECT_EQ(parse_duration("30"), 30s);
  EXPECT_EQ(parse_duration("30s"), 30s);
  EXPECT_EQ(parse_duration("0.5s"), 500ms);
  EXPECT_EQ(parse_duration("0.0004s"), 0ms);
  EXPECT_EQ(parse_duration("0.0005s"), 1ms);
  EXPECT_EQ(parse_duration("500ms"), 500ms);
  EXPECT_EQ(parse_duration("2min"), 2min);
  EXPECT_EQ(parse_duration("1h"), 1h);
  EXPECT_EQ(parse_duration("900000000000h"), 366 * 24h) << "a year is for ever";
  for (const char* text : {"", "s", "-1s", "5 days", "1m"}) {
    EXPECT_EQ(refusal(parse_duration, text),
              "\"" + std::string(text) + "\" is not a duration such as 500ms, 30s, 2min or 1h");
  }
}

TEST(WatchValuesTest, WholeSeconds) {
  EXPECT_EQ(parse_seconds("5"), 5);
  EXPECT_EQ(parse_seconds("2min"), 120);
  EXPECT_EQ(parse_seconds("-1"), -1) << "the component's and WMI's to refuse";
  EXPECT_EQ(parse_seconds("1.1min"), 66);
  EXPECT_EQ(parse_seconds("9000h"), 32'400'000) << "more than a year";
  EXPECT_EQ(parse_seconds("2147483647000ms"), 2'147'483'647);
  for (const char* text : {"500ms", "0.4ms", "0.5s"}) {
    EXPECT_EQ(refusal(parse_seconds, text), "\"" + std::string(text) + "\" is not a number of whole seconds");
  }
  for (const char* text : {"2147483648", "99999999999", "600000h", "900000000000h"}) {
    EXPECT_EQ(refusal(parse_seconds, text),
              "\"" + std::string(text) + "\" is not at most 2147483647 seconds");
  }
}

TEST(WatchValuesTest, CountsAndFlags) {
  EXPECT_EQ(parse_count("3"), 3);
  EXPECT_EQ(refusal(parse_count, "3.0"), "\"3.0\" is not a whole number");
  EXPECT_TRUE(parse_flag("true"));
  EXPECT_FALSE(parse_flag("false"));
  EXPECT_EQ(refusal(parse_flag, "yes"), "\"yes\" is not true or false");
}

}  // namespace
}  // namespace kvwmi::agent
