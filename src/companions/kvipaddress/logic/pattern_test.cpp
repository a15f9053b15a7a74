#include "companions/kvipaddress/logic/pattern.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kvipaddress {
namespace {

struct Match {
  const char* pattern;
  const char* text;
  bool result;
};

TEST(Pattern, Matches) {
  const std::vector<Match> cases{
      {"", "", true},           {"", "a", false},           {"*", "", true},
      {"*", "anything", true},  {"?", "", false},           {"?", "a", true},
      {"?", "ab", false},       {"eth0", "eth0", true},     {"eth0", "ETH0", true},
      {"eth0", "eth01", false}, {"eth*", "eth", true},      {"eth*", "ethernet 2", true},
      {"*0", "eth0", true},     {"*0", "eth01", false},     {"e*h*0", "eth10", true},
      {"e*h*0", "eh1", false},  {"10.*", "10.1.2.3", true}, {"10.?", "10.12", false},
      {"**a**", "bab", true},   {"*?", "", false},          {"[ab]", "a", false},
      {"?", "ä", true},         {"??", "ä", false},         {"WLAN-?", "wlan-ü", true},
      {"a*b", "aXbXb", true},   {"*aab", "aaab", true},
  };
  for (const Match& row : cases) {
    EXPECT_EQ(matches(row.pattern, row.text), row.result) << row.pattern << " ~ " << row.text;
  }
}

TEST(Pattern, BytesThatAreNoUtf8StandForThemselves) {
  EXPECT_TRUE(matches("a?\xBD", "a?\xBD"));
  EXPECT_TRUE(matches("??", "\xBD\xBD"));
}

TEST(Pattern, ManyStarsStayFast) {
  std::string pattern;
  for (int i = 0; i < 100; ++i) pattern += "a*";
  EXPECT_FALSE(matches(pattern + "b", std::string(10'000, 'a')));
}

TEST(Filter, EmptyTextsPickNothingAndAreEmpty) {
  for (const char* text : {"", " ", ";", " ; ;\t"}) {
    const auto filter = Filter::parse(text);
    ASSERT_TRUE(filter) << text;
    EXPECT_TRUE(filter->empty()) << text;
    EXPECT_FALSE(filter->picks("eth0")) << text;
  }
}

TEST(Filter, PicksWhatAnyPatternMatches) {
  const auto filter = Filter::parse(" eth* ;10.0.0.?; Local Area Connection ");
  ASSERT_TRUE(filter);
  EXPECT_FALSE(filter->empty());
  EXPECT_TRUE(filter->picks("eth7"));
  EXPECT_TRUE(filter->picks("10.0.0.9"));
  EXPECT_TRUE(filter->picks("local area connection"));
  EXPECT_FALSE(filter->picks("wlan0"));
}

TEST(Filter, HasLimits) {
  EXPECT_TRUE(Filter::parse(std::string(Filter::kMaxLength, 'a')));
  EXPECT_FALSE(Filter::parse(std::string(Filter::kMaxLength + 1, 'a')));
  std::string patterns;
  for (std::size_t i = 0; i < Filter::kMaxPatterns; ++i) patterns += "a;";
  EXPECT_TRUE(Filter::parse(patterns));
  EXPECT_FALSE(Filter::parse(patterns + "a"));
}

}  // namespace
}  // namespace kvipaddress
