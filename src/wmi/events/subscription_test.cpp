#include "wmi/events/subscription.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "wmi/events/event_engine.h"
#include "wmi/memory_provider.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::seconds;

/// Holds up who arrives until `parties` are there.
class Meeting {
 public:
  explicit Meeting(int parties) : awaited_(parties) {}
  void arrive() {
    std::unique_lock lock(mutex_);
    --awaited_;
    changed_.notify_all();
    complete_ = changed_.wait_for(lock, seconds(20), [this] { return awaited_ <= 0; });
  }
  [[nodiscard]] bool complete() {
    const std::scoped_lock lock(mutex_);
    return complete_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int awaited_;
  bool complete_ = false;
};

/// A loop that never runs; who posts to it meets the others who do.
class MeetingLoop final : public Delivery {
 public:
  explicit MeetingLoop(Meeting& meeting) : meeting_(meeting) {}
  void post(std::function<void()> /*work*/) override { meeting_.arrive(); }

 private:
  Meeting& meeting_;
};

std::shared_ptr<MemoryProvider> logical_element(const std::string& name) {
  return std::make_shared<MemoryProvider>(
      MemoryClass{.name = name,
                  .properties = {{"Handle", cim::CimType::string, cim::kKey}},
                  .superclasses = {"CIM_LogicalElement"}});
}

// A superclass has one poll for each of its classes, and several threads may poll. That they do no harm to
// each other is the thread sanitizer's to say: here both have an event taken and then one dropped at the same
// time.
TEST(SubscriptionTest, SeveralPollsMayServeItAtOnce) {
  const std::vector<std::shared_ptr<MemoryProvider>> providers = {logical_element("Win32_Process"),
                                                                  logical_element("Win32_Thread")};
  Meeting meeting(2);
  std::atomic<int> reports = 0;
  const auto settings = std::make_shared<EventSettings>();
  settings->most_pending = 2;
  // Relaxed, so that a report puts the two threads in no order.
  settings->on_failure = [&](const Error&) { reports.fetch_add(1, std::memory_order_relaxed); };
  const auto engine = std::make_shared<EventEngine>(settings, [] {});
  const auto sink = std::make_shared<EventSink>([](wmi::Object&, const wmi::NamedValues&) {},
                                                std::make_shared<MeetingLoop>(meeting));
  const auto catalog = std::make_shared<const Catalog>(
      std::vector<std::shared_ptr<Provider>>(providers.begin(), providers.end()));
  const TimePoint begin(seconds(1000));
  engine->subscribe({sink,
                     "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA "
                     "'CIM_LogicalElement'",
                     0,
                     nullptr,
                     {},
                     catalog,
                     {"here", R"(root\CIMV2)"},
                     {}},
                    begin);
  ASSERT_EQ(engine->polls(), 2U);

  for (const auto& provider : providers) {
    for (const char* handle : {"1", "2"}) provider->add({{"Handle", handle}});
  }
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < providers.size(); ++i) {
    threads.emplace_back([&] { EXPECT_TRUE(engine->run_one(begin + seconds(1))); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(meeting.complete()) << "the polls came one after the other";
  EXPECT_GE(reports.load(), 1) << "nothing was dropped";
}

}  // namespace
}  // namespace kvwmi::embedded
