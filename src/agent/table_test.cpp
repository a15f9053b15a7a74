#include "agent/table.h"

#include <gtest/gtest.h>

namespace kvwmi::agent {
namespace {

using Lines = std::vector<std::string>;

TEST(Table, AlignsColumnsAndLeavesNoBlanksAtTheEnd) {
  Table table({{"NAME"}, {"SIZE", Table::Align::right}, {"NOTE"}});
  table.add({"a", "7", ""});
  table.add({"longer", "12345", "x"});
  EXPECT_EQ(table.lines(80), (Lines{"NAME     SIZE  NOTE", "a           7", "longer  12345  x"}));
  EXPECT_EQ(table.width(), 19U);
}

TEST(Table, CountsCharactersAndNotBytes) {
  Table table({{"N"}, {"V"}});
  table.add({"\xC3\xA4\xC3\xA4", "1"});
  table.add({"bb", "2"});
  EXPECT_EQ(table.lines(80), (Lines{"N   V", "\xC3\xA4\xC3\xA4  1", "bb  2"}));
}

TEST(Table, WideCharactersTakeTwoColumnsAndCombiningMarksNone) {
  Table table({{"N"}, {"V"}});
  table.add({"日本語", "1"});
  table.add({"e\u0301", "2"});
  table.add({"\U0001F600!", "3"});
  EXPECT_EQ(table.lines(80), (Lines{"N       V", "日本語  1", "e\u0301       2", "\U0001F600!     3"}));
}

TEST(Table, AWideCharacterIsNotCutByTheEndOfTheLine) {
  Table table({{"K"}, {"TEXT"}});
  table.add({"a", "x日日日日日日日日日日本本"});
  EXPECT_EQ(table.lines(23), (Lines{"K  TEXT", "a  x日日日日日日日日日", "   日本本"}));
}

TEST(DisplayWidth, CountsColumns) {
  EXPECT_EQ(display_width(""), 0U);
  EXPECT_EQ(display_width("日本語"), 6U);
  EXPECT_EQ(display_width("ｗ"), 2U) << "full width";
  EXPECT_EQ(display_width("ｱ"), 1U) << "half width";
  EXPECT_EQ(display_width("각"), 2U);
  EXPECT_EQ(display_width("\u1100\u1161\u11A8"), 2U) << "one syllable in three parts";
  EXPECT_EQ(display_width("\u200B\u0301"), 0U);
  EXPECT_EQ(display_width("\U00020000\U0002FFFD"), 4U);
  EXPECT_EQ(display_width("äß€\u00AD"), 4U);
}

TEST(Table, WrapsTheLastColumnAtBlanks) {
  Table table({{"K"}, {"TEXT"}});
  table.add({"a", "one two three four five six seven"});
  EXPECT_EQ(table.lines(24), (Lines{"K  TEXT", "a  one two three four", "   five six seven"}));
}

TEST(Table, BreaksAWordThatFitsNoLine) {
  Table table({{"K"}, {"TEXT"}});
  table.add({"a", std::string(30, 'x')});
  EXPECT_EQ(table.lines(1), (Lines{"K  TEXT", "a  " + std::string(20, 'x'), "   " + std::string(10, 'x')}));
}

TEST(Table, WithoutRowsIsItsHeadings) {
  EXPECT_EQ(Table({{"A"}, {"B"}}).lines(80), (Lines{"A  B"}));
}

TEST(Printable, ShowsControlCharacters) {
  EXPECT_EQ(printable("a\tb\r\nc\x1b[0m"), "a b\\r\\nc\\x1B[0m");
  EXPECT_EQ(printable("plain \xC3\xA4"), "plain \xC3\xA4");
  EXPECT_EQ(printable("\x7F\u0080\u009B31m\u009F\u00A0"), "\\x7F\\xC2\\x80\\xC2\\x9B31m\\xC2\\x9F\u00A0");
  EXPECT_EQ(printable(std::string_view("a\0b", 3)), "a\\x00b");
}

TEST(Printable, ShowsBytesThatAreNoUtf8) {
  EXPECT_EQ(printable("a\xFFz\x9B"), "a\\xFFz\\x9B");
  EXPECT_EQ(printable("\xC3("), "\\xC3(") << "a character that breaks off";
  EXPECT_EQ(printable("\xE2\x82"), "\\xE2\\x82") << "the text's end within a character";
  EXPECT_EQ(printable("\xC0\x9B"), "\\xC0\\x9B") << "longer than needed";
  EXPECT_EQ(printable("\xE0\x82\x9B"), "\\xE0\\x82\\x9B");
  EXPECT_EQ(printable("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "half of a pair";
  EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond the last character";
  EXPECT_EQ(printable("日本語 \U0010FFFD"), "日本語 \U0010FFFD");
}

}  // namespace
}  // namespace kvwmi::agent
