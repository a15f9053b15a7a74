#include "agent/interface_record.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "agent/usage_error.h"

namespace kvwmi::agent {
namespace {

namespace fs = std::filesystem;

class InterfaceRecordTest : public ::testing::Test {
 protected:
  // The directory is the build's own, and tests of one program run one after the other.
  const std::string file_ = "interface_record_test.def";

  InterfaceRecordTest() { fs::remove(file_); }
  ~InterfaceRecordTest() override { fs::remove(file_); }

  static std::string refusal(const std::string& file) {
    try {
      require_interface_record(file);
    } catch (const UsageError& error) {
      return error.what();
    }
    return "";
  }
  void write(const std::string& content) const { std::ofstream(file_, std::ios::binary) << content; }
};

TEST_F(InterfaceRecordTest, ARecordAnEmptyFileAndNoneCanBeHad) {
  EXPECT_EQ(refusal(file_), "") << "no file";
  EXPECT_FALSE(fs::exists(file_)) << "looking makes none";
  write("");
  EXPECT_EQ(refusal(file_), "");
  write("KVIPAddress interfaces 1\nactive eth0\nend 1\n");
  EXPECT_EQ(refusal(file_), "");
}

TEST_F(InterfaceRecordTest, AnythingElseIsRefused) {
  for (const char* content : {"my notes", "\n", "KVIPAddress interfaces 1", "KVIPAddress interfaces 12\n",
                              " KVIPAddress interfaces 1\n", "KVIPAddress definition 1\neth0 10.0.0.1\n"}) {
    write(content);
    EXPECT_EQ(refusal(file_), "\"" + file_ +
                                  "\" is there and no record of network interfaces; the watch would "
                                  "delete it")
        << content;
    EXPECT_THROW((void)claim_interface_record(file_), UsageError);
  }
  EXPECT_NE(refusal("."), "") << "a folder";
}

TEST_F(InterfaceRecordTest, TheClaimedFileIsThereUnderItsFullPath) {
  const std::string full = claim_interface_record(file_);
  EXPECT_EQ(full, (fs::current_path() / file_).string());
  EXPECT_TRUE(fs::exists(full));
  write("KVIPAddress interfaces 1\nend 0\n");
  EXPECT_EQ(claim_interface_record(file_), full);
  EXPECT_EQ(fs::file_size(full), 31U) << "what is there is kept";
  EXPECT_THROW((void)claim_interface_record("no such folder/state"), UsageError);
}

}  // namespace
}  // namespace kvwmi::agent
