#include "frame/get_key_type.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "frame/testing/failing_allocation.h"

namespace kvwmi {
namespace {

struct Split {
  std::int32_t status;
  std::uint32_t root;
  std::string sub_key;
  friend bool operator==(const Split&, const Split&) = default;
};

constexpr std::uint32_t kUntouched = 7;

Split split(std::string_view path) {
  Split result{0, kUntouched, "before"};
  result.status = GetKeyType(path, result.root, result.sub_key);
  return result;
}

TEST(GetKeyType, RootWithoutBackslashHasNoSubKey) {
  EXPECT_EQ(split("HKEY_LOCAL_MACHINE"), (Split{0, 0x80000002, ""}));
}

TEST(GetKeyType, RootIsTakenInAnyCaseAndSubKeyKeepsItsLevels) {
  EXPECT_EQ(split(R"(hkey_users\S-1-5-18\Software)"), (Split{0, 0x80000003, R"(S-1-5-18\Software)"}));
}

TEST(GetKeyType, EveryRoot) {
  EXPECT_EQ(split("HKEY_CLASSES_ROOT").root, 0x80000000);
  EXPECT_EQ(split("HKEY_CURRENT_USER").root, 0x80000001);
  EXPECT_EQ(split("HKEY_CURRENT_CONFIG").root, 0x80000005);
}

TEST(GetKeyType, ShortFormIsUnknownAndLeavesTheRootAlone) {
  EXPECT_EQ(split(R"(HKLM\SOFTWARE)"), (Split{-8, kUntouched, "SOFTWARE"}));
}

TEST(GetKeyType, TrailingBackslashGivesAnEmptySubKey) {
  EXPECT_EQ(split(R"(HKEY_LOCAL_MACHINE\)"), (Split{0, 0x80000002, ""}));
}

// Exhausted memory is the one way in which it can fail. The component that it came from stands in its tag.
TEST(GetKeyType, KeepsItsOldTag) {
  constexpr std::int32_t kOutOfMemory = 7;
  std::uint32_t root = 0;
  std::string key;
  const auto sources = testing::sources_of_failures(
      kOutOfMemory,
      [&] {
        key = std::string();
        static_cast<void>(GetKeyType(R"(HKEY_USERS\a key with a name that is kept on the heap)", root, key));
      },
      [] {});
  EXPECT_EQ(sources, std::set<std::string>{"KVWMI\r\n\tScheduler: Current.GetKeyType"});
}

}  // namespace
}  // namespace kvwmi
