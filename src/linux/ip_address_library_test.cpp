#include "linux/ip_address_library.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "frame/ground.h"
#include "frame/testing/raises.h"
#include "linux/drives.h"
#include "linux/file_system.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using kvwmi::testing::Raised;
using kvwmi::testing::raised_by;
namespace fs = std::filesystem;

/// A folder with a test library of the companion's name, beside this program.
fs::path companion_folder(const char* name) {
  return companion_folders().front() / "test_companions" / name;
}

const Raised kNotFound{53, "KVWMI", "File not found: libKVIPAddress.so"};

TEST(IpAddressLibrary, PassesTextsAndResults) {
  LinuxIpAddressLibrary library(local_machine(), {companion_folder("whole")});
  // The test library answers with the lengths of its texts.
  EXPECT_EQ(library.iCheckIPAddress("four", "12"), 402);
  EXPECT_EQ(library.iCheckIPAddress("", ""), 0);
  EXPECT_EQ(library.iCheckNetworkInterfaces("seven77"), 7);
}

TEST(IpAddressLibrary, WhatItRecordsUnderAWindowsNameIsDeletedUnderThatName) {
  std::string folder = fs::temp_directory_path() / ("companion-" + std::string(6, 'X'));
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  Machine machine;
  machine.state = "/dev/null";  // tests keep nothing
  const std::string record = machine.drives().table()->to_windows(folder) + R"(\interfaces.rec)";
  EXPECT_EQ(LinuxIpAddressLibrary(machine).iCheckNetworkInterfaces(record), 0);
  EXPECT_TRUE(fs::exists(fs::path(folder) / "interfaces.rec"));
  EXPECT_FALSE(fs::exists(record)) << "in the current directory";
  EXPECT_TRUE(LinuxFileSystem(machine).delete_file(record));
  EXPECT_TRUE(fs::is_empty(folder));
  fs::remove_all(folder);
}

TEST(IpAddressLibrary, GetsNativeNames) {
  testing::RecordedMachine machine;
  LinuxIpAddressLibrary library(machine, {companion_folder("whole")});
  EXPECT_EQ(library.iCheckIPAddress(R"(c:\four)", "12"), 502);
  EXPECT_EQ(library.iCheckNetworkInterfaces(R"(C:\state\if.rec)"), 13);
  EXPECT_EQ(library.iCheckNetworkInterfaces(R"(/odd\name)"), 9) << "native names are whatever they are";
  EXPECT_EQ(library.iCheckIPAddress(R"(Q:\four)", "12"), 0) << "a drive that is not there";
  EXPECT_EQ(library.iCheckNetworkInterfaces(R"(Q:\four)"), 0);
}

TEST(IpAddressLibrary, TheFirstFolderThatHasItServes) {
  LinuxIpAddressLibrary library(local_machine(), {"/no such folder", companion_folder("whole")});
  EXPECT_EQ(library.iCheckNetworkInterfaces("x"), 1);
}

TEST(IpAddressLibrary, AMissingLibraryIs53) {
  LinuxIpAddressLibrary library(local_machine(), {"/no such folder"});
  EXPECT_EQ(raised_by([&] { return library.iCheckIPAddress("file", ""); }), kNotFound);
}

TEST(IpAddressLibrary, AMissingEntryPointIs453) {
  LinuxIpAddressLibrary library(local_machine(), {companion_folder("empty")});
  EXPECT_EQ(raised_by([&] { return library.iCheckIPAddress("file", ""); }),
            (Raised{453, "KVWMI", "Can't find DLL entry point iCheckIPAddress in libKVIPAddress.so"}));
  EXPECT_EQ(
      raised_by([&] { return library.iCheckNetworkInterfaces("file"); }),
      (Raised{453, "KVWMI", "Can't find DLL entry point iCheckNetworkInterfaces in libKVIPAddress.so"}));
}

TEST(IpAddressLibrary, IsLookedForAgainAfterAFailure) {
  std::string folder = fs::temp_directory_path() / ("companion-" + std::string(6, 'X'));
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  LinuxIpAddressLibrary library(local_machine(), {folder});
  EXPECT_EQ(raised_by([&] { return library.iCheckNetworkInterfaces("abc"); }), kNotFound);
  fs::copy(companion_folder("whole") / "libKVIPAddress.so", folder);
  EXPECT_EQ(library.iCheckNetworkInterfaces("abc"), 3);
  fs::remove_all(folder);
}

TEST(IpAddressLibrary, AFileThatIsNoLibraryIsPassedOver) {
  std::string folder = fs::temp_directory_path() / ("companion-" + std::string(6, 'X'));
  ASSERT_NE(::mkdtemp(folder.data()), nullptr);
  std::ofstream(fs::path(folder) / "libKVIPAddress.so") << "no library";
  EXPECT_EQ(LinuxIpAddressLibrary(local_machine(), {folder, companion_folder("whole")})
                .iCheckNetworkInterfaces("abc"),
            3);
  LinuxIpAddressLibrary alone(local_machine(), {folder});
  EXPECT_EQ(raised_by([&] { return alone.iCheckNetworkInterfaces("abc"); }), kNotFound);
  fs::remove_all(folder);
}

TEST(IpAddressLibrary, TheCurrentDirectoryIsNeverSearched) {
  const fs::path before = fs::current_path();
  fs::current_path(companion_folder("whole"));
  LinuxIpAddressLibrary library(local_machine(), {"/no such folder"});
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
