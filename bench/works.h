#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kvwmi::bench {

/// Works that Google Benchmark times in one run and in turns, so that what disturbs the machine for a while
/// disturbs them all. Of each the processor time of its fastest repetition counts.
class Works {
 public:
  void add(std::string name, std::function<void()> work) {
    const auto timed = [work = std::move(work)](benchmark::State& state) {
      for (auto _ : state) work();
    };
    benchmark::RegisterBenchmark(name.c_str(), timed)
        ->Repetitions(kRepetitions)
        ->MinTime(kSecondsOfARepetition)
        ->ReportAggregatesOnly()
        ->ComputeStatistics(kFastest, [](const std::vector<double>& times) {
          return *std::min_element(times.begin(), times.end());
        });
    ++works_;
  }

  /// Arguments are Google Benchmark's; --help tells them. Where they leave works out, so that nothing can be
  /// claimed, the program ends here.
  void run(std::vector<char*> arguments) {
    std::string in_turns = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, in_turns.data());
    auto count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) std::exit(2);
    benchmark::RunSpecifiedBenchmarks(&collector_);
    if (collector_.nanoseconds.size() != works_) std::exit(0);
  }

  /// Of one of them, once they have run.
  [[nodiscard]] double nanoseconds(const std::string& name) const { return collector_.nanoseconds.at(name); }

 private:
  static constexpr int kRepetitions = 20;
  static constexpr double kSecondsOfARepetition = 0.01;
  static constexpr const char* kFastest = "fastest";

  struct Collector final : benchmark::ConsoleReporter {
    Collector() : ConsoleReporter(OO_None) {}
    void ReportRuns(const std::vector<Run>& runs) override {
      std::vector<Run> shown;
      for (const Run& run : runs) {
        if (run.aggregate_name != kFastest) continue;
        nanoseconds[run.run_name.function_name] = run.GetAdjustedCPUTime();
        shown.push_back(run);
      }
      ConsoleReporter::ReportRuns(shown);
    }
    std::map<std::string, double> nanoseconds;
  };

  std::size_t works_ = 0;
  Collector collector_;
};

}  // namespace kvwmi::bench
