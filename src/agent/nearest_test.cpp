#include "agent/nearest.h"

#include <gtest/gtest.h>

namespace kvwmi::agent {
namespace {

using Names = std::vector<std::string>;

const Names kNames{"process-exists", "process-memory", "service-exists", "free-memory", "memory"};

TEST(Nearest, OneLetterMissingChangedSwappedOrTooMany) {
  for (const char* wrong : {"proces-exists", "process-exista", "porcess-exists", "process-exxists"}) {
    EXPECT_EQ(nearest_names(wrong, kNames).front(), "process-exists") << wrong;
  }
}

TEST(Nearest, CaseDoesNotCount) {
  EXPECT_EQ(nearest_names("WIN32_PROCES", {"Win32_Service", "Win32_Process"}), (Names{"Win32_Process"}));
}

TEST(Nearest, NamesThatContainTheWordTheLikeliestFirst) {
  EXPECT_EQ(nearest_names("memory", kNames), (Names{"memory", "free-memory", "process-memory"}));
}

TEST(Nearest, WhereNoneIsNearTheNearestOne) {
  EXPECT_EQ(nearest_names("xyz", kNames), (Names{"memory"}));
  EXPECT_EQ(nearest_names("", kNames), (Names{"memory"}));
}

TEST(Nearest, TheHintNamesThemAndIsEmptyWithoutNames) {
  EXPECT_EQ(nearest_hint("proces-exists", kNames), "; nearest: process-exists");
  EXPECT_EQ(nearest_hint("anything", {}), "");
}

}  // namespace
}  // namespace kvwmi::agent
