#pragma once

#include <gtest/gtest.h>
#include <kvwmi/message_loop.h>
#include <kvwmi/supervision.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "support/load_process.h"

namespace kvwmi::tests {

/// Lets the polls of the thread's watches pass, for tests that nothing arrives. Its own engine watches a
/// process that starts and ends: what has been polled with the same period has been so in between.
class FurtherPolls {
 public:
  FurtherPolls() {
    engine_.m_Initialize();
    engine_.m_SuperviseProcess(kStep, 1, name_, true, true, 1);
  }
  ~FurtherPolls() { engine_.m_Release(); }
  FurtherPolls(const FurtherPolls&) = delete;
  FurtherPolls& operator=(const FurtherPolls&) = delete;

  /// Runs the thread's message loop until at least so many periods of one second have passed, each with its
  /// poll.
  void pass(int count = 2) {
    for (int i = 0; i <= count; ++i) {
      if (process_) {
        process_.reset();
      } else {
        process_.emplace(name_, 0, LoadProcess::Work::idle);
      }
      EXPECT_TRUE(message_loop::run_until([&] { return arrived(); }, std::chrono::seconds(20)));
    }
  }

 private:
  static constexpr std::int32_t kStep = 1;

  bool arrived() {
    std::int32_t supervision = 0;
    std::string detail;
    engine_.m_PopEventInfos(kStep, supervision, detail);
    return supervision != 0;
  }

  std::string name_ = "kvw-p-" + std::to_string(getpid());
  Supervision engine_;
  std::optional<LoadProcess> process_;
};

}  // namespace kvwmi::tests
