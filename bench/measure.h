#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

/// What the benchmarks share: each measures the thing and its floor in one run, so that only ratios count.
namespace kvwmi::bench {

/// Ends the program where what it measures does not do what it should.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::exit(2);
}

/// Seconds of the fastest of `rounds` runs: the one that the rest of the machine disturbed least.
template <typename Run>
[[nodiscard]] double best_seconds(int rounds, Run run) {
  double best = std::numeric_limits<double>::infinity();
  for (int i = 0; i < rounds; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    run();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
  return best;
}

/// The claims of one benchmark program and whether they hold.
class Claims {
 public:
  /// Prints one line; `holds` tells whether the figure is as good as it has to be.
  void check(std::string_view what, double figure, std::string_view wanted, bool holds) {
    std::printf("%-80.*s %14.4g   %-16.*s %s\n", static_cast<int>(what.size()), what.data(), figure,
                static_cast<int>(wanted.size()), wanted.data(),
                wanted.empty() ? ""
                : holds        ? "ok"
                               : "MISSED");
    failed_ = failed_ || !holds;
  }
  void at_most(std::string_view what, double figure, double limit) {
    check(what, figure, "<= " + shown(limit), figure <= limit);
  }
  void at_least(std::string_view what, double figure, double limit) {
    check(what, figure, ">= " + shown(limit), figure >= limit);
  }
  void note(std::string_view what, double figure) { check(what, figure, "", true); }
  [[nodiscard]] int exit_code() const noexcept { return failed_ ? 1 : 0; }

 private:
  static std::string shown(double limit) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", limit);
    return text;
  }
  bool failed_ = false;
};

}  // namespace kvwmi::bench
