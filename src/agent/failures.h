#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "kvwmi/error.h"

namespace kvwmi::agent {

/// Errors without a caller, kept for the thread that tells the user. Any thread may add one.
class Failures {
 public:
  using Clock = std::chrono::steady_clock;

  /// One that comes again and again is told once; one that comes back after a minute of silence is told
  /// again.
  void add(const Error& error, Clock::time_point now = Clock::now());

  [[nodiscard]] bool any();
  /// Those to be told since the last call.
  [[nodiscard]] std::vector<Error> take();

 private:
  std::mutex mutex_;
  std::map<std::string, Clock::time_point> last_;
  std::vector<Error> fresh_;
};

}  // namespace kvwmi::agent
