#include "kvwmi/nearest.h"

#include <gtest/gtest.h>

namespace kvwmi {
namespace {

using Names = std::vector<std::string_view>;

const Names kNames{"process-exists", "process-memory", "service-exists", "free-memory", "memory"};

TEST(Nearest, OneLetterMissingChangedSwappedOrTooMany) {
  for (const char* wrong : {"proces-exists", "process-exista", "porcess-exists", "process-exxists"}) {
    EXPECT_EQ(nearest_names(wrong, kNames).front(), "process-exists") << wrong;
  }
}

TEST(Nearest, CaseDoesNotCount) {
  EXPECT_EQ(nearest_names("WIN32_PROCES", Names{"Win32_Service", "Win32_Process"}), (Names{"Win32_Process"}));
}

TEST(Nearest, NamesThatContainTheWordTheShortestFirst) {
  EXPECT_EQ(nearest_names("exists", kNames), (Names{"process-exists", "service-exists"}));
  EXPECT_EQ(nearest_names("Process", Names{"Win32_Process", "CIM_Service", "CIM_Processor", "CIM_Process"}),
            (Names{"CIM_Process", "Win32_Process", "CIM_Processor"}));
}

TEST(Nearest, NamesThatItAbbreviates) {
  EXPECT_EQ(nearest_names("Pid", Names{"Name", "ParentProcessId", "Path", "ProcessId"}),
            (Names{"ProcessId", "ParentProcessId"}));
  EXPECT_EQ(nearest_names("Win32_Disk", Names{"CIM_LogicalDisk", "Win32_LogicalDisk", "Win32_Process"}),
            (Names{"Win32_LogicalDisk"}));
}

TEST(Nearest, AMisspeltNameIsLikelierThanALongerOne) {
  EXPECT_EQ(nearest_names("Nme", Names{"CSName", "Name", "CommandLine"}), (Names{"Name"}));
}

TEST(Nearest, AtMostThree) {
  EXPECT_EQ(nearest_names("ab", Names{"abc", "abd", "abe", "abf"}), (Names{"abc", "abd", "abe"}));
}

TEST(Nearest, WhereNoneIsNearTheNearestOne) {
  EXPECT_EQ(nearest_names("xyz", kNames), (Names{"memory"}));
  EXPECT_EQ(nearest_names("", kNames), (Names{"memory"}));
}

TEST(Nearest, WhatIsTooLongForANameWasMeantForNone) {
  EXPECT_EQ(nearest_names(std::string(100, 'x'), kNames).size(), 1U);
  EXPECT_EQ(nearest_names(std::string(101, 'x'), kNames), Names());
}

TEST(Nearest, TheHintNamesThemAndIsEmptyWithoutNames) {
  EXPECT_EQ(nearest_hint("proces-exists", kNames), "; nearest: process-exists");
  EXPECT_EQ(nearest_hint("exists", std::vector<std::string>{"it-exists", "exists-it"}),
            "; nearest: it-exists, exists-it");
  EXPECT_EQ(nearest_hint("anything", Names()), "");
}

}  // namespace
}  // namespace kvwmi
