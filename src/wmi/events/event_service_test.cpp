#include "wmi/events/event_service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "frame/testing/eventually.h"
#include "frame/wmi_status.h"
#include "wmi/memory_provider.h"
#include "wmi/service.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::eventually;

/// A thread's loop in its simplest form.
class Loop final : public Delivery {
 public:
  void post(std::function<void()> work) override {
    const std::scoped_lock lock(mutex_);
    work_.push_back(std::move(work));
    changed_.notify_one();
  }
  template <typename Condition>
  bool run_until(Condition condition, std::chrono::steady_clock::duration patience = seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
      std::function<void()> work;
      {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_until(lock, deadline, [&] { return !work_.empty(); })) return condition();
        work = std::move(work_.front());
        work_.pop_front();
      }
      work();
    }
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> work_;
};

/// A class whose enumeration hangs while it is told to.
class HangingProvider final : public Provider {
 public:
  explicit HangingProvider(const std::string& name, std::vector<std::string> superclasses = {})
      : memory_(MemoryClass{.name = name,
                            .properties = {{"Id", cim::CimType::string, cim::kKey}},
                            .superclasses = std::move(superclasses)}) {}
  const cim::Class& schema() const override { return memory_.schema(); }
  void enumerate(const Request& request, const RowSink& sink) override {
    {
      std::unique_lock lock(mutex_);
      ++waiting_;
      changed_.wait(lock, [&] { return !hangs_; });
      --waiting_;
      if (fails_) throw wmi::wmi_error(wmi::Status::provider_failure, "Test_Dead");
    }
    memory_.enumerate(request, sink);
  }
  void hang(bool hangs) {
    const std::scoped_lock lock(mutex_);
    hangs_ = hangs;
    changed_.notify_all();
  }
  void fail(bool fails) {
    const std::scoped_lock lock(mutex_);
    fails_ = fails;
  }
  [[nodiscard]] int waiting() {
    const std::scoped_lock lock(mutex_);
    return waiting_;
  }
  MemoryProvider& rows() { return memory_; }

 private:
  MemoryProvider memory_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool hangs_ = false;
  bool fails_ = false;
  int waiting_ = 0;
};

struct EventServiceTest : ::testing::Test {
  std::shared_ptr<Loop> loop = std::make_shared<Loop>();
  std::shared_ptr<EventService> events = std::make_shared<EventService>(options());
  Service service;
  std::shared_ptr<MemoryProvider> things = std::make_shared<MemoryProvider>(
      MemoryClass{.name = "Test_Thing", .properties = {{"Id", cim::CimType::string, cim::kKey}}});
  std::shared_ptr<HangingProvider> dead = std::make_shared<HangingProvider>("Test_Dead");
  std::shared_ptr<wmi::Services> connection;
  std::vector<std::string> seen;

  EventServiceTest() {
    service.set_notifier(events);
    service.add(things);
    service.add(dead);
    wmi::ConnectArguments arguments;
    arguments.name_space = wmi::kCimv2;
    connection = service.create_locator()->connect_server(arguments);
  }
  ~EventServiceTest() override { dead->hang(false); }

  static EventService::Options options() {
    EventService::Options result;
    result.patience = milliseconds(20);
    result.admission = kAdmission;
    return result;
  }
  static constexpr auto kAdmission = seconds(1);
  std::shared_ptr<wmi::Sink> make_sink() {
    return std::make_shared<EventSink>(
        [this](wmi::Object& event, const wmi::NamedValues&) {
          const wmi::Value target = event.get("TargetInstance");
          const wmi::Value id = (*target.get_if<std::shared_ptr<wmi::Object>>())->get("Id");
          seen.push_back(*id.get_if<std::string>());
        },
        loop);
  }
  void subscribe(const std::shared_ptr<wmi::Sink>& sink, const std::string& name) {
    connection->exec_notification_query_async(
        sink, "SELECT * FROM __InstanceCreationEvent WITHIN 0.02 WHERE TargetInstance ISA '" + name + "'",
        "WQL", 0, nullptr, {});
  }
};

