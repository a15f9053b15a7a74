#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "linux/providers/failure.h"

namespace kvwmi::ground::providers {

/// Calls that may hang in the kernel for ever, made on threads of their own. While a call for a key hangs, no
/// second one is started for it: its askers fail at once.
template <typename Result>
class BoundedCalls {
 public:
  explicit BoundedCalls(std::chrono::milliseconds limit) : limit_(limit) {}

  /// What `work` gives, or "Provider failure " when it takes longer than the limit. `work` may outlive this
  /// object and must own what it uses.
  Result call(const std::string& key, std::function<Result()> work) {
    const std::shared_ptr<State> state = started(key, std::move(work));
    std::unique_lock lock(state->mutex);
    state->done.wait_until(lock, state->deadline, [&] { return state->result.has_value(); });
    if (!state->result) throw provider_failure();
    return *state->result;
  }

 private:
  struct State {
    std::chrono::steady_clock::time_point deadline;
    std::mutex mutex;
    std::condition_variable done;
    std::optional<Result> result;
  };

  std::shared_ptr<State> started(const std::string& key, std::function<Result()> work) {
    const std::lock_guard lock(mutex_);
    std::erase_if(running_, [](const auto& entry) {
      const std::lock_guard state_lock(entry.second->mutex);
      return entry.second->result.has_value();
    });
    if (const auto found = running_.find(key); found != running_.end()) return found->second;
    auto state = std::make_shared<State>();
    state->deadline = std::chrono::steady_clock::now() + limit_;
    std::thread([kept = state, task = std::move(work)] {
      Result result = task();
      const std::lock_guard state_lock(kept->mutex);
      kept->result = std::move(result);
      kept->done.notify_all();
    }).detach();
    // Not before there is a thread: a call that never began would keep its key for ever.
    running_.emplace(key, state);
    return state;
  }

  const std::chrono::milliseconds limit_;
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<State>> running_;
};

}  // namespace kvwmi::ground::providers
