#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "stand_in/supervision_fixture.h"
#include "support/top_level_window.h"

// The watches that the thread's timer polls, end to end: real windows, real interfaces, the real companion
// library.
namespace kvwmi::stand_in {
namespace {

TEST_F(SupervisionOnWindows, Window) {
  const std::string title = "kvwmi watched window " + std::to_string(GetCurrentProcessId());
  supervision.m_SuperviseWindow(kStep, kWatch, title, true, true, kPeriod);
  {
    const tests::TopLevelWindow window(title);
    if (!window.exists()) GTEST_SKIP() << "no top-level window can be made here";
    EXPECT_EQ(next_record(), Record(kWatch, ""));
  }
  EXPECT_EQ(next_record(), Record(kWatch, ""));
}

/// A file of this test's own, gone afterwards.
struct TemporaryFile {
  explicit TemporaryFile(const std::string& name)
      : path((std::filesystem::temp_directory_path() / (name + std::to_string(GetCurrentProcessId())))
                 .string()) {}
  ~TemporaryFile() { DeleteFileA(path.c_str()); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  std::string path;
};

TEST_F(SupervisionOnWindows, IpAddress) {
  const TemporaryFile definition("kvwmi-addresses-");
  // An address for documentation: no machine has it.
  std::ofstream(definition.path) << "KVIPAddress definition 1\n\"no such interface\" 203.0.113.77\n";
  supervision.m_SuperviseIPAddress(kStep, kWatch, definition.path, "203.0.113.77", false, true, kPeriod);
  EXPECT_EQ(next_record(), Record(kWatch, ""));
}

TEST_F(SupervisionOnWindows, NetworkInterfaces) {
  const TemporaryFile record("kvwmi-interfaces-");
  supervision.m_SuperviseNetworkInterfaces(kStep, kWatch, record.path, true, true, kPeriod);
  ASSERT_TRUE(message_loop::run_until([&] { return std::filesystem::exists(record.path); }, kDeadline));
  // An interface that the previous call is said to have seen and this machine lacks.
  std::ofstream(record.path, std::ios::binary)
      << "KVIPAddress interfaces 1\nactive no such interface\nend 1\n";
  EXPECT_EQ(next_record(), Record(kWatch, ""));
}

}  // namespace
}  // namespace kvwmi::stand_in
