// Polling for processes with 2,000 of them: what a poll costs with one watch and with 10,000 where processes
// come and go, and how long a change takes from the poll that finds it to the agent.

#include <ctime>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kvwmi/message_loop.h"
#include "kvwmi/supervision.h"
#include "linux/machine.h"
#include "linux/providers/make_providers.h"
#include "measure.h"
#include "sleepers.h"
#include "wmi/events/event_engine.h"

namespace kvwmi::bench {
namespace {

using embedded::TimePoint;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kProcesses = 2000;
constexpr int kWatches = 10'000;
constexpr int kRounds = 21;

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
    require(engine_->polls() == 1, "the watches do not share a poll");
  }

  /// Seconds of processor time of one poll a period later.
  double poll() {
    now_ += seconds(1);
    const double begin = processor_seconds();
    require(engine_->run_one(now_), "nothing was due");
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
  require(one.events == kRounds, "one watch missed a process");
  require(many.events == kRounds, "10,000 watches missed a process");
  claims.note("a poll with one watch, milliseconds of processor time", median(one_seconds) * 1e3);
  claims.note("a poll with 10,000 watches", median(many_seconds) * 1e3);
  claims.at_most("10,000 watches against one", median(many_seconds) / median(one_seconds), 1.2);
}

void measure_latency(Claims& claims) {
  Supervision engine;
  engine.m_Initialize();
  require(engine.m_SuperviseProcess(1, 9, "kvw-late", true, false, 1) == 0, "refused");
  std::vector<double> latencies;
  for (int i = 0; i < 5; ++i) {
    const auto begun = std::chrono::steady_clock::now();
    const pid_t child = sleeper("kvw-late");
    // Polls come at whole seconds.
    const TimePoint poll(std::chrono::ceil<seconds>(begun.time_since_epoch()));
    std::int32_t supervision = 0;
    std::string detail;
    const bool arrived = message_loop::run_until(
        [&] {
          engine.m_PopEventInfos(1, supervision, detail);
          return supervision != 0;
        },
        seconds(5));
    require(arrived && supervision == 9, "the record did not arrive");
    latencies.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - poll).count());
    end(child);
  }
  engine.m_Release();
  claims.at_most("from the poll to the agent's popped record, milliseconds", median(latencies) * 1e3, 5);
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
