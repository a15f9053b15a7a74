// Polling for processes with 2,000 of them: what a poll costs with one watch and with 10,000 where processes
// come and go, and how long a change takes from the poll that finds it to the agent.

#include <atomic>
#include <ctime>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "frame/ground.h"
#include "kvwmi/message_loop.h"
#include "kvwmi/supervision.h"
#include "linux/machine.h"
#include "linux/providers/make_providers.h"
#include "measure.h"
#include "records.h"
#include "sleepers.h"
#include "wmi/events/event_engine.h"
#include "wmi/events/event_service.h"
#include "wmi/service.h"

namespace kvwmi::bench {
namespace {

using embedded::TimePoint;
using std::chrono::seconds;

constexpr int kProcesses = 2000;
constexpr int kWatches = 10'000;
constexpr int kRounds = 21;
constexpr int kArrivals = 11;

class Loop final : public embedded::Delivery {
 public:
  void post(std::function<void()> work) override { work_.push_back(std::move(work)); }
  void run() {
    for (; !work_.empty(); work_.pop_front()) work_.front()();
  }

 private:
  std::deque<std::function<void()>> work_;
};

/// The engine with a number of process watches, driven by hand.
class Watches {
 public:
  explicit Watches(int watches) {
    for (auto& provider : ground::make_providers(machine_)) {
      if (provider->schema().name != "Win32_Process") continue;
      processes_ = std::move(provider);
    }
    const auto catalog = std::make_shared<const embedded::Catalog>(
        std::vector<std::shared_ptr<embedded::Provider>>{processes_});
    sink_ = std::make_shared<embedded::EventSink>([this](wmi::Object&, const wmi::NamedValues&) { ++events; },
                                                  loop_);
    const char* kinds[] = {"__InstanceCreationEvent", "__InstanceDeletionEvent"};
    for (int i = 0; i < watches; ++i) {
      const std::string query =
          std::string("SELECT * FROM ") + kinds[i % 2] +
          " WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'   AND TargetInstance.Name='kvw-" +
          std::to_string(i) + "'";
      engine_->subscribe({sink_, query, 0, nullptr, {}, catalog, {"bench", R"(root\CIMV2)"}, {}}, now_);
    }
    require(engine_->polls() == 1, "the watches share a poll");
  }

  /// Seconds of processor time of one poll a period later.
  double poll() {
    now_ += seconds(1);
    const double begin = processor_seconds();
    require(engine_->run_one(now_), "a poll is due");
    const double used = processor_seconds() - begin;
    loop_->run();
    return used;
  }
  int events = 0;

 private:
  static double processor_seconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  }

  const ground::Machine machine_;
  TimePoint now_{seconds(1'000'000)};
  std::shared_ptr<embedded::Provider> processes_;
  std::shared_ptr<Loop> loop_ = std::make_shared<Loop>();
  std::shared_ptr<wmi::Sink> sink_;
  std::shared_ptr<embedded::EventEngine> engine_ =
      std::make_shared<embedded::EventEngine>(std::make_shared<const embedded::EventSettings>(), [] {});
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void compare_polls(Claims& claims) {
  const Population population(kProcesses);
  Watches one(1);
  Watches many(kWatches);
  std::vector<double> one_seconds;
  std::vector<double> many_seconds;
  for (int i = 0; i < kRounds; ++i) {
    // Something comes and goes before each poll, so that it cannot be skipped. The one watch is for "kvw-0".
    const pid_t child = sleeper("kvw-0");
    one_seconds.push_back(one.poll());
    many_seconds.push_back(many.poll());
    end(child);
    static_cast<void>(one.poll());
    static_cast<void>(many.poll());
  }
  require(one.events == kRounds, "one watch sees each process");
  require(many.events == kRounds, "10,000 watches see each process");
  claims.note("a poll with one watch, milliseconds of processor time", median(one_seconds) * 1e3);
  claims.note("a poll with 10,000 watches", median(many_seconds) * 1e3);
  claims.at_most("10,000 watches against one", median(many_seconds) / median(one_seconds), 1.2);
}

/// The processes, telling when they were last enumerated to the end.
class TimedProcesses final : public embedded::Provider {
 public:
  explicit TimedProcesses(std::unique_ptr<embedded::Provider> processes) : processes_(std::move(processes)) {}
  [[nodiscard]] const cim::Class& schema() const override { return processes_->schema(); }
  void enumerate(const embedded::Request& request, const embedded::RowSink& sink) override {
    processes_->enumerate(request, sink);
    end_.store(std::chrono::steady_clock::now());
  }
  [[nodiscard]] std::optional<std::uint64_t> change_token(std::span<const std::size_t> columns) override {
    return processes_->change_token(columns);
  }
  [[nodiscard]] TimePoint end() const { return end_.load(); }

