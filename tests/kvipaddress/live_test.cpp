// KVIPAddress on real interfaces and addresses, in a network namespace of each test's own.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "companions/kvipaddress/logic/interface_record.h"
#include "frame/testing/eventually.h"

namespace {

namespace fs = std::filesystem;
using kvwmi::testing::eventually;

using CheckAddress = std::int32_t (*)(const char* definition_file, const char* filter);
using CheckInterfaces = std::int32_t (*)(const char* definition_file);

struct Library {
  CheckAddress iCheckIPAddress = nullptr;
  CheckInterfaces iCheckNetworkInterfaces = nullptr;
};

const Library& library() {
  static const Library loaded = [] {
    const fs::path path = fs::canonical("/proc/self/exe").parent_path() / "libKVIPAddress.so";
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) throw std::runtime_error(dlerror());
    return Library{reinterpret_cast<CheckAddress>(dlsym(handle, "iCheckIPAddress")),
                   reinterpret_cast<CheckInterfaces>(dlsym(handle, "iCheckNetworkInterfaces"))};
  }();
  return loaded;
}

/// A command of iproute2 in the namespace of this test.
void ip(const std::string& arguments) {
  ASSERT_EQ(std::system(("ip " + arguments).c_str()), 0) << "ip " << arguments;
}

class KvIpAddress : public ::testing::Test {
 protected:
  fs::path folder;
  std::string file;

  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root for a network namespace";
    if (::unshare(CLONE_NEWNET) != 0) GTEST_SKIP() << "no network namespace can be made here";
    std::string name = fs::temp_directory_path() / ("kvipaddress-" + std::string(6, 'X'));
    ASSERT_NE(::mkdtemp(name.data()), nullptr);
    folder = name;
    file = folder / "file";
    ip("link add here type veth peer name there");
    ip("link set lo up");
  }
  void TearDown() override {
    if (!folder.empty()) fs::remove_all(folder);
  }

  void define(const std::string& entries) const {
    std::ofstream(file, std::ios::trunc) << "KVIPAddress definition 1\n" << entries;
  }
  [[nodiscard]] std::string content() const {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  [[nodiscard]] std::int32_t address(const char* filter = "") const {
    return library().iCheckIPAddress(file.c_str(), filter);
  }
  [[nodiscard]] std::int32_t interfaces() const { return library().iCheckNetworkInterfaces(file.c_str()); }

  /// The next thing reported; the kernel tells a new state of a link a little later.
  [[nodiscard]] std::int32_t interfaces_eventually() const {
    std::int32_t result = 0;
    EXPECT_TRUE(eventually([&] { return (result = interfaces()) != 0; }));
    return result;
  }
  /// Waits until a record of its own in another file says that exactly these are active.
  void wait_for_active(const kvipaddress::ActiveInterfaces& active) const {
    const std::string other = folder / "other";
    std::string text;
    ASSERT_TRUE(eventually([&] {
      fs::remove(other);
      EXPECT_EQ(library().iCheckNetworkInterfaces(other.c_str()), 0);
      std::ifstream stream(other);
      text.assign(std::istreambuf_iterator<char>(stream), {});
      return kvipaddress::parse_record(text) == active;
    })) << text;
  }
};

// Addresses

TEST_F(KvIpAddress, AddressesComeAndGo) {
  ip("address add 10.0.0.1/24 dev here");
  define("here 10.0.0.1\n");
  EXPECT_EQ(address(), 0);

  ip("address add 10.0.0.2/24 dev here");
  EXPECT_EQ(address(), 1);
  EXPECT_EQ(address(), 0);

  ip("address del 10.0.0.2/24 dev here");
  EXPECT_EQ(address(), 0);

  ip("address del 10.0.0.1/24 dev here");
  EXPECT_EQ(address(), 2);
  EXPECT_EQ(address(), 0);

  ip("address add 10.0.0.1/24 dev here");
  EXPECT_EQ(address(), 0);
}

TEST_F(KvIpAddress, Ipv6Addresses) {
  ip("-6 address add 2001:db8::1/64 dev here nodad");
  define("here 2001:DB8:0::0001\n");
  EXPECT_EQ(address(), 0);
  ip("-6 address add 2001:db8::2/64 dev there nodad");
  EXPECT_EQ(address(), 1);
  ip("-6 address del 2001:db8::1/64 dev here");
  EXPECT_EQ(address(), 2);
}

TEST_F(KvIpAddress, AnAddressStillTestedForDuplicatesIsNotInUse) {
  define("");
  ip("link set here up");
  ip("link set there up");
  wait_for_active({"here", "there"});
  // A test that lasts longer than this one.
  std::ofstream("/proc/sys/net/ipv6/conf/here/dad_transmits") << "1000";
  ip("-6 address add 2001:db8::1/64 dev here");
  EXPECT_EQ(address("2001:*"), 0);
  ip("-6 address replace 2001:db8::2/64 dev here nodad");
  EXPECT_EQ(address("2001:*"), 1);
}

TEST_F(KvIpAddress, TheFilterChoosesInterfacesAndAddresses) {
  ip("address add 10.0.0.1/24 dev here");
  ip("address add 192.168.7.1/24 dev there");
  define("");
  EXPECT_EQ(address("wlan*"), 0);
  EXPECT_EQ(address("th??e"), 1);
  EXPECT_EQ(address("10.*;nothing"), 1);
  EXPECT_EQ(address("127.*"), 1);  // lo, asked for by address
  EXPECT_EQ(address("lo"), 0);
}

