#include "windows/win32/ip_address_library.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "kvwmi/error.h"

namespace kvwmi::ground {
namespace {

/// A folder with a test library of the companion's name, beside this program.
std::wstring companion_folder(const wchar_t* name) {
  return companion_folders().front() + L"test_companions\\" + name + L"\\";
}

template <typename Call>
std::optional<Error> error_of(Call call) {
  try {
    static_cast<void>(call());
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

TEST(IpAddressLibrary, PassesTextsAndResults) {
  Win32IpAddressLibrary library({companion_folder(L"whole")});
  // The test library answers with the lengths of its texts.
  EXPECT_EQ(library.iCheckIPAddress("four", "12"), 402);
  EXPECT_EQ(library.iCheckIPAddress("", ""), 0);
  EXPECT_EQ(library.iCheckNetworkInterfaces("seven77"), 7);
}

TEST(IpAddressLibrary, TheFirstFolderThatHasItServes) {
  Win32IpAddressLibrary library({L"C:\\no such folder\\", companion_folder(L"whole")});
  EXPECT_EQ(library.iCheckNetworkInterfaces("x"), 1);
}

TEST(IpAddressLibrary, AMissingLibraryIs53) {
  Win32IpAddressLibrary library({L"C:\\no such folder\\"});
  const auto error = error_of([&] { return library.iCheckIPAddress("file", ""); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->number(), 53);
  EXPECT_EQ(error->description(), "File not found: KVIPAddress.dll");
}

TEST(IpAddressLibrary, AMissingEntryPointIs453) {
  Win32IpAddressLibrary library({companion_folder(L"empty")});
  const auto error = error_of([&] { return library.iCheckNetworkInterfaces("file"); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->number(), 453);
  EXPECT_EQ(error->description(), "Can't find DLL entry point iCheckNetworkInterfaces in KVIPAddress.dll");
}

TEST(IpAddressLibrary, TheCurrentDirectoryIsNeverSearched) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(companion_folder(L"whole"));
  Win32IpAddressLibrary library({L"C:\\no such folder\\"});
  const auto error = error_of([&] { return library.iCheckNetworkInterfaces("file"); });
  std::filesystem::current_path(before);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->number(), 53);
}

TEST(IpAddressLibrary, LooksBesideItsOwnModuleFirstAndThenInTheSystemFolder) {
  const auto folders = companion_folders();
  ASSERT_EQ(folders.size(), 2U);
  EXPECT_TRUE(std::filesystem::exists(folders[0] + L"windows_test.exe"));
  EXPECT_TRUE(std::filesystem::exists(folders[1] + L"kernel32.dll"));
}

}  // namespace
}  // namespace kvwmi::ground
