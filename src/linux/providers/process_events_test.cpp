#include "linux/providers/process_events.h"

#include <gtest/gtest.h>
#include <linux/connector.h>
#include <linux/netlink.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

#include "linux/testing/forked.h"

namespace kvwmi::ground::providers {
namespace {

using kvwmi::testing::Forked;

constexpr std::size_t kHeaders = NLMSG_HDRLEN + sizeof(cn_msg);

/// The other end of the socket: a kernel that answers as the test says.
class PlayedKernel : public ::testing::Test {
 protected:
  PlayedKernel() {
    machine.open_process_events = [this] {
      std::array<int, 2> ends{};
      if (!there || socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return Descriptor();
      kernel = Descriptor(ends[0]);
      return Descriptor(ends[1]);
    };
  }
  /// The request that has come: its number, and whether it was to listen.
  std::pair<std::uint32_t, bool> request() {
    std::array<char, 256> text{};
    const ssize_t got = recv(kernel.get(), text.data(), text.size(), MSG_DONTWAIT);
    EXPECT_EQ(got, static_cast<ssize_t>(kHeaders + 4));
    cn_msg message{};
    std::memcpy(&message, text.data() + NLMSG_HDRLEN, sizeof message);
    return {message.ack, text[kHeaders] == 1};
  }
  void tell(std::uint32_t what, std::uint32_t first = 0, std::uint32_t ack = 0) {
    std::array<char, kHeaders + 40> text{};
    cn_msg message{};
    message.ack = ack;
    std::memcpy(text.data() + NLMSG_HDRLEN, &message, sizeof message);
    std::memcpy(text.data() + kHeaders, &what, sizeof what);
    std::memcpy(text.data() + kHeaders + 16, &first, sizeof first);
    EXPECT_EQ(send(kernel.get(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  }
  void answer(std::uint32_t request, std::uint32_t error = 0) { tell(0, error, request + 1); }

  Machine machine;
  bool there = true;
  Descriptor kernel;
};

constexpr std::uint32_t kExec = 2;

TEST_F(PlayedKernel, WithoutASocketNothingIsCountedUntilThereIsOne) {
  there = false;
  ProcessEvents events(machine);
  EXPECT_FALSE(events.count());
  there = true;
  EXPECT_FALSE(events.count());
  answer(request().first);
  EXPECT_TRUE(events.count());
}

TEST_F(PlayedKernel, EventsCountFromTheAnswerOn) {
  ProcessEvents events(machine);
  EXPECT_FALSE(events.count());
  const auto [number, listens] = request();
  EXPECT_TRUE(listens);
  answer(number);
  const auto before = events.count();
  ASSERT_TRUE(before);
  EXPECT_EQ(events.count(), before);
  tell(kExec);
  EXPECT_GT(events.count(), before);
}

TEST_F(PlayedKernel, EventsWithoutAnAnswerAreSomebodyElses) {
  ProcessEvents events(machine);
  EXPECT_FALSE(events.count());
  const auto number = request().first;
  tell(kExec);
  answer(number + 1000);
  EXPECT_FALSE(events.count());
}

TEST_F(PlayedKernel, ARefusalIsNoAnswer) {
  ProcessEvents events(machine);
  EXPECT_FALSE(events.count());
  answer(request().first, EPERM);
  EXPECT_FALSE(events.count());
}

TEST_F(PlayedKernel, ASocketThatBreaksIsReplacedAndItsEndCounts) {
  ProcessEvents events(machine);
  EXPECT_FALSE(events.count());
  answer(request().first);
  const auto before = events.count();
  kernel = Descriptor();
  EXPECT_FALSE(events.count());
  EXPECT_FALSE(events.count());
  answer(request().first);
  EXPECT_GT(events.count(), before);
}

TEST_F(PlayedKernel, IsToldWhenNobodyListensAnyMore) {
  {
    ProcessEvents events(machine);
    EXPECT_FALSE(events.count());
    EXPECT_TRUE(request().second);
  }
  EXPECT_FALSE(request().second);
}

/// The kernel that the test runs on.
class LiveProcessEvents : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!events.count()) GTEST_SKIP() << "the kernel tells this process of no process events";
  }
  struct Told {
    std::uint32_t what;
    pid_t process;
    bool operator==(const Told&) const = default;
  };
  /// Whether a second socket, which is served because the first one asked, has got that.
  bool is_told(const Told& wanted) {
    return kvwmi::testing::eventually([&] {
      receive();
      return std::find(told.begin(), told.end(), wanted) != told.end();
    });
  }
  void receive() {
    std::array<char, 1024> text{};
    while (recv(second.get(), text.data(), text.size(), MSG_DONTWAIT) > 0) {
      Told& one = told.emplace_back();
      std::memcpy(&one.what, text.data() + kHeaders, sizeof one.what);
      std::memcpy(&one.process, text.data() + kHeaders + 16 + 4, sizeof one.process);
    }
  }

  static constexpr std::uint32_t kFork = 1;
  static constexpr std::uint32_t kComm = 0x200;
  static constexpr std::uint32_t kExit = 0x80000000;

  Machine machine;
  ProcessEvents events{machine};
  Descriptor second = open_process_events();
  std::vector<Told> told;
};

TEST_F(LiveProcessEvents, TellOfProgramsNamesAndEnds) {
  const auto before = events.count();
  Forked child([] {
    prctl(PR_SET_NAME, "kvw-told");
    execl("/bin/true", "true", nullptr);
    return 1;
  });
  for (const std::uint32_t what : {kComm, kExec, kExit}) EXPECT_TRUE(is_told({what, child.pid()})) << what;
  EXPECT_GE(events.count().value_or(0), before.value_or(0) + 3);
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(LiveProcessEvents, TellOfNoForkAndOfNoOtherThread) {
  std::thread([] { prctl(PR_SET_NAME, "kvw-thread"); }).join();
  Forked child([] { return 0; });
  EXPECT_TRUE(is_told({kExit, child.pid()})) << "all before it is there";
  for (const Told& one : told) {
    EXPECT_NE(one.what, kFork);
    EXPECT_NE(one.process, getpid()) << "a thread's own name, or end";
  }
}

TEST_F(LiveProcessEvents, TooManyAreAChangeAndNotTheEnd) {
  int socket = -1;
  Machine narrow;
  narrow.open_process_events = [&] {
    Descriptor opened = open_process_events();
    socket = opened.get();
    return opened;
  };
  ProcessEvents few(narrow);
  ASSERT_TRUE(few.count());
  // Not before it is confirmed: of a machine that is busy the least room would be full by then.
  const int bytes = 1;
  ASSERT_EQ(setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes), 0);
  auto before = few.count();
  constexpr int kMany = 100;
  for (const int renamings : {kMany, 1}) {
    std::array<char, 16> name{};
    prctl(PR_GET_NAME, name.data());
    for (int i = 0; i < renamings; ++i) prctl(PR_SET_NAME, name.data());
    const auto after = few.count();
    ASSERT_TRUE(after);
    EXPECT_GT(*after, *before);
    if (renamings == kMany) {
      EXPECT_LT(*after, *before + kMany) << "there was room for all";
    }
    before = after;
  }
}

// Events may be seen there as long as somebody else listens, and end with that.
TEST_F(LiveProcessEvents, AreNotTrustedInNamespacesOfOnesOwn) {
  const auto trusts = [] {
    const Machine inside;
    ProcessEvents own(inside);
    static_cast<void>(own.count());
    prctl(PR_SET_NAME, "kvw-inside");
    return own.count() ? 1 : 0;
  };
  EXPECT_EQ(Forked(trusts).wait(), 1) << "a process of its own alone makes no difference";
  constexpr int kNoNamespace = 77;
  for (const int space : {CLONE_NEWPID, CLONE_NEWNET, CLONE_NEWUSER}) {
    // A new process namespace begins with the next child.
    const int status =
        Forked([&] { return unshare(space) == 0 ? Forked(trusts).wait() : kNoNamespace; }).wait();
    if (status == kNoNamespace)
      GTEST_SKIP() << "a namespace cannot be made here (needs root, and no thread of a sanitizer)";
    EXPECT_EQ(status, 0) << space;
  }
}

}  // namespace
}  // namespace kvwmi::ground::providers
