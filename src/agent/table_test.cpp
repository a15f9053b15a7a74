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
}

}  // namespace
}  // namespace kvwmi::agent
