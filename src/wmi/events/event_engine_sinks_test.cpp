#include "wmi/events/event_engine.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "frame/wmi_status.h"
#include "wmi/events/testing/engine_fixture.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::seconds;
using testing::EventEngineTest;
using testing::kProcessStarts;
using testing::TestLoop;
using testing::Texts;
using wmi::Status;

TEST_F(EventEngineTest, DroppingTheSinkEndsItsSubscriptionsAtOnce) {
  subscribe(kProcessStarts);
  add_process("1", "a");
  now += seconds(1);
  engine->run_one(now);
  EXPECT_EQ(loop->waiting(), 1U);
  sink.reset();
  loop->run();
  EXPECT_EQ(take(), Texts{}) << "what was posted before is not delivered after";
  pass(seconds(0));
  EXPECT_EQ(engine->polls(), 0U);
}

TEST_F(EventEngineTest, ASinkMayBeDroppedInsideItsDelivery) {
  auto held = std::make_shared<int>(7);
  sink = std::make_shared<EventSink>(
      [this, held](wmi::Object& event, const wmi::NamedValues&) {
        sink.reset();
        EXPECT_EQ(*held, 7) << "the handler is still there";
        seen.push_back(described(event, {}));
      },
      loop);
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'");
  add_process("1", "a");
  add_process("2", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
  EXPECT_EQ(held.use_count(), 1) << "the handler ends on its own thread";
  pass(seconds(5));
  EXPECT_EQ(engine->polls(), 0U);
}

TEST_F(EventEngineTest, OtherSinksGoOn) {
  subscribe(kProcessStarts, "first");
  const auto other = std::exchange(sink, make_sink());
  subscribe(kProcessStarts, "second");
  sink.reset();
  add_process("1", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"first __InstanceCreationEvent 1"});
}

TEST_F(EventEngineTest, SubscriptionsThatComeAndGoLeaveNothingInTheSchedule) {
  subscribe(kProcessStarts);
  const auto kept = sink;
  for (int i = 0; i < 1000; ++i) {
    sink = make_sink();
    subscribe(kProcessStarts);
    sink.reset();
    while (engine->run_one(now)) continue;
    ASSERT_EQ(engine->scheduled(), 1U) << i;
  }
  add_process("1", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
}

TEST_F(EventEngineTest, ASinkThatIsNotServedLosesWhatIsTooMuch) {
  settings->most_pending = 3;
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'");
  for (int i = 0; i < 10; ++i) add_process(std::to_string(i), "a");
  now += seconds(1);
  engine->run_one(now);
  EXPECT_EQ(loop->waiting(), 3U);
  ASSERT_EQ(failures.size(), 1U) << "reported once";
  EXPECT_TRUE(wmi::is_status(failures[0], Status::queue_overflow));
  loop->run();
  add_process("late", "a");
  pass(seconds(1));
  EXPECT_EQ(take().back(), "__InstanceCreationEvent late");
}

TEST(EventChannelTest, AListenerAtTheAddressOfAnotherHearsOfTheClose) {
  const int address = 0;
  Texts heard;
  {
    EventSink sink([](wmi::Object&, const wmi::NamedValues&) {}, std::make_shared<TestLoop>());
    sink.channel()->on_close(&address, [&] { heard.emplace_back("first"); });
    sink.channel()->on_close(&address, [&] { heard.emplace_back("second"); });
  }
  EXPECT_EQ(heard, Texts{"second"});
}

/// A subscriber whose loop takes no work for a while.
struct FailingLoopTest : EventEngineTest {
  std::shared_ptr<TestLoop> failing_loop = std::make_shared<TestLoop>();
  int delivered = 0;
  std::shared_ptr<wmi::Sink> failing_sink = std::make_shared<EventSink>(
      [this](wmi::Object&, const wmi::NamedValues&) { ++delivered; }, failing_loop);

  void subscribe_failing(const std::string& query) {
    connection->exec_notification_query_async(failing_sink, query, "WQL", 0, nullptr, {});
    failing_loop->fails = true;
  }
};

TEST_F(FailingLoopTest, LosesItsEventsAndNobodyElses) {
  settings->most_pending = 1;
  subscribe_failing(kProcessStarts);
  subscribe(kProcessStarts);
  for (const char* handle : {"1", "2"}) {
    add_process(handle, "a");
    pass(seconds(1));
    ASSERT_TRUE(engine->due());
    EXPECT_GT(*engine->due(), now) << "what is due for ever is run for ever";
  }
  EXPECT_EQ(take(), (Texts{"__InstanceCreationEvent 1", "__InstanceCreationEvent 2"}));
  EXPECT_EQ(failures.size(), 1U) << "the first of a row";
  failing_loop->fails = false;
  add_process("3", "a");
  pass(seconds(1));
  failing_loop->run();
  EXPECT_EQ(delivered, 1) << "what was not taken does not wait";
}

TEST_F(FailingLoopTest, LosesTheGroupsThatEnd) {
  subscribe_failing(kProcessStarts + std::string(" GROUP WITHIN 2"));
  add_process("1", "a");
  pass(seconds(5));
  EXPECT_EQ(failures.size(), 1U);
  ASSERT_TRUE(engine->due());
  EXPECT_GT(*engine->due(), now);
}

TEST_F(FailingLoopTest, DoesNotHinderANewSubscription) {
  subscribe_failing(kProcessStarts);
  add_process("1", "a");
  subscribe(kProcessStarts);
  EXPECT_EQ(failures.size(), 1U) << "the event was found on the way";
  add_process("2", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 2"});
}

}  // namespace
}  // namespace kvwmi::embedded
