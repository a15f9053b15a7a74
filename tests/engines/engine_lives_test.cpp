// Engines that come and go by the hundred over the machine's own event service, on several threads at once.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "frame/ground.h"
#include "kvwmi/message_loop.h"
#include "kvwmi/supervision.h"

namespace kvwmi {
namespace {

using namespace std::chrono_literals;

constexpr int kThreads = 4;
constexpr int kEnginesOfAThread = 250;
constexpr int kQuickOnes = 100;  ///< that end before anything can happen to them
constexpr int kWatchingAtOnce = 75;
constexpr auto kPatience = 60s;

/// This machine; the named event is set by a call, which is so made in the middle of an event's delivery.
class CallingGround final : public Ground, NamedEvents {
 public:
  using Call = std::function<void(const std::string& name)>;
  explicit CallingGround(Call call) : call_(std::move(call)) {}

  std::unique_ptr<wmi::Locator> create_locator() override { return machine_.create_locator(); }
  std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) override {
    return machine_.create_sink(std::move(handler));
  }
  Clock& clock() override { return machine_.clock(); }
  SystemInfo& system_info() override { return machine_.system_info(); }
  Windows& windows() override { return machine_.windows(); }
  Timers& timers() override { return machine_.timers(); }
  NamedEvents& named_events() override { return *this; }
  FileSystem& file_system() override { return machine_.file_system(); }
  IpAddressLibrary& ip_address_library() override { return machine_.ip_address_library(); }
  std::unique_ptr<ThreadBound>& thread_slot() override { return machine_.thread_slot(); }

 private:
  void signal(const std::string& name) override { call_(name); }

  Ground& machine_ = local_ground();
  const Call call_;
};

/// Has the free memory of the machine go up and down as long as it lives.
class Breathing {
 public:
  Breathing() {
    breather_ = std::thread([this] {
      constexpr std::size_t kSize = std::size_t{16} << 20U;
      for (bool filled = false; !over_; filled = !filled) {
        void* memory = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | (filled ? 0 : MAP_POPULATE), -1, 0);
        std::this_thread::sleep_for(700ms);
        if (memory != MAP_FAILED) ::munmap(memory, kSize);
      }
    });
  }
  ~Breathing() {
    over_ = true;
    breather_.join();
  }
  Breathing(const Breathing&) = delete;
  Breathing& operator=(const Breathing&) = delete;

 private:
  std::atomic<bool> over_ = false;
  std::thread breather_;
};

/// The engines of one thread.
class Engines {
 public:
  int made = 0;
  int ended_inside = 0;  ///< in the delivery of an event

  /// One engine after the other, without an event between.
  void quick(int count) {
    for (int i = 0; i < count; ++i) end(begin());
  }

  /// So many at a time, each of which ends inside an event until all have been made; then the rest.
  [[nodiscard]] bool end_inside_events(int at_once, int in_all) {
    most_ = in_all;
    while (static_cast<int>(living_.size()) < at_once && made < most_) begin();
    return message_loop::run_until([this] { return living_.empty(); }, kPatience);
  }

  /// Whether nothing keeps an engine any more.
  [[nodiscard]] bool all_gone() const { return living_.empty() && companion_.use_count() == 1; }

 private:
  std::string begin() {
    const std::string name = std::to_string(++made);
    auto engine = std::make_unique<Supervision>(ground_, companion_);
    engine->p_strSupervisionEventName(name);
    engine->m_Initialize();
    // More than nothing: every change of the free memory is an event.
    engine->m_SuperviseFreePhysicalMemorySize(1, made, 1, Currency::from_integer(0), 0, 1);
    living_.emplace(name, std::move(engine));
    return name;
  }
  void end(const std::string& name) {
    const auto engine = std::move(living_.extract(name).mapped());
    engine->m_Release();
  }

  /// Called inside the delivery of an event to `name`.
  void signalled(const std::string& name) {
    ASSERT_EQ(living_.count(name), 1U) << "an event for an engine that has ended";
    const auto itself = living_.find(name);
    // Another one ends in this event too; its own event may wait in the loop already.
    if (const auto next = std::next(itself); ended_inside % 3 == 0 && next != living_.end()) {
      end(std::string(next->first));
      ++ended_inside;
    }
    end(name);
    ++ended_inside;
    if (made < most_) begin();
  }

  CallingGround ground_{[this](const std::string& name) { signalled(name); }};
  std::shared_ptr<int> companion_ = std::make_shared<int>();
  std::map<std::string, std::unique_ptr<Supervision>> living_;
  int most_ = 0;
};

TEST(EngineLives, AThousandEnginesOnSeveralThreadsEndInsideAndOutsideOfEvents) {
  const Breathing breathing;
  std::atomic<int> made = 0;
  std::atomic<int> ended_inside = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      Engines engines;
      engines.quick(kQuickOnes);
      EXPECT_TRUE(engines.end_inside_events(kWatchingAtOnce, kEnginesOfAThread)) << "events are missing";
      EXPECT_TRUE(engines.all_gone());
      made += engines.made;
      ended_inside += engines.ended_inside;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(made, kThreads * kEnginesOfAThread);
  EXPECT_EQ(ended_inside, kThreads * (kEnginesOfAThread - kQuickOnes));
}

}  // namespace
}  // namespace kvwmi
