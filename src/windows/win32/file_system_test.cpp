#include "windows/win32/file_system.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <oleauto.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "kvwmi/error.h"
#include "windows/text/bstr.h"
#include "windows/text/unicode.h"
#include "windows/win32/com_ptr.h"

namespace kvwmi::ground {
namespace {

/// The scripting run-time's own object, asked late bound.
class FileSystemObject {
 public:
  FileSystemObject() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CLSID class_id{};
    if (SUCCEEDED(CLSIDFromProgID(L"Scripting.FileSystemObject", &class_id))) {
      void* object = nullptr;
      CoCreateInstance(class_id, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IDispatch), &object);
      object_ = ComPtr<IDispatch>::own(static_cast<IDispatch*>(object));
    }
  }

  [[nodiscard]] bool exists() const { return static_cast<bool>(object_); }
  [[nodiscard]] std::string call(const wchar_t* method, std::string_view path) const {
    auto* name = const_cast<LPOLESTR>(method);
    DISPID id = 0;
    EXPECT_EQ(object_->GetIDsOfNames(GUID{}, &name, 1, LOCALE_NEUTRAL, &id), S_OK);
    const windows::Bstr argument(path);
    VARIANT value;
    value.vt = VT_BSTR;
    value.bstrVal = argument.get();
    DISPPARAMS arguments{&value, nullptr, 1, 0};
    VARIANT result;
    VariantInit(&result);
    EXPECT_EQ(
        object_->Invoke(id, GUID{}, LOCALE_NEUTRAL, DISPATCH_METHOD, &arguments, &result, nullptr, nullptr),
        S_OK);
    std::string text = windows::from_bstr(result.bstrVal);
    VariantClear(&result);
    return text;
  }

 private:
  ComPtr<IDispatch> object_;
};

/// A folder of this test's own, gone afterwards.
struct FileSystemTest : testing::Test {
  FileSystemTest() {
    root = std::filesystem::temp_directory_path() / ("kvwmi-" + std::to_string(GetCurrentProcessId()));
    std::filesystem::create_directories(root);
  }
  ~FileSystemTest() override {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }
  [[nodiscard]] std::string path(const wchar_t* name) const {
    return windows::to_utf8((root / name).wstring());
  }

  std::filesystem::path root;
  Win32FileSystem files;
};

struct SplitCase {
  const char* path;
  const char* parent;
  const char* name;
};
constexpr std::array kSplits{
    SplitCase{R"(C:\logs\*.txt)", R"(C:\logs)", "*.txt"},
    SplitCase{R"(C:\a\b\)", R"(C:\a)", "b"},
    SplitCase{R"(C:\a)", R"(C:\)", "a"},
    SplitCase{R"(a\b)", "a", "b"},
    SplitCase{"C:/a/b", "C:/a", "b"},
    SplitCase{"a", "", "a"},
    SplitCase{"", "", ""},
};

TEST_F(FileSystemTest, SplitsAPath) {
  for (const SplitCase& split : kSplits) {
    EXPECT_EQ(files.parent_folder_name(split.path), split.parent) << split.path;
    EXPECT_EQ(files.file_name(split.path), split.name) << split.path;
  }
  // A drive alone has neither parent nor name.
  EXPECT_EQ(files.parent_folder_name(R"(C:\)"), "");
  EXPECT_EQ(files.file_name(R"(C:\)"), "");
  EXPECT_EQ(files.file_name("C:"), "");
}

TEST_F(FileSystemTest, SplitsAsTheScriptingRunTimeDoes) {
  const FileSystemObject counterpart;
  if (!counterpart.exists()) GTEST_SKIP() << "this system has no scripting run-time";
  for (const SplitCase& split : kSplits) {
    EXPECT_EQ(files.parent_folder_name(split.path), counterpart.call(L"GetParentFolderName", split.path))
        << split.path;
    EXPECT_EQ(files.file_name(split.path), counterpart.call(L"GetFileName", split.path)) << split.path;
  }
}

TEST_F(FileSystemTest, ListsDirectSubfoldersByFullPath) {
  std::filesystem::create_directories(root / L"b" / L"deeper");
  std::filesystem::create_directories(root / L"a");
  std::ofstream(root / L"file.txt") << "x";
  auto found = files.subfolders(windows::to_utf8(root.wstring()));
  std::sort(found.begin(), found.end());
  EXPECT_EQ(found, (std::vector{path(L"a"), path(L"b")}));
}

TEST_F(FileSystemTest, RepeatedSeparatorsCountAsOne) {
  std::filesystem::create_directories(root / L"a");
  std::string repeated;
  for (const char c : windows::to_utf8(root.wstring())) repeated += c == '\\' ? R"(\\\\)" : std::string(1, c);
  EXPECT_EQ(files.subfolders(repeated), std::vector{path(L"a")});
}

TEST_F(FileSystemTest, NamesBeyondTheCodePageAreKept) {
  std::error_code unable;
  std::filesystem::create_directories(root / L"\x2603", unable);
  if (unable) GTEST_SKIP() << "the file system here cannot hold such a name";
  EXPECT_EQ(files.subfolders(windows::to_utf8(root.wstring())), std::vector{path(L"\x2603")});
}

TEST_F(FileSystemTest, AFolderWithoutSubfoldersHasNone) {
  EXPECT_TRUE(files.subfolders(windows::to_utf8(root.wstring())).empty());
}

TEST_F(FileSystemTest, AMissingFolderRaises) {
  std::ofstream(root / L"file.txt") << "x";
  // The empty name is not that of the drive's root, nor is one that Windows takes for empty.
  for (const std::string& name :
       {path(L"missing"), path(L"file.txt"), std::string(), std::string("\0x", 2)}) {
    try {
      static_cast<void>(files.subfolders(name));
      ADD_FAILURE() << "listed something that is no folder";
    } catch (const Error& error) {
      EXPECT_EQ(error.number(), 76);
      EXPECT_EQ(error.description(), "Path not found");
    }
  }
}

TEST_F(FileSystemTest, DeletesAFileAndTellsWhetherItWasThere) {
  std::ofstream(root / L"file.txt") << "x";
  EXPECT_TRUE(files.delete_file(path(L"file.txt")));
  EXPECT_FALSE(std::filesystem::exists(root / L"file.txt"));
  EXPECT_FALSE(files.delete_file(path(L"file.txt")));
}

TEST_F(FileSystemTest, MatchesLikeTheShell) {
  EXPECT_TRUE(files.matches("a.log", "*.log"));
  EXPECT_TRUE(files.matches("A.LOG", "*.log"));
  EXPECT_TRUE(files.matches("a.log", "*.txt;*.log"));
  EXPECT_TRUE(files.matches("a.log", "?.log"));
  EXPECT_FALSE(files.matches("ab.log", "?.log"));
  EXPECT_FALSE(files.matches("report.txt", "*.log"));
}

}  // namespace
}  // namespace kvwmi::ground
