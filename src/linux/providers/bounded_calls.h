#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "linux/providers/failure.h"

namespace kvwmi::ground::providers {

/// Calls that may hang in the kernel for ever, made on threads of their own. While a call for a key hangs, no
/// second one is started for it: its askers fail at once.
template <typename Result>
class BoundedCalls {
 public:
  explicit BoundedCalls(std::chrono::milliseconds limit) : limit_(limit) {}

  /// What `work` gives or raises, or "Provider failure " when it takes longer than the limit. `work` may
  /// outlive this object and must own what it uses.
  Result call(const std::string& key, std::function<Result()> work) {
    const Call made = started(key, std::move(work));
    if (made.answer.wait_until(made.deadline) != std::future_status::ready) throw provider_failure();
    return made.answer.get();
  }

 private:
  struct Call {
    std::chrono::steady_clock::time_point deadline;
    std::shared_future<Result> answer;
  };

  Call started(const std::string& key, std::function<Result()> work) {
    const std::lock_guard lock(mutex_);
    std::erase_if(running_, [](const auto& entry) {
      return entry.second.answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    });
    if (const auto found = running_.find(key); found != running_.end()) return found->second;
    std::packaged_task<Result()> task(std::move(work));
    Call made{std::chrono::steady_clock::now() + limit_, task.get_future().share()};
    std::thread(std::move(task)).detach();
    // Not before there is a thread: a call that never began would keep its key for ever.
    running_.emplace(key, made);
    return made;
  }

  const std::chrono::milliseconds limit_;
  std::mutex mutex_;
  std::map<std::string, Call> running_;
};

}  // namespace kvwmi::ground::providers
