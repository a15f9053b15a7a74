#pragma once

#include <cstdint>
#include <memory>

#include "frame/ground.h"

namespace kvwmi {

/// Something that the thread's timer calls at each tick.
class Polled {
 public:
  virtual ~Polled() = default;
  virtual void SupervisionPolling_Timer() = 0;
};

/// The one polling timer of each thread and the list of engines it calls.
///
/// The list keeps its engines alive. The interval is the greatest common divisor of the periods started since
/// the timer was last stopped: it gets shorter, never longer, until the list is empty. All of it belongs to
/// the calling thread. Failures carry the tag "KVWMI : SupervisionTimer." + routine; what leaves a tick goes
/// to the diagnostic hook.
namespace SupervisionTimer {

/// Appends the engine; one that is attached twice is called twice.
void AttachSupervisionPollingTimer(Ground& ground, std::shared_ptr<Polled> engine);
/// Takes the engine's first entry off the list, if it has one, and stops the timer when that was the last.
void DetachSupervisionPollingTimer(Ground& ground, const Polled& engine);
/// Makes sure that the timer fires at least every `period` seconds, which must be positive. More than
/// 2,147,483 seconds raise 6 "Overflow". A timer that this starts keeps `companion`.
void StartSupervisionPolling(Ground& ground, std::int32_t period, std::shared_ptr<void> companion = nullptr);
void StopSupervisionPolling(Ground& ground);

}  // namespace SupervisionTimer
}  // namespace kvwmi
