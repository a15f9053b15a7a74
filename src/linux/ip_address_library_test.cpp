#include "linux/ip_address_library.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "frame/ground.h"
#include "frame/testing/raises.h"

namespace kvwmi::ground {
namespace {

using testing::Raised;
using testing::raised_by;
namespace fs = std::filesystem;

/// A folder with a test library of the companion's name, beside this program.
fs::path companion_folder(const char* name) {
  return companion_folders().front() / "test_companions" / name;
}

const Raised kNotFound{53, "KVWMI", "File not found: libKVIPAddress.so"};

TEST(IpAddressLibrary, PassesTextsAndResults) {
  LinuxIpAddressLibrary library({companion_folder("whole")});
  // The test library answers with the lengths of its texts.
  EXPECT_EQ(library.iCheckIPAddress("four", "12"), 402);
  EXPECT_EQ(library.iCheckIPAddress("", ""), 0);
  EXPECT_EQ(library.iCheckNetworkInterfaces("seven77"), 7);
}

TEST(IpAddressLibrary, TheFirstFolderThatHasItServes) {
  LinuxIpAddressLibrary library({"/no such folder", companion_folder("whole")});
  EXPECT_EQ(library.iCheckNetworkInterfaces("x"), 1);
}

TEST(IpAddressLibrary, AMissingLibraryIs53) {
  LinuxIpAddressLibrary library({"/no such folder"});
  EXPECT_EQ(raised_by([&] { return library.iCheckIPAddress("file", ""); }), kNotFound);
}

TEST(IpAddressLibrary, AMissingEntryPointIs453) {
  LinuxIpAddressLibrary library({companion_folder("empty")});
  EXPECT_EQ(raised_by([&] { return library.iCheckIPAddress("file", ""); }),
            (Raised{453, "KVWMI", "Can't find DLL entry point iCheckIPAddress in libKVIPAddress.so"}));
  EXPECT_EQ(
      raised_by([&] { return library.iCheckNetworkInterfaces("file"); }),
      (Raised{453, "KVWMI", "Can't find DLL entry point iCheckNetworkInterfaces in libKVIPAddress.so"}));
}

TEST(IpAddressLibrary, IsLookedForAgainAfterAFailure) {
  std::string folder = fs::temp_directory_path() / ("companion-" + std::string(6, 'X'));
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  LinuxIpAddressLibrary library({folder});
  EXPECT_EQ(raised_by([&] { return library.iCheckNetworkInterfaces("abc"); }), kNotFound);
  fs::copy(companion_folder("whole") / "libKVIPAddress.so", folder);
  EXPECT_EQ(library.iCheckNetworkInterfaces("abc"), 3);
  fs::remove_all(folder);
}

TEST(IpAddressLibrary, AFileThatIsNoLibraryIsPassedOver) {
  std::string folder = fs::temp_directory_path() / ("companion-" + std::string(6, 'X'));
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  std::ofstream(fs::path(folder) / "libKVIPAddress.so") << "no library";
  EXPECT_EQ(LinuxIpAddressLibrary({folder, companion_folder("whole")}).iCheckNetworkInterfaces("abc"), 3);
  LinuxIpAddressLibrary alone({folder});
  EXPECT_EQ(raised_by([&] { return alone.iCheckNetworkInterfaces("abc"); }), kNotFound);
  fs::remove_all(folder);
}

TEST(IpAddressLibrary, TheCurrentDirectoryIsNeverSearched) {
  const fs::path before = fs::current_path();
  fs::current_path(companion_folder("whole"));
  LinuxIpAddressLibrary library({"/no such folder"});
  EXPECT_EQ(raised_by([&] { return library.iCheckNetworkInterfaces("file"); }), kNotFound);
  fs::current_path(before);
}

TEST(IpAddressLibrary, LooksBesideItsOwnModuleFirstAndThenWhereTheSystemKeepsItsLibraries) {
  const auto folders = companion_folders();
  ASSERT_EQ(folders.size(), 2U);
  EXPECT_EQ(folders[0], fs::canonical("/proc/self/exe").parent_path());
  EXPECT_TRUE(fs::exists(folders[1] / "libc.so.6"));
  for (const fs::path& folder : folders) EXPECT_TRUE(folder.is_absolute()) << folder;
}

TEST(IpAddressLibrary, TheRealOneIsFoundBesideTheComponent) {
  IpAddressLibrary& library = local_ground().ip_address_library();
  EXPECT_EQ(library.iCheckIPAddress("/no such definition", ""), 0);
  EXPECT_EQ(library.iCheckNetworkInterfaces("/no such folder/record"), 0);
}

}  // namespace
}  // namespace kvwmi::ground
