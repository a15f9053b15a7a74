#include "windows/win32/code_page.h"

#include <gtest/gtest.h>

namespace kvwmi::ground {
namespace {

TEST(CodePage, TextComesBackWhereTheCodePageHasIt) {
  EXPECT_EQ(to_code_page("plain text"), "plain text");
  EXPECT_EQ(from_code_page("plain text"), "plain text");
  EXPECT_EQ(to_code_page(""), "");
  EXPECT_EQ(from_code_page(""), "");
}

TEST(CodePage, WhatItLacksIsSubstituted) {
  EXPECT_EQ(to_code_page("a\xE2\x98\x83z"), "a?z");
}

}  // namespace
}  // namespace kvwmi::ground