TEST_F(EventServiceTest, DeliversThroughTheSubscribersLoop) {
  const auto sink = make_sink();
  EXPECT_EQ(events->threads(), 0U) << "no thread before the first subscription";
  subscribe(sink, "Test_Thing");
  things->add({{"Id", "1"}});
  EXPECT_TRUE(loop->run_until([&] { return seen.size() == 1; }));
  EXPECT_EQ(seen[0], "1");
  EXPECT_EQ(events->threads(), 2U);
}

TEST_F(EventServiceTest, AProviderThatHangsHoldsUpItsOwnClassOnly) {
  const auto sink = make_sink();
  subscribe(sink, "Test_Dead");
  subscribe(sink, "Test_Thing");
  dead->hang(true);
  while (dead->waiting() == 0) std::this_thread::yield();
  dead->rows().add({{"Id", "late"}});
  for (int i = 0; i < 20; ++i) {
    things->add({{"Id", std::to_string(i)}});
    ASSERT_TRUE(loop->run_until([&] { return seen.size() == static_cast<std::size_t>(i) + 1; })) << i;
    EXPECT_EQ(seen.back(), std::to_string(i));
  }
  dead->hang(false);
  EXPECT_TRUE(loop->run_until([&] { return seen.back() == "late"; }));
  things->add({{"Id", "after"}});
  EXPECT_TRUE(loop->run_until([&] { return seen.back() == "after"; }));
}

TEST_F(EventServiceTest, AClassThatHangsRefusesNewSubscriptionsAndHoldsNobody) {
  const auto sink = make_sink();
  subscribe(sink, "Test_Dead");
  dead->hang(true);
  while (dead->waiting() == 0) std::this_thread::yield();

  // More of them than the service may have threads.
  std::atomic<int> refused = 0;
  std::vector<std::thread> subscribers;
  for (int i = 0; i < 20; ++i) {
    subscribers.emplace_back([&] {
      const auto begun = std::chrono::steady_clock::now();
      const auto own_sink = make_sink();
      try {
        subscribe(own_sink, "Test_Dead");
      } catch (const Error& error) {
        EXPECT_TRUE(wmi::is_status(error, wmi::Status::provider_failure));
        EXPECT_GE(std::chrono::steady_clock::now() - begun, kAdmission);
        ++refused;
      }
    });
  }
  const auto other = make_sink();
  subscribe(other, "Test_Thing");
  things->add({{"Id", "1"}});
  EXPECT_TRUE(loop->run_until([&] { return seen.size() == 1; })) << "the others go on meanwhile";
  for (std::thread& subscriber : subscribers) subscriber.join();
  EXPECT_EQ(refused, 20);
  EXPECT_EQ(dead->waiting(), 1) << "nobody asks a second time while it hangs";
  EXPECT_LE(events->threads(), 3U);

  seen.clear();
  dead->rows().add({{"Id", "late"}});
  dead->hang(false);
  EXPECT_TRUE(loop->run_until([&] { return !seen.empty(); }));
  const auto again = make_sink();
  subscribe(again, "Test_Dead");
  dead->rows().add({{"Id", "later"}});
  EXPECT_TRUE(loop->run_until([&] { return seen.size() == 3; }));
  EXPECT_EQ(seen, (std::vector<std::string>{"late", "later", "later"})) << "nothing is left of the refused";
}

TEST_F(EventServiceTest, TheFirstSubscriptionToAClassThatHangsIsRefusedToo) {
  dead->hang(true);
  const auto sink = make_sink();
  try {
    subscribe(sink, "Test_Dead");
    ADD_FAILURE() << "taken";
  } catch (const Error& error) {
    EXPECT_TRUE(wmi::is_status(error, wmi::Status::provider_failure));
    ASSERT_NE(error.query_diagnostic(), nullptr);
    EXPECT_EQ(error.query_diagnostic()->message, "the source of the class does not answer");
  }
  subscribe(sink, "Test_Thing");
  things->add({{"Id", "1"}});
  EXPECT_TRUE(loop->run_until([&] { return seen.size() == 1; }));
  dead->hang(false);
}

