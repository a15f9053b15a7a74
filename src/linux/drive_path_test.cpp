#include "linux/drive_path.h"

#include <gtest/gtest.h>

namespace kvwmi::ground {
namespace {

TEST(DrivePath, TurnsSlashesBothWays) {
  EXPECT_EQ(to_backslashes("/usr/bin/ls"), R"(\usr\bin\ls)");
  EXPECT_EQ(to_slashes(R"(\usr\bin\ls)"), "/usr/bin/ls");
  EXPECT_EQ(to_slashes("/usr/bin\\ls"), "/usr/bin/ls") << "both slashes separate";
  EXPECT_EQ(to_backslashes("/"), "\\");
  EXPECT_EQ(to_backslashes(""), "");
}

TEST(DrivePath, AnyNameComesBackExactly) {
  for (const std::string_view path : {"/a\\b", "/dir./file.", "/end ", "/./../x", "/100%", "/%5C", "/%zz",
                                      "/a%2", "/...", "/%25", "/ ", "/k\xC3\xBC"}) {
    EXPECT_EQ(to_slashes(to_backslashes(path)), path);
  }
  EXPECT_EQ(to_backslashes("/a\\b"), R"(\a%5Cb)");
  EXPECT_EQ(to_backslashes("/file."), R"(\file%2E)");
  EXPECT_EQ(to_backslashes("/.."), R"(\..)");
  EXPECT_EQ(to_backslashes("/100%"), R"(\100%)");
}

}  // namespace
}  // namespace kvwmi::ground
