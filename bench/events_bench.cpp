// Polling for processes with 2,000 of them: what a poll costs with one watch and with 10,000, on a machine
// where processes come and go and on one at rest, and how long a change takes from the poll that finds it to
// the agent.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
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
#include "wmi/events/event_engine.h"

namespace kvwmi::bench {
namespace {

using embedded::TimePoint;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kProcesses = 2000;
constexpr int kWatches = 10'000;
constexpr int kRounds = 21;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(2);
}

/// A child under a name of its own that does nothing until it is killed.
pid_t sleeper(const char* name) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::prctl(PR_SET_NAME, name);
    for (;;) ::pause();
  }
  require(pid > 0, "cannot fork");
  return pid;
}

void end(pid_t pid) {
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

class Population {
 public:
  Population() {
    for (int i = 0; i < kProcesses; ++i) pids_.push_back(sleeper("kvw-sleeper"));
  }
  ~Population() {
    for (const pid_t pid : pids_) ::kill(pid, SIGKILL);
    for (const pid_t pid : pids_) ::waitpid(pid, nullptr, 0);
  }
  Population(const Population&) = delete;
  Population& operator=(const Population&) = delete;

 private:
  std::vector<pid_t> pids_;
};

class Loop final : public embedded::Delivery {
 public:
  void post(std::function<void()> work) override { work_.push_back(std::move(work)); }
  void run() {
    for (; !work_.empty(); work_.pop_front()) work_.front()();
  }

 private:
  std::deque<std::function<void()>> work_;
};

/// Counts what goes through to the provider of processes.
class CountingProvider final : public embedded::Provider {
 public:
  explicit CountingProvider(std::shared_ptr<embedded::Provider> inner) : inner_(std::move(inner)) {}
  const cim::Class& schema() const override { return inner_->schema(); }
  void enumerate(const embedded::Request& request, const embedded::RowSink& sink) override {
    ++enumerations;
    inner_->enumerate(request, sink);
  }
  std::optional<std::uint64_t> change_token(std::span<const std::size_t> columns) override {
    return inner_->change_token(columns);
  }
  int enumerations = 0;

 private:
  std::shared_ptr<embedded::Provider> inner_;
};

/// The engine with a number of process watches, driven by hand.
class Watches {
 public:
  explicit Watches(int watches) {
    for (auto& provider : ground::make_providers(machine_)) {
      if (provider->schema().name != "Win32_Process") continue;
      processes_ = std::make_shared<CountingProvider>(std::move(provider));
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

  struct Poll {
    double seconds;  ///< processor time
    bool enumerated;
  };
  /// One poll a period later.
  Poll poll() {
    now_ += seconds(1);
    const int before = processes_->enumerations;
    const double begin = processor_seconds();
    require(engine_->run_one(now_), "nothing was due");
    const double used = processor_seconds() - begin;
    loop_->run();
    return {used, processes_->enumerations != before};
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
  std::shared_ptr<CountingProvider> processes_;
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
  const Population population;
  Watches one(1);
  Watches many(kWatches);
  std::vector<double> one_seconds;
  std::vector<double> many_seconds;
  for (int i = 0; i < kRounds; ++i) {
    // Something comes and goes before each poll, so that it cannot be skipped. The one watch is for "kvw-0".
    const pid_t child = sleeper("kvw-0");
    one_seconds.push_back(one.poll().seconds);
    many_seconds.push_back(many.poll().seconds);
    end(child);
    static_cast<void>(one.poll());
    static_cast<void>(many.poll());
  }
  require(one.events == kRounds, "one watch missed a process");
  require(many.events == kRounds, "10,000 watches missed a process");
  claims.note("a poll with one watch, milliseconds of processor time", median(one_seconds) * 1e3);
  claims.note("a poll with 10,000 watches", median(many_seconds) * 1e3);
  claims.at_most("10,000 watches against one", median(many_seconds) / median(one_seconds), 1.2);

  std::vector<double> skipped;
  std::vector<double> enumerated;
  for (int i = 0; i < 60; ++i) {
    const auto poll = many.poll();
    (poll.enumerated ? enumerated : skipped).push_back(poll.seconds);
  }
  require(!skipped.empty() && !enumerated.empty(), "the machine was not at rest for one poll");
  claims.note("at rest, polls of 60 that were skipped", static_cast<double>(skipped.size()));
  claims.note("a skipped poll with 10,000 watches, microseconds", median(skipped) * 1e6);
  // On a machine at rest one poll of ten looks all the same.
  claims.at_most("10,000 watches at 1 Hz at rest, percent of a core",
                 (median(skipped) * 0.9 + median(enumerated) * 0.1) * 100, 0.5);
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
