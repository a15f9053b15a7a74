#include "linux/file_system.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "frame/runtime_error.h"
#include "linux/drives.h"
#include "linux/existing_path.h"

namespace kvwmi::ground {
namespace {

struct FileSystemTest : ::testing::Test {
  std::filesystem::path root;
  Machine machine;
  LinuxFileSystem files{machine};

  FileSystemTest() {
    std::string name = (std::filesystem::temp_directory_path() / "kvwmi-files-XXXXXX").string();
    root = ::mkdtemp(name.data());
    machine.state = "/dev/null";  // tests keep nothing
  }
  ~FileSystemTest() override { std::filesystem::remove_all(root); }
  std::string windows_path(const std::string& native) { return machine.drives().table()->to_windows(native); }
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
  const std::string windows = windows_path(native);
  const std::vector<std::string> expected{windows + R"(\a)", windows + R"(\b)", windows + R"(\back%5Cslash)"};
  EXPECT_EQ(files.subfolders(windows), expected);
  EXPECT_EQ(files.subfolders(windows + '\\'), expected);
  std::filesystem::create_directory(root / R"(back\slash)" / "below");
  EXPECT_EQ(files.subfolders(native + R"(/back\slash)"),
            std::vector<std::string>{native + R"(/back\slash/below)"});
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
  for (const std::string& path :
       {(root / "state.def").string(), windows_path((root / "state.def").string())}) {
    touch("state.def");
    EXPECT_TRUE(files.delete_file(path)) << path;
    EXPECT_FALSE(std::filesystem::exists(root / "state.def")) << path;
    EXPECT_FALSE(files.delete_file(path)) << path;
  }
  EXPECT_FALSE(files.delete_file(root.string())) << "a folder is no file";
}

TEST_F(FileSystemTest, DeletesNoFileOfAnotherCase) {
  touch("state");
  EXPECT_FALSE(files.delete_file((root / "State").string()));
  EXPECT_FALSE(files.delete_file(windows_path((root / "State").string())));
  EXPECT_TRUE(std::filesystem::exists(root / "state"));
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
