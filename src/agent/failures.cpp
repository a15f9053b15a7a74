#include "agent/failures.h"

#include <utility>

#include "agent/wakeup.h"

namespace kvwmi::agent {
namespace {

constexpr std::chrono::minutes kForgotten{1};

}  // namespace

void Failures::add(const Error& error, Clock::time_point now) {
  const std::scoped_lock lock(mutex_);
  const std::string text = std::to_string(error.number()) + error.source() + error.description();
  const auto [last, is_new] = last_.try_emplace(text, now);
  const auto silence = now - std::exchange(last->second, now);
  if (!is_new && silence < kForgotten) return;
  fresh_.push_back(error);
  wake();
}

bool Failures::any() {
  const std::scoped_lock lock(mutex_);
  return !fresh_.empty();
}

std::vector<Error> Failures::take() {
  const std::scoped_lock lock(mutex_);
  return std::exchange(fresh_, {});
}

}  // namespace kvwmi::agent