TEST_F(EventServiceTest, ManySubscribersComeAndGoOnManyThreads) {
  std::atomic<int> delivered = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      wmi::ConnectArguments arguments;
      arguments.name_space = wmi::kCimv2;
      const auto own = service.create_locator()->connect_server(arguments);
      const auto own_loop = std::make_shared<Loop>();
      for (int round = 0; round < 20; ++round) {
        int events_here = 0;
        std::shared_ptr<wmi::Sink> sink = std::make_shared<EventSink>(
            [&](wmi::Object& event, const wmi::NamedValues&) {
              static_cast<void>(event.properties());
              ++events_here;
            },
            own_loop);
        own->exec_notification_query_async(
            sink, "SELECT * FROM __InstanceCreationEvent WITHIN 0.01 WHERE TargetInstance ISA 'Test_Thing'",
            "WQL", 0, nullptr, {});
        const auto row = things->add({{"Id", std::to_string(t) + '.' + std::to_string(round)}});
        EXPECT_TRUE(own_loop->run_until([&] { return events_here > 0; }));
        sink.reset();
        things->remove(row);
        ++delivered;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(delivered, 80);
}

TEST_F(EventServiceTest, ASinkMayOutliveTheService) {
  const auto sink = make_sink();
  subscribe(sink, "Test_Thing");
  service.set_notifier(nullptr);
  events.reset();
  things->add({{"Id", "1"}});
  EXPECT_FALSE(loop->run_until([&] { return !seen.empty(); }, milliseconds(50)));
}

TEST_F(EventServiceTest, EndsWhileProvidersAreHeldUp) {
  const auto sink = make_sink();
  subscribe(sink, "Test_Dead");
  dead->hang(true);
  while (dead->waiting() == 0) std::this_thread::yield();
  std::thread released([&] { dead->hang(false); });
  service.set_notifier(nullptr);
  events.reset();
  released.join();
}

/// A service of three threads, and as many classes that may hang.
struct FewThreadsTest : EventServiceTest {
  std::vector<std::shared_ptr<HangingProvider>> hanging;
  std::shared_ptr<wmi::Sink> sink = make_sink();
  std::atomic<bool> out_of_threads = false;
  std::atomic<int> refused_threads = 0;

  FewThreadsTest() {
    auto few = options();
    few.most_threads = 3;
    few.begin_thread = [this](std::function<void()> work) {
      if (out_of_threads) {
        ++refused_threads;
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
      }
      return std::thread(std::move(work));
    };
    events = std::make_shared<EventService>(few);
    service.set_notifier(events);
    for (const char* name : {"Test_Dead0", "Test_Dead1", "Test_Dead2"}) {
      hanging.push_back(std::make_shared<HangingProvider>(name));
      service.add(hanging.back());
    }
  }
  ~FewThreadsTest() override {
    for (const auto& provider : hanging) provider->hang(false);
    service.set_notifier(nullptr);
    events.reset();
  }

  void subscribe_to_all() {
    subscribe(sink, "Test_Thing");
    for (const auto& provider : hanging) subscribe(sink, std::string(provider->schema().name));
  }
  /// Has a class hang, or not any more, and waits until it does.
  void hang(HangingProvider& provider, bool hangs) {
    provider.hang(hangs);
    EXPECT_TRUE(eventually([&] { return provider.waiting() == (hangs ? 1 : 0); }));
  }
  bool delivers(const std::string& id) {
    things->add({{"Id", id}});
    return loop->run_until([&] { return std::find(seen.begin(), seen.end(), id) != seen.end(); });
  }
};

TEST_F(FewThreadsTest, OnceTheThreadsRanOutTheNextHangIsStillNoticed) {
  subscribe_to_all();
  for (int round = 0; round < 3; ++round) {
    // Two threads held and the third polls, with nobody to watch it.
    for (int i : {0, 1}) hang(*hanging[static_cast<std::size_t>(i)], true);
    EXPECT_TRUE(delivers("two hang " + std::to_string(round)));
    for (int i : {0, 1}) hang(*hanging[static_cast<std::size_t>(i)], false);
    hang(*hanging[2], true);
    EXPECT_TRUE(delivers("one hangs " + std::to_string(round)));
    hang(*hanging[2], false);
  }
  EXPECT_LE(events->threads(), 3U);
}

TEST_F(FewThreadsTest, WhenAllAreHeldUpTheFirstThatReturnsServesTheRest) {
  subscribe_to_all();
  for (const auto& provider : hanging) hang(*provider, true);
  things->add({{"Id", "held"}});
  hang(*hanging[1], false);
  EXPECT_TRUE(delivers("one returned"));
  EXPECT_EQ(hanging[0]->waiting() + hanging[2]->waiting(), 2);
  hang(*hanging[0], false);
  hang(*hanging[2], false);
  EXPECT_TRUE(eventually([&] { return events->threads() <= 3U; }));
  hang(*hanging[0], true);
  EXPECT_TRUE(delivers("watched again"));
}

TEST_F(FewThreadsTest, WithoutAThreadASubscriptionIsRefusedAndTheNextOneTriesAgain) {
  out_of_threads = true;
  try {
    subscribe(sink, "Test_Thing");
    ADD_FAILURE() << "taken";
  } catch (const Error& error) {
    EXPECT_TRUE(wmi::is_status(error, wmi::Status::provider_failure));
  }
  EXPECT_EQ(events->threads(), 0U);
  out_of_threads = false;
  subscribe(sink, "Test_Thing");
  EXPECT_TRUE(delivers("1"));
  EXPECT_EQ(events->threads(), 2U);
}

TEST_F(FewThreadsTest, AThreadThatCannotBeMadeIsMadeLater) {
  subscribe_to_all();
  out_of_threads = true;
  hang(*hanging[0], true);
  EXPECT_TRUE(delivers("unwatched"));
  EXPECT_TRUE(eventually([&] { return refused_threads > 0; }));
  EXPECT_EQ(events->threads(), 2U) << "none is counted that was not made";
  out_of_threads = false;
  EXPECT_TRUE(eventually([&] { return events->threads() == 3U; }));
  hang(*hanging[1], true);
  EXPECT_TRUE(delivers("watched again"));
}

TEST_F(EventServiceTest, WhoeverTakesTheFailuresMayRaise) {
  std::atomic<int> reports = 0;
  auto raising = options();
  raising.settings.on_failure = [&](const Error&) {
    ++reports;
    throw std::runtime_error("the log is full");
  };
  events = std::make_shared<EventService>(raising);
  service.set_notifier(events);
  const auto sink = make_sink();
  subscribe(sink, "Test_Thing");
  subscribe(sink, "Test_Dead");
  dead->fail(true);
  dead->rows().add({{"Id", "dead"}});
  EXPECT_TRUE(eventually([&] { return reports == 1; }));
  things->add({{"Id", "1"}});
  EXPECT_TRUE(loop->run_until([&] { return seen.size() == 1; }));
  dead->fail(false);
  EXPECT_TRUE(loop->run_until([&] { return seen.size() == 2; }));
  service.set_notifier(nullptr);
  events.reset();
}

TEST_F(EventServiceTest, ARefusedSubscriptionOnSeveralClassesDeliversNothing) {
  const auto alive =
      std::make_shared<MemoryProvider>(MemoryClass{.name = "Win32_Process",
                                                   .properties = {{"Id", cim::CimType::string, cim::kKey}},
                                                   .superclasses = {"CIM_LogicalElement"}});
  const auto hanging =
      std::make_shared<HangingProvider>("Win32_Thread", std::vector<std::string>{"CIM_LogicalElement"});
  service.add(alive);
  service.add(hanging);
  const auto witness = make_sink();
  subscribe(witness, "Win32_Process");
  hanging->hang(true);

  // Rows come all the while, each seen by the poll that serves the witness and the refused one.
  std::atomic<bool> over = false;
  std::thread rows([&] {
    for (int i = 0; !over; ++i) {
      alive->add({{"Id", std::to_string(i)}});
      std::this_thread::sleep_for(milliseconds(5));
    }
  });
  std::vector<std::string> events_of_refused;
  const auto sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        events_of_refused.emplace_back(event.class_name());
      },
      loop);
  EXPECT_THROW(subscribe(sink, "CIM_LogicalElement"), Error);
  over = true;
  rows.join();
  alive->add({{"Id", "last"}});
  EXPECT_TRUE(loop->run_until([&] { return !seen.empty() && seen.back() == "last"; }));
  EXPECT_GT(seen.size(), 1U);
  EXPECT_EQ(events_of_refused, std::vector<std::string>{});

  hanging->hang(false);
  subscribe(sink, "CIM_LogicalElement");
  hanging->rows().add({{"Id", "thread"}});
  EXPECT_TRUE(loop->run_until([&] { return !events_of_refused.empty(); }));
  service.set_notifier(nullptr);
  events.reset();
}

}  // namespace
}  // namespace kvwmi::embedded
