#include "linux/parsers/unit_file.h"

#include <gtest/gtest.h>

namespace kvwmi::ground::parsers {
namespace {

using Texts = std::vector<std::string>;
using Text = std::optional<std::string>;

Text filled(std::string_view text, std::string_view unit) {
  return with_specifiers(text, unit, [](char letter) { return letter == 'H' ? Text("box") : std::nullopt; });
}

TEST(UnitFile, AssignmentsOfTheSectionInTheirOrder) {
  constexpr std::string_view kText =
      "# Description=comment\nDescription=none\n[Unit]\nDescription = First "
      "\n;Description=x\nDescription=Second one\n"
      "[Service]\nDescription=other\nExecStart=/bin/a=b\n";
  EXPECT_EQ(unit_settings(kText, "Unit", "Description"), (Texts{"First", "Second one"}));
  EXPECT_EQ(unit_settings(kText, "Service", "ExecStart"), Texts{"/bin/a=b"});
  EXPECT_EQ(unit_settings(kText, "Install", "Description"), Texts{});
  EXPECT_EQ(unit_settings("[Unit]\nDescription=a\nDescription=\n", "Unit", "Description"), (Texts{"a", ""}));
}

TEST(UnitFile, LinesAreContinuedOverComments) {
  EXPECT_EQ(
      unit_settings("[Unit]\nDescription=one\\\n# not this\n two\\\n  three\nX=1\n", "Unit", "Description"),
      Texts{"one two three"});
  EXPECT_EQ(unit_settings("[Unit]\nDescription=end\\", "Unit", "Description"), Texts{"end\\"});
}

TEST(UnitFile, SpecifiersOfTheNameAreFilledIn) {
  EXPECT_EQ(filled("A %n, %N, %p, %i 100%%", "get-ty@tty1.service"),
            "A get-ty@tty1.service, get-ty@tty1, get-ty, tty1 100%");
  constexpr std::string_view kUnit = "a-two\\x2dthree@in-st\\x20x.service";
  EXPECT_EQ(filled("%P|%j|%J|%I|%f", kUnit), "a/two-three|two\\x2dthree|two-three|in/st x|/in/st x");
  EXPECT_EQ(filled("[%i][%I][%j][%P][%f]", "ssh.service"), "[][][ssh][ssh][/ssh]") << "no instance";
  EXPECT_EQ(filled("%f %I", "root@-.service"), "/ /");
  EXPECT_EQ(filled("[%I]", "cut@a\\x00b.service"), "[a]");
  EXPECT_EQ(filled("%d", "ssh.service"), "/run/credentials/ssh.service");
}

TEST(UnitFile, SpecifiersOfTheMachineComeFromTheCaller) {
  EXPECT_EQ(filled("%p on %H", "ssh.service"), "ssh on box");
}

TEST(UnitFile, WhatIsNoSpecifierStays) {
  EXPECT_EQ(filled("50% of 50%- %", "ssh.service"), "50% of 50%- %");
}

TEST(UnitFile, ATextWithASpecifierWithoutValueIsNone) {
  EXPECT_EQ(filled("%Z", "ssh.service"), std::nullopt);
  EXPECT_EQ(filled("50%5", "ssh.service"), std::nullopt);
  for (const char* unit : {"a@b\\q.service", "a@b\\x2.service", "a@\\.service", "a@\\xZZ.service"}) {
    EXPECT_EQ(filled("%I", unit), std::nullopt) << unit;
  }
  for (const char* unit : {"dd-.service", "a@-b.service", "a@b-.service", "a@b--c.service", "a@b-.-c.service",
                           "a@..-c.service"}) {
    EXPECT_EQ(filled("%f", unit), std::nullopt) << unit;
  }
}

TEST(UnitFile, FoldersOfFurtherFilesTheNearestFirst) {
  EXPECT_EQ(drop_in_folders("ssh.service"), (Texts{"ssh.service.d", "service.d"}));
  EXPECT_EQ(drop_in_folders("a-b-c.service"),
            (Texts{"a-b-c.service.d", "a-b-.service.d", "a-.service.d", "service.d"}));
  EXPECT_EQ(drop_in_folders("a-b@c-d.service"),
            (Texts{"a-b@c-d.service.d", "a-b@.service.d", "a-@.service.d", "a-@c-d.service.d", "service.d"}));
  EXPECT_EQ(drop_in_folders("-a.service"), (Texts{"-a.service.d", "service.d"}));
  EXPECT_EQ(drop_in_folders("a--b.service"),
            (Texts{"a--b.service.d", "a--.service.d", "a-.service.d", "service.d"}));
  EXPECT_EQ(drop_in_folders("a-.service"), (Texts{"a-.service.d", "service.d"}));
}

}  // namespace
}  // namespace kvwmi::ground::parsers
