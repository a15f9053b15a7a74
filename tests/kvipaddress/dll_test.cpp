// KVIPAddress.dll through its exports, on this machine's own interfaces and addresses.

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "companions/kvipaddress/logic/interface_record.h"

namespace {

namespace fs = std::filesystem;
using kvipaddress::ActiveInterfaces;

using CheckAddress = std::int32_t(__stdcall*)(const char*, const char*);
using CheckInterfaces = std::int32_t(__stdcall*)(const char*);

template <typename Function>
Function entry(const char* name) {
  static const HMODULE library = LoadLibraryW(L"KVIPAddress.dll");
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

class KvIpAddressDll : public ::testing::Test {
 protected:
  CheckAddress check_address = entry<CheckAddress>("iCheckIPAddress");
  CheckInterfaces check_interfaces = entry<CheckInterfaces>("iCheckNetworkInterfaces");
  fs::path folder = fs::temp_directory_path() / ("kvipaddress-" + std::to_string(GetCurrentProcessId()));
  /// With a letter of the 8-bit code page in it.
  fs::path path = folder / L"d\u00E9finition";
  std::string file;

  void SetUp() override {
    ASSERT_NE(check_address, nullptr);
    ASSERT_NE(check_interfaces, nullptr);
    fs::remove_all(folder);
    fs::create_directory(folder);
    std::string name(1'000, '\0');
    const int length = WideCharToMultiByte(CP_ACP, 0, path.c_str(), -1, name.data(),
                                           static_cast<int>(name.size()), nullptr, nullptr);
    ASSERT_GT(length, 1);
    file = name.substr(0, static_cast<std::size_t>(length) - 1);
  }
  void TearDown() override { fs::remove_all(folder); }

  void write(const std::string& text) const {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
  }
  [[nodiscard]] std::string content() const {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  [[nodiscard]] std::int32_t address(const char* filter = "") const {
    return check_address(file.c_str(), filter);
  }
  [[nodiscard]] std::int32_t interfaces() const { return check_interfaces(file.c_str()); }
};

TEST_F(KvIpAddressDll, AMachineWithinItsDefinitionReportsNothing) {
  write("KVIPAddress definition 1\r\n* 0.0.0.0/0\r\n* ::/0\r\n");
  EXPECT_EQ(address("*"), 0);
}

TEST_F(KvIpAddressDll, AnAddressThatTheDefinitionDoesNotKnowIsAModification) {
  write("KVIPAddress definition 1\r\n");
  EXPECT_EQ(address("*"), 1);  // loopback at least
  EXPECT_EQ(address("*"), 0);
}

TEST_F(KvIpAddressDll, AnAddressThatTheMachineLacksIsAnAbsence) {
  write("KVIPAddress definition 1\r\n\"No Such Connection\" 203.0.113.77\r\n");
  EXPECT_EQ(address("No Such*"), 2);
  EXPECT_EQ(address("No Such*"), 0);
}

TEST_F(KvIpAddressDll, RepeatReportsAtEveryCheck) {
  write("KVIPAddress definition 1\r\nrepeat\r\nnone 203.0.113.77\r\n");
  EXPECT_EQ(address("none"), 2);
  EXPECT_EQ(address("none"), 2);
}

TEST_F(KvIpAddressDll, DefinitionsThatAreNoneReportNothing) {
  EXPECT_EQ(address("*"), 0);  // no file
  write("something else\r\n");
  EXPECT_EQ(address("*"), 0);
  EXPECT_EQ(check_address(nullptr, ""), 0);
  EXPECT_EQ(check_address("", ""), 0);
  EXPECT_EQ(check_address("NUL", ""), 0);
  EXPECT_EQ(check_address("C:\\windows", ""), 0);
  EXPECT_EQ(check_address(file.c_str(), nullptr), 0);
}

TEST_F(KvIpAddressDll, InterfacesAreComparedWithTheRecord) {
  EXPECT_EQ(interfaces(), 0);
  const auto active = kvipaddress::parse_record(content());
  ASSERT_TRUE(active) << content();
  EXPECT_EQ(interfaces(), 0);

  ActiveInterfaces more = *active;
  more.insert("was here before");
  write(kvipaddress::to_record(more));
  EXPECT_EQ(interfaces(), 2);
  EXPECT_EQ(kvipaddress::parse_record(content()), active);
  EXPECT_EQ(interfaces(), 0);
}

TEST_F(KvIpAddressDll, AnInterfaceThatTheRecordLacksWasActivated) {
  EXPECT_EQ(interfaces(), 0);
  if (kvipaddress::parse_record(content())->empty()) GTEST_SKIP() << "this machine has no active interface";
  write(kvipaddress::to_record({}));
  EXPECT_EQ(interfaces(), 1);
  write(kvipaddress::to_record({"was here before"}));
  EXPECT_EQ(interfaces(), 3);
  EXPECT_EQ(interfaces(), 0);
}

TEST_F(KvIpAddressDll, WhatIsNotItsRecordStaysAsItIs) {
  write("my diary\r\n");
  EXPECT_EQ(interfaces(), 0);
  EXPECT_EQ(content(), "my diary\r\n");
  EXPECT_EQ(check_interfaces(nullptr), 0);
  EXPECT_EQ(check_interfaces(""), 0);
  EXPECT_EQ(check_interfaces((folder.string() + "\\no folder\\file").c_str()), 0);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
}

}  // namespace
