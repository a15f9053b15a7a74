#include "linux/file_system.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "frame/runtime_error.h"
#include "linux/drives.h"

namespace kvwmi::ground {
namespace {

const std::vector<Drive> kDrives{{'C', "/"}, {'D', "/mnt/data"}, {'E', "/mnt/data/deep"}};

TEST(PathMappingTest, DrivesStandForMountPoints) {
  EXPECT_EQ(to_native_path(R"(C:\)", kDrives), "/");
  EXPECT_EQ(to_native_path(R"(c:\etc\passwd)", kDrives), "/etc/passwd");
  EXPECT_EQ(to_native_path("C:/etc/passwd", kDrives), "/etc/passwd");
  EXPECT_EQ(to_native_path(R"(D:\x)", kDrives), "/mnt/data/x");
  EXPECT_EQ(to_native_path("D:", kDrives), "/mnt/data/");
  EXPECT_EQ(to_native_path(R"(Q:\x)", kDrives), std::nullopt);
  EXPECT_EQ(to_native_path("/etc/passwd", kDrives), "/etc/passwd");
  EXPECT_EQ(to_native_path(R"(\etc\passwd)", kDrives), "/etc/passwd");
}

TEST(PathMappingTest, TheLongestMountPointWins) {
  EXPECT_EQ(to_windows_path("/", kDrives), R"(C:\)");
  EXPECT_EQ(to_windows_path("/etc/passwd", kDrives), R"(C:\etc\passwd)");
  EXPECT_EQ(to_windows_path("/mnt/data", kDrives), R"(D:\)");
  EXPECT_EQ(to_windows_path("/mnt/database", kDrives), R"(C:\mnt\database)") << "not below /mnt/data";
  EXPECT_EQ(to_windows_path("/mnt/data/deep/x", kDrives), R"(E:\x)");
  EXPECT_EQ(to_windows_path("a/b", kDrives), R"(a\b)");
}

TEST(PathMappingTest, EveryLinuxPathComesBack) {
  for (const std::string& path : std::vector<std::string>{R"(/a\b)", "/a%b", "/a%5Cb", "/a%5cb", "/a%25b", "/a%255Cb", R"(/\%5C\)",
                                 "/100%", "/100%2", "/x:y", "/dot.", "/ blank "}) {
    EXPECT_EQ(to_native_path(to_windows_path(path, kDrives), kDrives), path);
  }
  EXPECT_EQ(to_windows_path(R"(/a\b)", kDrives), R"(C:\a%5Cb)");
  EXPECT_EQ(to_native_path(R"(c:\a%5cb)", kDrives), R"(/a\b)") << "clients may have folded the case";
}

struct FileSystemTest : ::testing::Test {
  std::filesystem::path root;
  LinuxFileSystem files;

  FileSystemTest() {
    std::string name = (std::filesystem::temp_directory_path() / "kvwmi-files-XXXXXX").string();
    root = ::mkdtemp(name.data());
  }
  ~FileSystemTest() override { std::filesystem::remove_all(root); }
  void touch(const std::string& name) const { std::ofstream(root / name) << "x"; }
};

TEST_F(FileSystemTest, SplitsPathsLikeTheFileSystemObject) {
  struct Case {
    std::string path, parent, name;
  };
  for (const Case& c : std::vector<Case>{{R"(C:\dir\a.txt)", R"(C:\dir)", "a.txt"},
                                         {R"(C:\a.txt)", R"(C:\)", "a.txt"},
                                         {R"(C:\dir\sub\)", R"(C:\dir)", "sub"},
                                         {R"(C:\)", "", ""},
                                         {"C:", "", ""},
                                         {"C:a", "C:", "a"},
                                         {"a", "", "a"},
                                         {R"(a\b)", "a", "b"},
                                         {"C:/dir/a", "C:/dir", "a"},
                                         {"/usr/bin/env", "/usr/bin", "env"},
                                         {"/usr", "/", "usr"},
                                         {"/", "", ""},
                                         {"", "", ""}}) {
    EXPECT_EQ(files.parent_folder_name(c.path), c.parent) << c.path;
    EXPECT_EQ(files.file_name(c.path), c.name) << c.path;
  }
}

TEST_F(FileSystemTest, ListsSubfoldersInTheFormItWasAskedIn) {
  for (const char* name : {"b", "a", R"(back\slash)"}) std::filesystem::create_directory(root / name);
  touch("file");
  std::filesystem::create_directory_symlink(root, root / "circle");
  const std::string native = root.string();
  EXPECT_EQ(files.subfolders(native),
            (std::vector<std::string>{native + "/a", native + "/b", native + R"(/back\slash)"}));
  const std::string windows = to_windows_path(native, kDrives);
  const std::vector<std::string> expected{windows + R"(\a)", windows + R"(\b)", windows + R"(\back%5Cslash)"};
  EXPECT_EQ(files.subfolders(windows), expected);
  EXPECT_EQ(files.subfolders(windows + '\\'), expected);
}

TEST_F(FileSystemTest, AMissingFolderRaises) {
  for (const std::string& path : {(root / "missing").string(), std::string(R"(Q:\)"), std::string()}) {
    try {
      static_cast<void>(files.subfolders(path));
      ADD_FAILURE() << path;
    } catch (const Error& error) {
      EXPECT_EQ(error.number(), 76);
      EXPECT_EQ(error.description(), "Path not found");
    }
  }
}

TEST_F(FileSystemTest, ExactCaseComesFirstThenAnyCase) {
  touch("Name");
  EXPECT_EQ(existing_path((root / "name").string()), (root / "Name").string());
  touch("name");
  EXPECT_EQ(existing_path((root / "name").string()), (root / "name").string());
  EXPECT_EQ(existing_path((root / "NAME").string()), (root / "Name").string());
  EXPECT_EQ(existing_path((root / "other").string()), std::nullopt);
}

TEST_F(FileSystemTest, DeletesAFileOnce) {
  touch("state.def");
  const std::string path = to_windows_path((root / "STATE.DEF").string(), kDrives);
  EXPECT_TRUE(files.delete_file(path));
  EXPECT_FALSE(std::filesystem::exists(root / "state.def"));
  EXPECT_FALSE(files.delete_file(path));
  EXPECT_FALSE(files.delete_file(root.string())) << "a folder is no file";
}

TEST_F(FileSystemTest, MatchesPathSpecifications) {
  struct Case {
    const char *name, *specification;
    bool matches;
  };
  for (const Case& c : std::vector<Case>{
           {"a.log", "*.log", true},
           {"A.LOG", "*.log", true},
           {"report.txt", "*.log", false},
           {"report.txt", "*.log;*.txt", true},
           {"report.txt", "*.log; r*", true},  // blanks in front of a specification are skipped
           {"ab", "a?", true},
           {"a", "a?", false},
           {"\xC3\xA4", "?", true},  // one letter, not two bytes
           {"M\xC3\x84RZ", "m\xC3\xA4rz", true},
           {"README", "*.*", true},  // the shell's way to say every name
           {"README", "*.", false},
           {"mississippi", "m*iss*ppi", true},
           {"mississippi", "m*iss*ppj", false},
           {"a=b.txt", "a=*", true},
           {"x", "", false},
           {"x", ";x", true},
           {"", "*", true},
           {"[a]", "[a]", true},
           {"a", "[a]", false},  // no sets here
       }) {
    EXPECT_EQ(files.matches(c.name, c.specification), c.matches) << c.name << " ~ " << c.specification;
  }
}

}  // namespace
}  // namespace kvwmi::ground
