#include "linux/parsers/unit_file.h"

#include <gtest/gtest.h>

namespace kvwmi::ground::parsers {
namespace {

TEST(UnitFile, LastAssignmentInTheSectionCounts) {
  constexpr std::string_view kText =
      "# Description=comment\nDescription=none\n[Unit]\nDescription = First "
      "\n;Description=x\nDescription=Second one\n"
      "[Service]\nDescription=other\nExecStart=/bin/a=b\n";
  EXPECT_EQ(unit_setting(kText, "Unit", "Description"), "Second one");
  EXPECT_EQ(unit_setting(kText, "Service", "ExecStart"), "/bin/a=b");
  EXPECT_EQ(unit_setting(kText, "Install", "Description"), "");
  EXPECT_EQ(unit_setting("[Unit]\nDescription=a\nDescription=\n", "Unit", "Description"), "");
}

TEST(UnitFile, LinesAreContinuedOverComments) {
  EXPECT_EQ(
      unit_setting("[Unit]\nDescription=one\\\n# not this\n two\\\n  three\nX=1\n", "Unit", "Description"),
      "one two three");
  EXPECT_EQ(unit_setting("[Unit]\nDescription=end\\", "Unit", "Description"), "end\\");
}

TEST(UnitFile, SpecifiersOfTheNameAreFilledIn) {
  EXPECT_EQ(with_unit_name("A %n, %N, %p, %i 100%%", "get-ty@tty1.service"),
            "A get-ty@tty1.service, get-ty@tty1, get-ty, tty1 100%");
  EXPECT_EQ(with_unit_name("%p %H %", "ssh.service"), "ssh %H %");
}

}  // namespace
}  // namespace kvwmi::ground::parsers