TEST_F(KvIpAddress, TheOwnEndOfAPointToPointAddressCounts) {
  ip("address add 10.0.0.1 peer 10.0.0.2/32 dev here");
  define("here 10.0.0.1\n");
  EXPECT_EQ(address(), 0);
}

TEST_F(KvIpAddress, ThousandsOfAddressesAreRead) {
  const std::string batch = folder / "batch";
  {
    std::ofstream commands(batch);
    for (int i = 0; i < 4'000; ++i) {
      commands << "address add 10.1." << i / 250 << "." << i % 250 + 1 << "/32 dev here\n";
    }
  }
  ip("-batch " + batch);
  define("here 10.1.0.0/16\nhere 10.1.15.250\n");
  EXPECT_EQ(address(), 0);
  ip("address add 10.2.0.1/32 dev here");
  EXPECT_EQ(address(), 1);
}

TEST_F(KvIpAddress, DefinitionsThatAreNoneReportNothing) {
  ip("address add 10.0.0.1/24 dev here");
  EXPECT_EQ(address(), 0);  // no file
  std::ofstream(file) << "something else\n";
  EXPECT_EQ(address(), 0);
  fs::remove(file);
  fs::create_directory(file);
  EXPECT_EQ(address(), 0);
  fs::remove(file);
  ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(address(), 0);  // and does not wait for a writer
  EXPECT_EQ(library().iCheckIPAddress(nullptr, ""), 0);
  EXPECT_EQ(library().iCheckIPAddress("", ""), 0);
  EXPECT_EQ(library().iCheckIPAddress("/dev/zero", ""), 0);
  fs::remove(file);
  define("");
  EXPECT_EQ(library().iCheckIPAddress(file.c_str(), nullptr), 0);
}

// Interfaces

TEST_F(KvIpAddress, LinksGoUpAndDown) {
  EXPECT_EQ(interfaces(), 0);
  EXPECT_EQ(content(), "KVIPAddress interfaces 1\nend 0\n");  // lo does not count

  ip("link set there up");
  ip("link set here up");
  wait_for_active({"here", "there"});
  EXPECT_EQ(interfaces(), 1);
  EXPECT_EQ(interfaces(), 0);
  EXPECT_EQ(content(), "KVIPAddress interfaces 1\nactive here\nactive there\nend 2\n");

  ip("link set here down");
  EXPECT_EQ(interfaces_eventually(), 2);
}

TEST_F(KvIpAddress, OneUpAndOneDownIsBoth) {
  ip("link add first type bridge");
  ip("link add away type veth peer name back");
  ip("link set here up");
  ip("link set there up");
  wait_for_active({"here", "there"});
  EXPECT_EQ(interfaces(), 0);
  ip("link set here down");
  ip("link set away up");
  ip("link set back up");
  wait_for_active({"away", "back"});
  EXPECT_EQ(interfaces(), 3);
  EXPECT_EQ(interfaces(), 0);
}

TEST_F(KvIpAddress, AnActiveInterfaceThatIsRemovedWasDeactivated) {
  ip("link set here up");
  ip("link set there up");
  wait_for_active({"here", "there"});
  EXPECT_EQ(interfaces(), 0);
  ip("link del here");
  EXPECT_EQ(interfaces(), 2);
}

TEST_F(KvIpAddress, TheRecordIsReplacedAndNeverWrittenInPlace) {
  EXPECT_EQ(interfaces(), 0);
  const fs::path old = folder / "old";
  fs::create_hard_link(file, old);
  ip("link set here up");
  ip("link set there up");
  wait_for_active({"here", "there"});
  EXPECT_EQ(interfaces(), 1);
  EXPECT_FALSE(fs::equivalent(file, old));
  std::ifstream stream(old);
  EXPECT_EQ((std::string{std::istreambuf_iterator<char>(stream), {}}), "KVIPAddress interfaces 1\nend 0\n");
  fs::remove(old);
  fs::remove(folder / "other");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1) << "a draft was left behind";
}

TEST_F(KvIpAddress, WhatIsNotItsRecordStaysAsItIs) {
  std::ofstream(file) << "my diary\n";
  EXPECT_EQ(interfaces(), 0);
  EXPECT_EQ(content(), "my diary\n");

  fs::remove(file);
  fs::create_symlink("nowhere", file);
  EXPECT_EQ(interfaces(), 0);
  EXPECT_TRUE(fs::is_symlink(file));
  EXPECT_FALSE(fs::exists(folder / "nowhere"));

  fs::remove(file);
  fs::create_directory(file);
  EXPECT_EQ(interfaces(), 0);
  EXPECT_EQ(library().iCheckNetworkInterfaces((folder / "no folder" / "file").c_str()), 0);
  EXPECT_EQ(library().iCheckNetworkInterfaces(nullptr), 0);
  EXPECT_EQ(library().iCheckNetworkInterfaces(""), 0);
}

TEST_F(KvIpAddress, AnEmptyFileIsTakenForNone) {
  std::ofstream{file};
  EXPECT_EQ(interfaces(), 0);
  EXPECT_EQ(content(), "KVIPAddress interfaces 1\nend 0\n");
}

TEST_F(KvIpAddress, NoDescriptorIsLeftOpen) {
  const auto open = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  define("");
  const std::string record = folder / "record";
  const auto before = open();
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ(address(), 0);
    fs::remove(record);
    EXPECT_EQ(library().iCheckNetworkInterfaces(record.c_str()), 0);
  }
  EXPECT_EQ(open(), before);
}

}  // namespace
