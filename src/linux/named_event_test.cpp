#include "kvwmi/named_event.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kvwmi/diagnostics.h"
#include "kvwmi/error.h"
#include "linux/message_queue.h"
#include "linux/named_events.h"
#include "linux/testing/forked.h"
#include "linux/testing/no_descriptors.h"

namespace kvwmi {
namespace {

using ground::LinuxNamedEvents;
using ground::queue_name;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Forked;
using Reset = NamedEvent::Reset;

std::string own_name(const std::string& what) {
  return "kvwmi-test-" + std::to_string(::getpid()) + '-' + what;
}

bool exists(const std::string& name) {
  const ground::Descriptor queue(::mq_open(queue_name(name)->c_str(), O_RDONLY | O_NONBLOCK));
  return static_cast<bool>(queue);
}

TEST(QueueNameTest, MapsWindowsNames) {
  EXPECT_EQ(queue_name("Agent"), "/Agent");
  EXPECT_EQ(queue_name(R"(Global\Agent)"), "/Agent") << "there is one name space";
  EXPECT_EQ(queue_name(R"(Local\Agent)"), "/Agent");
  EXPECT_EQ(queue_name(R"(global\Agent)"), std::nullopt) << "the prefixes are told apart by case";
  EXPECT_EQ(queue_name(R"(a\b)"), std::nullopt);
  EXPECT_EQ(queue_name(R"(Global\Local\a)"), std::nullopt);
  EXPECT_EQ(queue_name(""), std::nullopt);
  EXPECT_EQ(queue_name(R"(Global\)"), std::nullopt);
  EXPECT_EQ(queue_name("a/b%c"), "/a%2Fb%25c");
  EXPECT_EQ(queue_name("."), "/%2E");
  EXPECT_EQ(queue_name("a.b"), "/a.b");
  EXPECT_EQ(queue_name("tab\there"), "/tab%09here");
  EXPECT_EQ(queue_name("\xC3\xA4 b"), "/\xC3\xA4 b");
}

TEST(QueueNameTest, CutsLongNamesWithoutMixingThemUp) {
  std::string name;
  name.assign(254, 'a');
  EXPECT_EQ(queue_name(name)->size(), 255U);
  EXPECT_EQ(queue_name(name)->find_first_not_of('a', 1), std::string::npos) << "the longest that fits";
  name += 'b';
  const auto one = queue_name(name);
  name.back() = 'c';
  const auto other = queue_name(name);
  EXPECT_EQ(one->size(), 255U);
  EXPECT_EQ(one->find_first_not_of('a', 1), 238U);
  EXPECT_EQ((*one)[238], '%');
  EXPECT_NE(one, other);
}

TEST(NamedEventTest, TheEngineSetsWhatTheAgentCreated) {
  NamedEvent event(own_name("set"), Reset::automatic);
  EXPECT_FALSE(event.wait(milliseconds(0)));
  LinuxNamedEvents engine;
  engine.signal(own_name("set"));
  engine.signal(own_name("set"));  // set stays set: one signal may stand for several records
  EXPECT_TRUE(event.wait(milliseconds(0)));
  EXPECT_FALSE(event.wait(milliseconds(0)));
}

TEST(NamedEventTest, TheEngineNeverCreatesOne) {
  LinuxNamedEvents engine;
  for (const std::string& name : {own_name("nobody"), std::string(), std::string(R"(a\b)")})
    engine.signal(name);
  EXPECT_FALSE(exists(own_name("nobody")));
}

TEST(NamedEventTest, TheEngineReportsAnEventThatItCannotOpen) {
  NamedEvent event(own_name("unopened"), Reset::automatic);
  std::vector<std::string> reported;
  set_diagnostic_hook([&](const Error& error) { reported.push_back(error.description()); });
  LinuxNamedEvents engine;
  {
    const ground::testing::NoDescriptors none;
    engine.signal(own_name("unopened"));
  }
  engine.signal(own_name("nobody's"));
  set_diagnostic_hook({});
  EXPECT_EQ(reported, std::vector<std::string>{"mq_open: Too many open files"});
  EXPECT_FALSE(event.wait(milliseconds(0)));
}

TEST(NamedEventTest, AManualEventStaysSet) {
  NamedEvent event(own_name("manual"), Reset::manual);
  event.set();
  event.set();
  EXPECT_TRUE(event.wait(milliseconds(0)));
  EXPECT_TRUE(event.wait(milliseconds(0)));
  event.reset();
  EXPECT_FALSE(event.wait(milliseconds(0)));
  event.reset();  // nothing to take back
}

TEST(NamedEventTest, WaitEndsAtItsTimeAndNotBefore) {
  NamedEvent event(own_name("timeout"), Reset::automatic);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(event.wait(milliseconds(30)));
  EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(30));
}

TEST(NamedEventTest, AnotherProcessSignals) {
  NamedEvent event(own_name("other"), Reset::automatic);
  Forked second([] {
    LinuxNamedEvents().signal("kvwmi-test-" + std::to_string(::getppid()) + "-other");
    return 0;
  });
  EXPECT_TRUE(event.wait(seconds(10)));
  EXPECT_EQ(second.wait(), 0);
}

TEST(NamedEventTest, AnotherProcessWaits) {
  const std::string name = own_name("waits");
  NamedEvent event(name, Reset::automatic);
  Forked second([&] { return NamedEvent(name, Reset::automatic).wait(seconds(10)) ? 0 : 1; });
  LinuxNamedEvents().signal(name);
  EXPECT_EQ(second.wait(), 0);
  EXPECT_FALSE(event.wait(milliseconds(0))) << "the other one took the signal";
}

TEST(NamedEventTest, OneSignalReleasesOneOfSeveralWaiters) {
  const std::string name = own_name("race");
  std::atomic<int> released = 0;
  std::atomic<bool> ended = false;
  std::vector<std::thread> waiters;
  for (int i = 0; i < 4; ++i) {
    waiters.emplace_back([&] {
      NamedEvent event(name, Reset::automatic);
      while (!ended) released += event.wait(milliseconds(5)) ? 1 : 0;
    });
  }
  NamedEvent event(name, Reset::automatic);
  for (int signals = 1; signals <= 200; ++signals) {
    event.set();
    ASSERT_TRUE(testing::eventually([&] { return released == signals; })) << signals;
  }
  ended = true;
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(released, 200);
}

TEST(NamedEventTest, TheResetModeBelongsToTheEvent) {
  NamedEvent first(own_name("mode"), Reset::manual);
  NamedEvent second(own_name("mode"), Reset::automatic);
  EXPECT_EQ(second.reset_mode(), Reset::manual);
  first.set();
  EXPECT_TRUE(second.wait(milliseconds(0)));
  EXPECT_TRUE(first.wait(milliseconds(0)));
}

TEST(NamedEventTest, LivesAsLongAsSomebodyHoldsIt) {
  const std::string name = own_name("life");
  {
    NamedEvent first(name, Reset::automatic);
    {
      NamedEvent second(name, Reset::automatic);
      second.set();
    }
    EXPECT_TRUE(exists(name));
    EXPECT_TRUE(first.wait(milliseconds(0)));
  }
  EXPECT_FALSE(exists(name));
}

TEST(NamedEventTest, WhatAKilledProcessLeftIsTakenOverAsANewEvent) {
  const std::string name = own_name("killed");
  Forked second([&] {
    NamedEvent event(name, Reset::manual);
    event.set();
    for (;;) ::pause();
    return 0;
  });
  ASSERT_TRUE(testing::eventually([&] {
    const ground::Descriptor queue(::mq_open(queue_name(name)->c_str(), O_RDONLY | O_NONBLOCK));
    pollfd set{queue.get(), POLLIN, 0};
    return queue && ::poll(&set, 1, 0) == 1;
  }));
  second.kill();
  EXPECT_EQ(second.wait(), 128 + SIGKILL);
  ASSERT_TRUE(exists(name)) << "queues outlive their processes";
  NamedEvent event(name, Reset::automatic);
  EXPECT_EQ(event.reset_mode(), Reset::automatic);
  EXPECT_FALSE(event.wait(milliseconds(0)));
}

TEST(NamedEventTest, IsForItsOwnerOnly) {
  NamedEvent event(own_name("mode0600"), Reset::automatic);
  struct stat status {};
  ASSERT_EQ(::fstat(static_cast<int>(event.native_handle()), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  if (::geteuid() != 0) GTEST_SKIP() << "only root can try as somebody else";
  Forked somebody_else([&] {
    if (::setuid(65534) != 0) return 2;
    LinuxNamedEvents().signal(own_name("mode0600"));
    const std::string name = "kvwmi-test-" + std::to_string(::getppid()) + "-mode0600";
    LinuxNamedEvents().signal(name);
    try {
      NamedEvent theirs(name, Reset::automatic);
      return 1;
    } catch (const Error& error) {
      return error.number() == static_cast<std::int32_t>(0x80070005) ? 0 : 3;
    }
  });
  EXPECT_EQ(somebody_else.wait(), 0);
  EXPECT_FALSE(event.wait(milliseconds(0)));
}

TEST(NamedEventTest, RefusesNamesThatNoEventCanHave) {
  for (const std::string& name : {std::string(), std::string(R"(a\b)")}) {
    try {
      NamedEvent event(name, Reset::automatic);
      ADD_FAILURE() << name;
    } catch (const Error& error) {
      EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x8007007B));
      EXPECT_EQ(error.description(),
                "No event can be named \"" + name + "\": the name is empty or has a backslash");
    }
  }
}

/// Whether a thread of this process waits for something.
bool sleeps(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  return text.find(") S ") != std::string::npos;
}

TEST(NamedEventTest, TheLongestWaitWaits) {
  NamedEvent event(own_name("longest"), Reset::automatic);
  std::atomic<pid_t> agent = 0;
  std::thread thread([&] {
    agent = ::gettid();
    EXPECT_TRUE(event.wait(milliseconds::max()));
  });
  EXPECT_TRUE(testing::eventually([&] { return agent != 0 && sleeps(agent); }));
  event.set();
  thread.join();
  EXPECT_FALSE(event.wait(milliseconds::min()));
}

/// What is said to a process without a right that its limit would not bound.
std::string refusal(const std::string& name, int resource, rlim_t limit) {
  std::array<int, 2> pipe{};
  if (::pipe(pipe.data()) != 0) throw std::runtime_error("no pipe");
  const ground::Descriptor said(pipe[0]);
  Forked limited([&] {
    if (::geteuid() == 0 && ::setuid(65534) != 0) return 1;
    const rlimit both{limit, limit};
    if (::setrlimit(static_cast<__rlimit_resource>(resource), &both) != 0) return 2;
    try {
      NamedEvent event(name, Reset::automatic);
      return 3;
    } catch (const Error& error) {
      if (error.number() != static_cast<std::int32_t>(0x800705AA)) return 4;
      const std::string& text = error.description();
      return ::write(pipe[1], text.data(), text.size()) > 0 ? 0 : 5;
    }
  });
  ::close(pipe[1]);
  std::string text(200, '\0');
  const ssize_t length = ::read(said.get(), text.data(), text.size());
  EXPECT_EQ(limited.wait(), 0);
  return text.substr(0, length > 0 ? static_cast<std::size_t>(length) : 0);
}

TEST(NamedEventTest, SaysWhichLimitWasReached) {
  EXPECT_EQ(refusal(own_name("memory"), RLIMIT_MSGQUEUE, 0),
            "mq_open: this user's queues have all the memory that they may (ulimit -q)");
  EXPECT_EQ(refusal(own_name("descriptors"), RLIMIT_NOFILE, 3), "mq_open: Too many open files");
}

TEST(NamedEventTest, RefusesAQueueThatIsNoEvent) {
  const std::string queue = *queue_name(own_name("foreign"));
  mq_attr attributes{};
  attributes.mq_maxmsg = 5;
  attributes.mq_msgsize = 64;
  const ground::Descriptor foreign(
      ::mq_open(queue.c_str(), O_RDWR | O_CREAT, S_IRUSR | S_IWUSR, &attributes));
  ASSERT_TRUE(foreign);
  try {
    NamedEvent event(own_name("foreign"), Reset::automatic);
    ADD_FAILURE();
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80070006));
  }
  EXPECT_TRUE(exists(own_name("foreign")));
  LinuxNamedEvents().signal(own_name("foreign"));
  ASSERT_EQ(::mq_getattr(foreign.get(), &attributes), 0);
  EXPECT_EQ(attributes.mq_curmsgs, 0) << "nor does the engine write into it";
  ::mq_unlink(queue.c_str());
}

TEST(NamedEventTest, ItsDescriptorIsReadableWhileSet) {
  NamedEvent event(own_name("fd"), Reset::automatic);
  pollfd descriptor{static_cast<int>(event.native_handle()), POLLIN, 0};
  EXPECT_EQ(::poll(&descriptor, 1, 0), 0);
  event.set();
  EXPECT_EQ(::poll(&descriptor, 1, 0), 1);
  EXPECT_EQ(::poll(&descriptor, 1, 0), 1);
  EXPECT_TRUE(event.wait(milliseconds(0)));
  EXPECT_EQ(::poll(&descriptor, 1, 0), 0);
}

}  // namespace
}  // namespace kvwmi
