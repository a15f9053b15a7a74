#include "agent/console.h"

#include <gtest/gtest.h>

#include <sstream>

#include "agent/table.h"

namespace kvwmi::agent {
namespace {

/// The query's line and that of its caret, with the caret at this offset.
struct Shown {
  std::string line, caret;

  Shown(const std::string& query, std::size_t offset, std::size_t width) {
    std::istringstream lines(show_place({query, offset, ""}, width));
    std::getline(lines, line);
    std::getline(lines, caret);
  }
};

TEST(ShowPlaceTest, WhatOneSideLeavesIsTheOthers) {
  const std::string query = std::string(50, 'a') + "?" + std::string(50, 'b');
  EXPECT_EQ(Shown(query, 2, 40).line, "    " + std::string(33, 'a') + "...");
  EXPECT_EQ(Shown(query, 98, 40).line, "    ..." + std::string(33, 'b'));
}

// A wide character does not always end where the line has to.
TEST(ShowPlaceTest, LineAndCaretFitTheWidthWhereverThePlaceIs) {
  std::string wide;
  for (int i = 0; i < 40; ++i) wide += "語";
  for (const std::string& before : {std::string(80, 'a'), wide, "a" + wide}) {
    for (const std::string& after :
         {std::string(), std::string("?"), "?" + wide, "?" + std::string(80, 'b')}) {
      for (const std::size_t width : {40U, 41U, 80U}) {
        const Shown shown(before + after, before.size(), width);
        EXPECT_LE(display_width(shown.line), width) << shown.line;
        EXPECT_LE(shown.caret.size(), width) << shown.line;
        EXPECT_GE(display_width(shown.line), width - 2) << shown.line;
        EXPECT_TRUE(shown.line.starts_with("    ...")) << shown.line;
        EXPECT_EQ(shown.line.ends_with("..."), after.size() > 1) << shown.line;
        EXPECT_EQ(display_width(shown.line.substr(0, shown.line.find('?'))), shown.caret.size() - 1);
      }
    }
  }
}

}  // namespace
}  // namespace kvwmi::agent
