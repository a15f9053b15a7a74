#include "supervision/supervision_timer.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "frame/diagnostics.h"
#include "frame/errors_process.h"
#include "frame/runtime_error.h"

namespace kvwmi::SupervisionTimer {
namespace {

constexpr MethodFrame kRoutine{"SupervisionTimer"};

using EngineList = std::vector<std::shared_ptr<Polled>>;

struct State final : ThreadBound {
  explicit State(Ground& its_ground) : ground(its_ground) {}
  ~State() override {
    if (running) ground.timers().kill(timer);
  }

  Ground& ground;
  std::optional<EngineList> engines;  // made at the first attachment
  Timers::Id timer = 0;
  bool running = false;
  std::int32_t period = 0;  // seconds
};

State& state(Ground& ground) {
  std::unique_ptr<ThreadBound>& slot = ground.thread_slot();
  if (!slot) slot = std::make_unique<State>(ground);
  return static_cast<State&>(*slot);
}

bool is_attached(const State& timer, const std::shared_ptr<Polled>& engine) {
  return std::find(timer.engines->begin(), timer.engines->end(), engine) != timer.engines->end();
}

void SupervisionPolling_Timer(Ground& ground) {
  kRoutine("SupervisionPolling_Timer", [&] {
    const State& timer = state(ground);
    if (!timer.engines) return;
    // An engine may come, go or be dropped from inside a tick: the copy keeps every engine alive meanwhile.
    for (const EngineList engines = *timer.engines; const auto& engine : engines) {
      if (is_attached(timer, engine)) engine->SupervisionPolling_Timer();
    }
  });
}

std::int32_t milliseconds(std::int32_t seconds) {
  std::int32_t result = 0;
  if (__builtin_mul_overflow(seconds, 1000, &result)) throw runtime_error(RuntimeError::overflow);
  return result;
}

}  // namespace

void AttachSupervisionPollingTimer(Ground& ground, std::shared_ptr<Polled> engine) {
  kRoutine("AttachSupervisionPollingTimer", [&] {
    State& timer = state(ground);
    if (!timer.engines) {
      // A timer that a request on a never initialised engine started is forgotten here and fires on.
      timer.engines.emplace();
      timer.timer = 0;
      timer.running = false;
      timer.period = 0;
    }
    timer.engines->push_back(std::move(engine));
  });
}

void DetachSupervisionPollingTimer(Ground& ground, const Polled& engine) {
  kRoutine("DetachSupervisionPollingTimer", [&] {
    State& timer = state(ground);
    if (!timer.engines) return;
    const auto found = std::find_if(timer.engines->begin(), timer.engines->end(),
                                    [&](const auto& attached) { return attached.get() == &engine; });
    if (found == timer.engines->end()) return;
    timer.engines->erase(found);
    if (timer.engines->empty()) StopSupervisionPolling(ground);
  });
}

void StartSupervisionPolling(Ground& ground, std::int32_t period, std::shared_ptr<void> companion) {
  kRoutine("StartSupervisionPolling", [&] {
    State& timer = state(ground);
    std::int32_t wanted = period;
    if (timer.running) {
      wanted = std::gcd(period, timer.period);
      if (wanted < timer.period) StopSupervisionPolling(ground);
    }
    if (!timer.running) {
      timer.timer = ground.timers().set(milliseconds(wanted), [&ground, kept = std::move(companion)] {
        try {
          SupervisionPolling_Timer(ground);
        } catch (...) {
          report_pending_error();
        }
      });
      timer.running = true;
      timer.period = wanted;
    }
  });
}

void StopSupervisionPolling(Ground& ground) {
  kRoutine("StopSupervisionPolling", [&] {
    State& timer = state(ground);
    if (timer.running) ground.timers().kill(timer.timer);
    timer.running = false;
  });
}

}  // namespace kvwmi::SupervisionTimer
