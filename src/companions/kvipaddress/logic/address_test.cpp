#include "companions/kvipaddress/logic/address.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace kvipaddress {
namespace {

TEST(Address, TextsAndTheirCanonicalForm) {
  const std::vector<std::pair<const char*, const char*>> cases{
      {"0.0.0.0", "0.0.0.0"},
      {"192.168.1.10", "192.168.1.10"},
      {"255.255.255.255", "255.255.255.255"},
      {"::", "::"},
      {"::1", "::1"},
      {"1::", "1::"},
      {"FE80::1", "fe80::1"},
      {"2001:0DB8:0000:0000:0000:0000:0000:0010", "2001:db8::10"},
      {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
      {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},
      {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
      {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
      {"::ffff:192.0.2.1", "::ffff:c000:201"},
      {"1:2:3:4:5:6:192.0.2.1", "1:2:3:4:5:6:c000:201"},
  };
  for (const auto& [text, canonical] : cases) {
    const auto address = parse_address(text);
    ASSERT_TRUE(address) << text;
    EXPECT_EQ(to_text(*address), canonical) << text;
    EXPECT_EQ(parse_address(canonical), address) << text;
  }
}

TEST(Address, WhatIsNone) {
  for (const char* text : {"",
                           " ",
                           "1",
                           "1.2.3",
                           "1.2.3.4.5",
                           "1.2.3.256",
                           "1.2.3.",
                           ".1.2.3",
                           "1.2.3.04",
                           "1.2.3.-4",
                           "1.2.3.+4",
                           "1.2.3.4 ",
                           "0x1.2.3.4",
                           "a.b.c.d",
                           ":",
                           ":::",
                           "1:2:3:4:5:6:7",
                           "1:2:3:4:5:6:7:8:9",
                           "1:2:3:4:5:6:7:8::",
                           "::1::",
                           "12345::",
                           "g::",
                           "1:",
                           ":1",
                           "::1%eth0",
                           "1.2.3.4::",
                           "::1.2.3",
                           "::1.2.3.4:5",
                           "-1::",
                           "1::-2"}) {
    EXPECT_FALSE(parse_address(text)) << text;
  }
  EXPECT_FALSE(parse_address(std::string_view("1.2.3.4\0", 8)));
}

TEST(Address, LoopbackAndLinkLocalAreEveryMachinesOwn) {
  for (const char* text : {"127.0.0.1", "127.255.0.9", "::1", "fe80::1", "febf::1"}) {
    EXPECT_TRUE(is_local(*parse_address(text))) << text;
  }
  for (const char* text : {"128.0.0.1", "169.254.1.1", "::2", "fec0::1", "fd00::1", "::"}) {
    EXPECT_FALSE(is_local(*parse_address(text))) << text;
  }
}

TEST(Subnet, Contains) {
  const auto contains = [](const char* subnet, const char* address) {
    return parse_subnet(subnet)->contains(*parse_address(address));
  };
  EXPECT_TRUE(contains("10.1.2.3", "10.1.2.3"));
  EXPECT_FALSE(contains("10.1.2.3", "10.1.2.4"));
  EXPECT_TRUE(contains("10.0.0.0/8", "10.255.255.255"));
  EXPECT_FALSE(contains("10.0.0.0/8", "11.0.0.0"));
  EXPECT_TRUE(contains("172.16.0.0/12", "172.31.255.1"));
  EXPECT_FALSE(contains("172.16.0.0/12", "172.32.0.0"));
  EXPECT_TRUE(contains("10.1.2.3/24", "10.1.2.200"));
  EXPECT_TRUE(contains("0.0.0.0/0", "8.8.8.8"));
  EXPECT_FALSE(contains("0.0.0.0/0", "::1"));
  EXPECT_FALSE(contains("::/0", "1.2.3.4"));
  EXPECT_TRUE(contains("2001:db8::/33", "2001:db8:7fff::1"));
  EXPECT_FALSE(contains("2001:db8::/33", "2001:db8:8000::1"));
  EXPECT_TRUE(contains("::1/128", "::1"));
}

TEST(Subnet, WhatIsNone) {
  for (const char* text : {"", "/8", "10.0.0.0/", "10.0.0.0/33", "::/129", "10.0.0.0/8/8", "10.0.0.0/-1",
                           "10.0.0.0/a", "10.0.0.0/0x8", "10/8", "10.0.0.0 /8"}) {
    EXPECT_FALSE(parse_subnet(text)) << text;
  }
}

TEST(Subnet, TextLeavesOutAFullPrefix) {
  EXPECT_EQ(to_text(*parse_subnet("10.0.0.1/32")), "10.0.0.1");
  EXPECT_EQ(to_text(*parse_subnet("10.0.0.0/8")), "10.0.0.0/8");
  EXPECT_EQ(to_text(*parse_subnet("::1/128")), "::1");
}

}  // namespace
}  // namespace kvipaddress
