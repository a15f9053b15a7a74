// What the threads of the event service do while nothing happens, as the kernel counts it.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <condition_variable>
#include <mutex>
#include <string>

#include "wmi/events/event_service.h"
#include "wmi/memory_provider.h"
#include "wmi/service.h"

namespace kvwmi::ground {
namespace {

using std::chrono::milliseconds;

/// A loop that is not run: events are counted as they are posted.
class CountingLoop final : public embedded::Delivery {
 public:
  void post(std::function<void()> /*work*/) override {
    {
      const std::scoped_lock lock(mutex_);
      ++posted_;
    }
    changed_.notify_all();
  }
  bool has_got(int events) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return posted_ >= events; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int posted_ = 0;
};

long waits() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  return used.ru_nvcsw;
}

TEST(EventThreads, WakeOnceOrTwiceForAPoll) {
  const auto things = std::make_shared<embedded::MemoryProvider>(
      embedded::MemoryClass{.name = "Test_Thing", .properties = {{"Id", cim::CimType::string, cim::kKey}}});
  embedded::EventService::Options options;
  options.patience = milliseconds(20);
  const auto events = std::make_shared<embedded::EventService>(options);
  embedded::Service service;
  service.set_notifier(events);
  service.add(things);
  const auto connection = service.create_locator()->connect_server(wmi::ConnectArguments());
  const auto loop = std::make_shared<CountingLoop>();
  const auto sink = std::make_shared<embedded::EventSink>([](wmi::Object&, const wmi::NamedValues&) {}, loop);
  connection->exec_notification_query_async(
      sink, "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Test_Thing'", "WQL", 0,
      nullptr, {});

  // An event marks the end of a poll: between two of them lies one period.
  long before = 0;
  for (int event = 1; event <= 2; ++event) {
    before = waits();
    things->add({{"Id", std::to_string(event)}});
    ASSERT_TRUE(loop->has_got(event));
  }
  // One for each of the two and one for this thread, some more on a busy machine; of fifty patiences in a
  // period.
  EXPECT_LE(waits() - before, 20);
}

}  // namespace
}  // namespace kvwmi::ground
