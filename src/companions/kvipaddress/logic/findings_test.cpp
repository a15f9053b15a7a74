#include "companions/kvipaddress/logic/findings.h"

#include <gtest/gtest.h>

#include <string>

namespace kvipaddress {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;
using Texts = std::set<std::string>;

InterfaceAddress at(const char* interface, const char* address) {
  return {interface, *parse_address(address)};
}

Findings differences(const std::string& entries, const char* filter,
                     const std::vector<InterfaceAddress>& addresses) {
  return find_differences(*parse_definition("KVIPAddress definition 1\n" + entries), *Filter::parse(filter),
                          addresses);
}

void expect(const Findings& findings, const Texts& unexpected, const Texts& missing) {
  EXPECT_EQ(findings.unexpected, unexpected);
  EXPECT_EQ(findings.missing, missing);
}

TEST(FindDifferences, NoneWhereTheMachineIsAsDefined) {
  expect(
      differences("eth0 10.0.0.1\neth1 10.0.0.0/8\n", "", {at("eth0", "10.0.0.1"), at("eth1", "10.9.9.9")}),
      {}, {});
}

TEST(FindDifferences, AnAddressOfAnotherInterfaceIsAnotherAddress) {
  expect(differences("eth0 10.0.0.1\n", "", {at("eth1", "10.0.0.1")}), {"eth1 10.0.0.1"}, {"eth0 10.0.0.1"});
}

TEST(FindDifferences, ANetworkInTheDefinitionCoversAllItsAddresses) {
  expect(differences("* 10.0.0.0/24\n", "", {at("a", "10.0.0.1"), at("b", "10.0.0.2"), at("c", "10.0.1.1")}),
         {"c 10.0.1.1"}, {});
}

TEST(FindDifferences, LoopbackAndLinkLocalAreNotUnexpected) {
  expect(differences("", "", {at("lo", "127.0.0.1"), at("lo", "::1"), at("eth0", "fe80::1")}), {}, {});
  expect(differences("", "eth*;lo", {at("lo", "127.0.0.1"), at("eth0", "fe80::1")}), {}, {});
}

TEST(FindDifferences, UnlessTheFilterAsksForThemByAddress) {
  expect(differences("", "fe80*", {at("lo", "127.0.0.1"), at("eth0", "fe80::1")}), {"eth0 fe80::1"}, {});
  expect(differences("", "*", {at("lo", "127.0.0.1")}), {"lo 127.0.0.1"}, {});
}

TEST(FindDifferences, ALinkLocalEntryIsLookedForAllTheSame) {
  expect(differences("eth0 fe80::1\n", "", {at("eth0", "fe80::1")}), {}, {});
  expect(differences("eth0 fe80::1\n", "", {}), {}, {"eth0 fe80::1"});
}

TEST(FindDifferences, TheFilterChoosesAddressesAndEntries) {
  const std::vector<InterfaceAddress> addresses{at("eth0", "10.0.0.9"), at("wlan0", "192.168.0.9")};
  const std::string entries = "eth0 10.0.0.1\nwlan0 192.168.0.1\n";
  expect(differences(entries, "eth0", addresses), {"eth0 10.0.0.9"}, {"eth0 10.0.0.1"});
  expect(differences(entries, "192.168.*", addresses), {"wlan0 192.168.0.9"}, {"wlan0 192.168.0.1"});
  expect(differences(entries, "tun*", addresses), {}, {});
}

TEST(FindDifferences, AnEntryThatTheFilterLeavesOutStillExplainsAddresses) {
  expect(differences("* 10.0.0.0/8\n", "eth0", {at("eth0", "10.0.0.9")}), {}, {});
}

class ReportsTest : public ::testing::Test {
 protected:
  Reports reports;
  Reports::Clock::time_point now{minutes(1'000)};

  std::int32_t tell(const Findings& findings, const char* watch = "watch") {
    return reports.news(watch, findings, now += seconds(5));
  }
  std::int32_t repeat(const Findings& findings) {
    return reports.repeated("watch", findings, now += seconds(5));
  }
};

TEST_F(ReportsTest, ADifferenceIsToldOnceWhileItLasts) {
  EXPECT_EQ(tell({}), 0);
  EXPECT_EQ(tell({{"eth0 10.0.0.2"}, {}}), 1);
  EXPECT_EQ(tell({{"eth0 10.0.0.2"}, {}}), 0);
  EXPECT_EQ(tell({{"eth0 10.0.0.2"}, {}}), 0);
}

TEST_F(ReportsTest, ADifferenceThatComesBackIsNews) {
  EXPECT_EQ(tell({{}, {"eth0 10.0.0.1"}}), 2);
  EXPECT_EQ(tell({}), 0);
  EXPECT_EQ(tell({{}, {"eth0 10.0.0.1"}}), 2);
}

TEST_F(ReportsTest, AFurtherDifferenceIsNews) {
  EXPECT_EQ(tell({{"a"}, {}}), 1);
  EXPECT_EQ(tell({{"a", "b"}, {}}), 1);
  EXPECT_EQ(tell({{"a", "b"}, {"c"}}), 2);
  EXPECT_EQ(tell({{"a", "b"}, {"c", "d"}}), 2);
}

TEST_F(ReportsTest, ADifferenceThatEndsIsNoNews) {
  EXPECT_EQ(tell({{"a", "b"}, {}}), 1);
  EXPECT_EQ(tell({{"b"}, {}}), 0);
}

TEST_F(ReportsTest, WhatDoesNotFitIntoOneVerdictIsToldAtTheNextCall) {
  const Findings replaced{{"eth0 10.0.0.2"}, {"eth0 10.0.0.1"}};
  EXPECT_EQ(tell(replaced), 1);
  EXPECT_EQ(tell(replaced), 2);
  EXPECT_EQ(tell(replaced), 0);
}

TEST_F(ReportsTest, EachWatchIsToldForItself) {
  EXPECT_EQ(tell({{"a"}, {}}, "one"), 1);
  EXPECT_EQ(tell({{"a"}, {}}, "two"), 1);
  EXPECT_EQ(tell({{"a"}, {}}, "one"), 0);
}

TEST_F(ReportsTest, RepeatsWhatLasts) {
  EXPECT_EQ(repeat({}), 0);
  EXPECT_EQ(repeat({{"x"}, {}}), 1);
  EXPECT_EQ(repeat({{"x"}, {}}), 1);
  EXPECT_EQ(repeat({{}, {"y"}}), 2);
  EXPECT_EQ(repeat({{}, {"y"}}), 2);
}

TEST_F(ReportsTest, RepeatsInTurnWhatLastsTogether) {
  EXPECT_EQ(repeat({{"x"}, {"y"}}), 1);
  EXPECT_EQ(repeat({{"x"}, {"y"}}), 2);
  EXPECT_EQ(repeat({{"x"}, {"y"}}), 1);
  EXPECT_EQ(repeat({{"x"}, {}}), 1);
  EXPECT_EQ(repeat({{"x"}, {"y"}}), 2) << "a lasting modification does not hide a new absence";
}

TEST_F(ReportsTest, AWatchThatAsksRarelyIsToldOnceToo) {
  EXPECT_EQ(tell({{"a"}, {}}), 1);
  for (int hour = 0; hour < 100; ++hour) {
    now += std::chrono::hours(1);
    EXPECT_EQ(tell({{"a"}, {}}), 0);
  }
}

TEST_F(ReportsTest, AWatchThatStoppedAskingIsToldAnew) {
  EXPECT_EQ(tell({{"a"}, {}}), 1);
  now += Reports::kForgottenAfter - seconds(5);
  EXPECT_EQ(tell({{"a"}, {}}), 0);
  now += Reports::kForgottenAfter;
  EXPECT_EQ(tell({{"a"}, {}}), 1);
}

TEST_F(ReportsTest, TheMemoryIsBounded) {
  for (std::size_t i = 0; i <= Reports::kMaxWatches; ++i) {
    EXPECT_EQ(reports.news(std::to_string(i), {{"a"}, {}}, now), 1) << i;
    now += std::chrono::milliseconds(1);
  }
  EXPECT_EQ(reports.news("1", {{"a"}, {}}, now), 0);
  EXPECT_EQ(reports.news("0", {{"a"}, {}}, now), 1);  // the longest silent one had to go
}

}  // namespace
}  // namespace kvipaddress
