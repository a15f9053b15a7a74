#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>

#include "frame/wmi_status.h"
#include "wmi/events/aggregation.h"

namespace kvwmi::embedded {

/// How far a new subscription is: it may be accepted once every poll that it takes part in knows what is
/// there.
class Admission {
 public:
  explicit Admission(std::size_t polls) : awaited_(polls) {}

  // ---- whoever polls

  void arrive(std::exception_ptr failure = nullptr) {
    const std::scoped_lock lock(mutex_);
    --awaited_;
    if (failure && !failure_) failure_ = std::move(failure);
    changed_.notify_all();
  }

  // ---- the subscriber

  [[nodiscard]] bool is_over() {
    const std::scoped_lock lock(mutex_);
    return over();
  }
  void wait_until(TimePoint deadline) {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, deadline, [this] { return over(); });
  }
  /// Raises what a provider raised, and "Provider failure " where one has not answered yet.
  void check() {
    const std::scoped_lock lock(mutex_);
    if (failure_) std::rethrow_exception(failure_);
    if (!over()) {
      throw wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kServices)
          .with_diagnostic({"", 0, "the source of the class does not answer"});
    }
  }

 private:
  [[nodiscard]] bool over() const { return awaited_ == 0 || failure_; }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t awaited_;
  std::exception_ptr failure_;
};

}  // namespace kvwmi::embedded
