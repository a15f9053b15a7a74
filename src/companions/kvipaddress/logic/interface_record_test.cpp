#include "companions/kvipaddress/logic/interface_record.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kvipaddress {
namespace {

TEST(InterfaceRecord, IsPlainText) {
  EXPECT_EQ(to_record({}), "KVIPAddress interfaces 1\nend 0\n");
  EXPECT_EQ(to_record({"wlan 0", "eth0"}), "KVIPAddress interfaces 1\nactive eth0\nactive wlan 0\nend 2\n");
}

TEST(InterfaceRecord, ComesBackAsItWas) {
  const std::vector<ActiveInterfaces> cases{
      {},
      {"eth0"},
      {"a", "b", "c"},
      {"100%", "line\nend 0\n", " blanks ", "Drahtlos-Adapter \xC3\xA4", "\x01\x7F"}};
  for (const ActiveInterfaces& interfaces : cases) EXPECT_EQ(parse_record(to_record(interfaces)), interfaces);
}

TEST(InterfaceRecord, EveryCutIsNoticed) {
  const std::string whole = to_record({"eth0", "eth1"});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(parse_record(whole.substr(0, length)), std::nullopt) << length;
  }
}

TEST(InterfaceRecord, ForeignAndDamagedFilesAreNotUnderstood) {
  for (const char* text :
       {"", "\n", "some notes\n", "KVIPAddress interfaces 2\nend 0\n", "KVIPAddress definition 1\n",
        "KVIPAddress interfaces 1\nend 1\n", "KVIPAddress interfaces 1\nactive eth0\nend 2\n",
        "KVIPAddress interfaces 1\nactive \nend 1\n", "KVIPAddress interfaces 1\nend 0\nmore\n",
        "KVIPAddress interfaces 1\nactive a\nactive a\nend 2\n", "KVIPAddress interfaces 1\r\nend 0\r\n",
        "KVIPAddress interfaces 1\nactive %4\nend 1\n", "KVIPAddress interfaces 1\nactive %ZZ\nend 1\n",
        "KVIPAddress interfaces 1\nactive %0a\nend 1\n", "KVIPAddress interfaces 1\nactive %41\nend 1\n",
        "KVIPAddress interfaces 1\nactive a\tb\nend 1\n", "KVIPAddress interfaces 1\nend 00\n"}) {
    EXPECT_EQ(parse_record(text), std::nullopt) << text;
  }
  EXPECT_EQ(parse_record(std::string(kMaxRecordSize + 1, 'x')), std::nullopt);
}

TEST(InterfaceRecord, Comparison) {
  EXPECT_EQ(compare({}, {}), 0);
  EXPECT_EQ(compare({"a", "b"}, {"a", "b"}), 0);
  EXPECT_EQ(compare({"a"}, {"a", "b"}), 1);
  EXPECT_EQ(compare({"a", "b"}, {"b"}), 2);
  EXPECT_EQ(compare({"a"}, {"b"}), 3);
  EXPECT_EQ(compare({}, {"b"}), 1);
  EXPECT_EQ(compare({"b"}, {}), 2);
}

}  // namespace
}  // namespace kvipaddress