 private:
  const std::unique_ptr<embedded::Provider> processes_;
  std::atomic<TimePoint> end_ = TimePoint();
};

/// This machine, its processes timed.
class TimedGround final : public Ground {
 public:
  TimedGround() {
    service_.set_notifier(std::make_shared<embedded::EventService>());
    for (auto& provider : ground::make_providers(machine_)) {
      if (provider->schema().name == "Win32_Process") {
        processes_ = std::make_shared<TimedProcesses>(std::move(provider));
        service_.add(processes_);
      } else {
        service_.add(std::move(provider));
      }
    }
  }
  [[nodiscard]] TimePoint end_of_poll() const { return processes_->end(); }

  std::unique_ptr<wmi::Locator> create_locator() override { return service_.create_locator(); }
  std::shared_ptr<wmi::Sink> create_sink(wmi::ObjectReady handler) override {
    return local_.create_sink(std::move(handler));
  }
  Clock& clock() override { return local_.clock(); }
  SystemInfo& system_info() override { return local_.system_info(); }
  Windows& windows() override { return local_.windows(); }
  Timers& timers() override { return local_.timers(); }
  NamedEvents& named_events() override { return local_.named_events(); }
  FileSystem& file_system() override { return local_.file_system(); }
  IpAddressLibrary& ip_address_library() override { return local_.ip_address_library(); }

 private:
  Ground& local_ = local_ground();
  const ground::Machine machine_;
  embedded::Service service_;
  std::shared_ptr<TimedProcesses> processes_;
};

void measure_latency(Claims& claims) {
  const Population population(kProcesses);
  TimedGround ground;
  Supervision engine(ground);
  engine.m_Initialize();
  require(engine.m_SuperviseProcess(1, 9, "kvw-late", true, false, 1) == 0, "the watch is taken");
  const auto milliseconds_between = [](TimePoint from, TimePoint to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
  };
  std::vector<double> polls;
  std::vector<double> beyond;
  for (int i = 0; i < kArrivals; ++i) {
    const pid_t child = sleeper("kvw-late");
    // Polls begin at whole seconds.
    const TimePoint poll(std::chrono::ceil<seconds>(std::chrono::steady_clock::now().time_since_epoch()));
    const std::int32_t supervision = next_supervision(engine, seconds(5));
    const TimePoint popped = std::chrono::steady_clock::now();
    require(supervision == 9, "the record arrives");
    polls.push_back(milliseconds_between(poll, ground.end_of_poll()));
    beyond.push_back(milliseconds_between(ground.end_of_poll(), popped));
    end(child);
  }
  engine.m_Release();
  claims.note("a poll that finds a new process, milliseconds", median(polls));
  claims.at_most("from its end to the agent's popped record, milliseconds", median(beyond), 5);
}

int run() {
  Claims claims;
  measure_latency(claims);
  compare_polls(claims);
  return claims.exit_code();
}

}  // namespace
}  // namespace kvwmi::bench

int main() {
  return kvwmi::bench::run();
}
