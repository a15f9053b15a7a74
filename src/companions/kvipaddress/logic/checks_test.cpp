#include "companions/kvipaddress/logic/checks.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace kvipaddress {
namespace {

struct FakeSystem final : System {
  std::map<std::string, std::string> files;
  std::set<std::string> unusable;
  bool writable = true;
  int writes = 0;
  std::optional<std::vector<InterfaceAddress>> own_addresses = std::vector<InterfaceAddress>();
  std::optional<ActiveInterfaces> active = ActiveInterfaces();

  FileContent read_file(const std::string& path, std::size_t limit) override {
    if (unusable.contains(path)) return {};
    const auto found = files.find(path);
    if (found == files.end()) return {FileContent::State::missing, {}};
    if (found->second.size() > limit) return {};
    return {FileContent::State::read, found->second};
  }
  bool replace_file(const std::string& path, const std::string& text) override {
    if (!writable) return false;
    ++writes;
    files[path] = text;
    return true;
  }
  std::optional<std::vector<InterfaceAddress>> addresses() override { return own_addresses; }
  std::optional<ActiveInterfaces> active_interfaces() override { return active; }
};

class CheckIpAddress : public ::testing::Test {
 protected:
  FakeSystem system;
  Reports reports;
  Reports::Clock::time_point now{};

  void SetUp() override {
    system.files["def"] = "KVIPAddress definition 1\neth0 10.0.0.1\n";
    machine({"10.0.0.1"});
  }
  void machine(const std::vector<const char*>& addresses) {
    system.own_addresses->clear();
    for (const char* address : addresses) system.own_addresses->push_back({"eth0", *parse_address(address)});
  }
  std::int32_t check(const char* filter = "") {
    return check_ip_address(system, reports, "def", filter, now += std::chrono::seconds(5));
  }
};

TEST_F(CheckIpAddress, AMachineAsDefinedReportsNothing) {
  EXPECT_EQ(check(), 0);
}

TEST_F(CheckIpAddress, AnAddedAddressIsAModification) {
  machine({"10.0.0.1", "10.0.0.2"});
  EXPECT_EQ(check(), 1);
  EXPECT_EQ(check(), 0);
}

TEST_F(CheckIpAddress, ARemovedAddressIsAnAbsence) {
  machine({});
  EXPECT_EQ(check(), 2);
  EXPECT_EQ(check(), 0);
}

TEST_F(CheckIpAddress, AReplacedAddressIsBothOneAfterTheOther) {
  machine({"10.0.0.2"});
  EXPECT_EQ(check(), 1);
  EXPECT_EQ(check(), 2);
  EXPECT_EQ(check(), 0);
}

TEST_F(CheckIpAddress, ReturningToTheDefinitionReportsNothing) {
  machine({"10.0.0.2"});
  EXPECT_EQ(check(), 1);
  machine({"10.0.0.1"});
  EXPECT_EQ(check(), 0);
}

TEST_F(CheckIpAddress, RepeatReportsAtEveryCheck) {
  system.files["def"] += "repeat\n";
  machine({"10.0.0.1", "10.0.0.2"});
  EXPECT_EQ(check(), 1);
  EXPECT_EQ(check(), 1);
  machine({"10.0.0.2"});
  EXPECT_EQ(check(), 2) << "the absence is not hidden by the modification that lasts";
  EXPECT_EQ(check(), 1);
  machine({});
  EXPECT_EQ(check(), 2);
  EXPECT_EQ(check(), 2);
}

TEST_F(CheckIpAddress, TheFilterNarrowsTheCheck) {
  machine({"10.0.0.1", "192.168.0.1"});
  EXPECT_EQ(check("10.*"), 0);
  EXPECT_EQ(check("192.*"), 1);
}

TEST_F(CheckIpAddress, WhatCannotBeReadOrUnderstoodReportsNothing) {
  machine({});
  EXPECT_EQ(check(std::string(Filter::kMaxLength + 1, 'a').c_str()), 0);
  system.files["def"] = "something else\n";
  EXPECT_EQ(check(), 0);
  system.files["def"] = std::string(Definition::kMaxSize + 1, '#');
  EXPECT_EQ(check(), 0);
  system.files.erase("def");
  EXPECT_EQ(check(), 0);
  system.unusable.insert("def");
  EXPECT_EQ(check(), 0);
  EXPECT_EQ(system.writes, 0);
}

TEST_F(CheckIpAddress, AMachineThatCannotBeAskedIsNotTakenForAnEmptyOne) {
  system.own_addresses.reset();
  EXPECT_EQ(check(), 0);
}

class CheckNetworkInterfaces : public ::testing::Test {
 protected:
  FakeSystem system;
  std::int32_t check(const ActiveInterfaces& active) {
    system.active = active;
    return check_network_interfaces(system, "record");
  }
};

TEST_F(CheckNetworkInterfaces, TheFirstCallRecordsAndReportsNothing) {
  EXPECT_EQ(check({"eth0"}), 0);
  EXPECT_EQ(system.files["record"], to_record({"eth0"}));
}

TEST_F(CheckNetworkInterfaces, AnEmptyFileCountsAsNone) {
  system.files["record"] = "";
  EXPECT_EQ(check({"eth0"}), 0);
  EXPECT_EQ(system.files["record"], to_record({"eth0"}));
}

TEST_F(CheckNetworkInterfaces, EachChangeIsReportedOnceAgainstThePreviousCall) {
  EXPECT_EQ(check({"eth0"}), 0);
  EXPECT_EQ(check({"eth0", "wlan0"}), 1);
  EXPECT_EQ(check({"eth0", "wlan0"}), 0);
  EXPECT_EQ(check({"wlan0"}), 2);
  EXPECT_EQ(check({"tun0"}), 3);
  EXPECT_EQ(check({"tun0"}), 0);
}

TEST_F(CheckNetworkInterfaces, NothingIsWrittenWhereNothingChanged) {
  EXPECT_EQ(check({"eth0"}), 0);
  EXPECT_EQ(check({"eth0"}), 0);
  EXPECT_EQ(system.writes, 1);
}

TEST_F(CheckNetworkInterfaces, AForeignFileIsNeverOverwritten) {
  system.files["record"] = "my diary\n";
  EXPECT_EQ(check({"eth0"}), 0);
  EXPECT_EQ(check({}), 0);
  EXPECT_EQ(system.files["record"], "my diary\n");
  EXPECT_EQ(system.writes, 0);
}

TEST_F(CheckNetworkInterfaces, AFileThatCannotBeReadIsLeftAlone) {
  system.unusable.insert("record");
  EXPECT_EQ(check({"eth0"}), 0);
  EXPECT_EQ(system.writes, 0);
}

TEST_F(CheckNetworkInterfaces, AChangeThatCannotBeRecordedIsReportedOnceItCan) {
  EXPECT_EQ(check({}), 0);
  system.writable = false;
  EXPECT_EQ(check({"eth0"}), 0);
  EXPECT_EQ(check({"eth0"}), 0);
  system.writable = true;
  EXPECT_EQ(check({"eth0"}), 1);
  EXPECT_EQ(check({"eth0"}), 0);
}

TEST_F(CheckNetworkInterfaces, AMachineThatCannotBeAskedChangesNothing) {
  EXPECT_EQ(check({"eth0"}), 0);
  system.active.reset();
  EXPECT_EQ(check_network_interfaces(system, "record"), 0);
  EXPECT_EQ(system.files["record"], to_record({"eth0"}));
}

}  // namespace
}  // namespace kvipaddress
