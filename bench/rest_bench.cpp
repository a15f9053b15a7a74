// What 10,000 process watches, each polled every second, use in a minute in which nothing happens on a
// machine with 2,000 processes.

#include <sys/resource.h>

#include <chrono>
#include <fstream>
#include <string>

#include "kvwmi/message_loop.h"
#include "kvwmi/supervision.h"
#include "measure.h"
#include "records.h"
#include "sleepers.h"

namespace kvwmi::bench {
namespace {

using std::chrono::seconds;

constexpr int kProcesses = 2000;
constexpr int kWatches = 10'000;
constexpr int kRestSeconds = 60;

/// Forks since boot: a machine at rest has none.
long forks() {
  std::ifstream file("/proc/stat");
  for (std::string word; file >> word;) {
    long count = 0;
    if (word == "processes" && file >> count) return count;
  }
  return -1;
}

double used_seconds() {
  rusage used{};
  ::getrusage(RUSAGE_SELF, &used);
  const auto seconds_of = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return seconds_of(used.ru_utime) + seconds_of(used.ru_stime);
}

/// All that this process uses, its threads and its loop included, while its watches find nothing.
void measure(Claims& claims) {
  const Population population(kProcesses);
  const LateComer late("kvw-77");
  Supervision engine;
  engine.m_Initialize();
  for (int i = 0; i < kWatches; ++i) {
    require(engine.m_SuperviseProcess(1, i + 1, "kvw-" + std::to_string(i), true, false, 1) == 0,
            "the watch is taken");
  }
  message_loop::run_for(seconds(3));

  int restless = 0;
  const double used_before = used_seconds();
  const auto begun = std::chrono::steady_clock::now();
  for (int i = 0; i < kRestSeconds; ++i) {
    const long before = forks();
    message_loop::run_for(seconds(1));
    if (forks() != before) ++restless;
  }
  const double used = used_seconds() - used_before;
  const double passed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();

  // An old process that takes a name, for which nothing is forked: the kernel tells of it, and where it does
  // not one poll of ten looks.
  late.take_name();
  const std::int32_t supervision = next_supervision(engine, seconds(15));
  engine.m_Release();
  require(supervision == 78, "the watches are at work");
  claims.note("seconds measured", passed);
  claims.note("of them, seconds in which some process of the machine forked", restless);
  claims.at_most("10,000 watches at 1 Hz on a machine at rest, percent of a core", used / passed * 100, 0.5);
}

}  // namespace
}  // namespace kvwmi::bench

int main() {
  kvwmi::bench::Claims claims;
  kvwmi::bench::measure(claims);
  return claims.exit_code();
}
