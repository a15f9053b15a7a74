#include "companions/kvipaddress/linux/netlink.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace kvipaddress {
namespace {

std::string message(std::uint16_t type, const std::string& content, std::uint16_t flags = 0) {
  nlmsghdr header{};
  header.nlmsg_len = static_cast<std::uint32_t>(sizeof header + content.size());
  header.nlmsg_type = type;
  header.nlmsg_flags = flags;
  std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
  bytes += content;
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return bytes;
}
std::string done(std::int32_t error) {
  return message(NLMSG_DONE, {reinterpret_cast<const char*>(&error), sizeof error});
}

class ReadDatagram : public ::testing::Test {
 protected:
  std::optional<Dump> read(const std::string& bytes) {
    return read_datagram(bytes, interrupted,
                         [&](unsigned, std::string_view text) { seen.emplace_back(text); });
  }

  bool interrupted = false;
  std::vector<std::string> seen;
};

TEST_F(ReadDatagram, GoesOnUntilTheEnd) {
  EXPECT_EQ(read(message(RTM_NEWADDR, "one") + message(RTM_NEWADDR, "two")), std::nullopt);
  EXPECT_EQ(read(message(RTM_NEWADDR, "three") + done(0)), Dump::complete);
  EXPECT_EQ(seen, (std::vector<std::string>{"one", "two", "three"}));
  EXPECT_EQ(read(message(NLMSG_DONE, "")), Dump::complete);
}

TEST_F(ReadDatagram, AnEndWithAnErrorIsNoWholeAnswer) {
  EXPECT_EQ(read(message(RTM_NEWADDR, "one") + done(-ENOMEM)), Dump::failed);
  EXPECT_EQ(read(message(NLMSG_ERROR, "")), Dump::failed);
}

TEST_F(ReadDatagram, AnAnswerThatChangedMeanwhileIsInterrupted) {
  EXPECT_EQ(read(message(RTM_NEWADDR, "one", NLM_F_DUMP_INTR)), std::nullopt);
  EXPECT_EQ(read(done(0)), Dump::interrupted);
}

TEST_F(ReadDatagram, WhatIsCutFails) {
  std::string cut = message(RTM_NEWADDR, "four");
  cut.pop_back();
  EXPECT_EQ(read(cut), Dump::failed);
  EXPECT_TRUE(seen.empty());
}

}  // namespace
}  // namespace kvipaddress
