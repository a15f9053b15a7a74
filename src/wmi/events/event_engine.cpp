#include "wmi/events/event_engine.h"

#include <utility>

#include "frame/wmi_status.h"

namespace kvwmi::embedded {
namespace {

using wmi::Status;

/// Flags that mean nothing here: to return at once, forward only, to send progress.
constexpr std::int32_t kTakenFlags = 16 | 32 | 128;

}  // namespace

EventEngine::EventEngine(std::shared_ptr<const EventSettings> settings, std::function<void()> wake)
    : settings_(std::move(settings)),
      wake_(std::move(wake)),
      subscriptions_(std::make_shared<std::atomic<std::size_t>>(0)) {}

void EventEngine::subscribe(const NotificationRequest& request, TimePoint now) {
  subscribe(request, [&](Admission& admission) {
    while (!admission.is_over() && run_one(now)) continue;
  });
}

void EventEngine::subscribe(const NotificationRequest& request,
                            const std::function<void(Admission&)>& await) {
  const auto sink = std::dynamic_pointer_cast<EventSink>(request.sink);
  if (!sink || (request.flags & ~kTakenFlags) != 0) {
    throw wmi::wmi_error(Status::invalid_parameter, wmi::source::kServices);
  }
  EventQuery query = check_event_query(request);
  if (subscriptions_->load() >= settings_->most_subscriptions) {
    throw wmi::wmi_error(Status::quota_violation, wmi::source::kServices);
  }
  query.subscription->settings = settings_;
  query.subscription->channel = sink->channel();
  query.subscription->counted = Counted(subscriptions_);

  const auto admission = std::make_shared<Admission>(query.targets.size());
  try {
    for (const EventQuery::Target& target : query.targets) join(target, admission);
    await(*admission);
    admission->check();
    sink->channel()->on_close(this, [self = weak_from_this()] {
      if (const auto engine = self.lock()) engine->purge();
    });
  } catch (...) {
    query.subscription->stage.store(Subscription::Stage::refused);
    purge();
    throw;
  }
  query.subscription->stage.store(Subscription::Stage::accepted);
}

/// Adds to the poll that serves the target, or begins one.
void EventEngine::join(const EventQuery::Target& target, const std::shared_ptr<Admission>& admission) {
  std::string narrowing;
  for (const Equality& equality : target.scope.any_of) {
    narrowing += std::to_string(equality.column) + '=';
    append_key(narrowing, equality.constant);
  }
  const Key key(target.scope.provider.get(), target.scope.period, std::move(narrowing));
  const std::scoped_lock lock(mutex_);
  auto found = slots_.find(key);
  if (found == slots_.end() || !found->second.group->add(target.part, admission)) {
    auto group = std::make_shared<PollGroup>(target.scope, settings_);
    static_cast<void>(group->add(target.part, admission));
    // The one before is not scheduled: it has retired in a run that is about to finish.
    found = slots_.insert_or_assign(key, Slot{std::move(group)}).first;
  }
  schedule(key, found->second);
}

/// With the lock held.
void EventEngine::schedule(const Key& key, Slot& slot) {
  if (slot.running) return;
  const TimePoint due = slot.group->due();
  if (slot.scheduled && (*slot.scheduled)->first.due <= due) return;
  const auto entry = schedule_.emplace(Turn{due, slot.took}, key);
  if (slot.scheduled) schedule_.erase(*slot.scheduled);
  slot.scheduled = entry;
  if (entry == schedule_.begin()) wake_();
}

bool EventEngine::run_one(TimePoint now) {
  std::shared_ptr<PollGroup> group;
  Key key;
  {
    const std::scoped_lock lock(mutex_);
    if (schedule_.empty() || schedule_.begin()->first.due > now) return false;
    key = schedule_.extract(schedule_.begin()).mapped();
    Slot& slot = slots_.at(key);
    slot.scheduled.reset();
    slot.running = true;
    group = slot.group;
  }
  const TimePoint begun = settings_->clock();
  bool wanted = true;
  try {
    wanted = group->run(now);
  } catch (...) {
    finish(key, group, true, settings_->clock() - begun);
    throw;
  }
  finish(key, group, wanted, settings_->clock() - begun);
  return true;
}

void EventEngine::finish(const Key& key, const std::shared_ptr<PollGroup>& group, bool wanted,
                         std::chrono::nanoseconds took) {
  const std::scoped_lock lock(mutex_);
  const auto found = slots_.find(key);
  if (found == slots_.end() || found->second.group != group) return;
  found->second.running = false;
  found->second.took = took;
  if (wanted) {
    schedule(key, found->second);
  } else {
    slots_.erase(found);
  }
}

std::optional<TimePoint> EventEngine::due() {
  const std::scoped_lock lock(mutex_);
  return schedule_.empty() ? std::nullopt : std::optional(schedule_.begin()->first.due);
}

std::size_t EventEngine::polls() {
  const std::scoped_lock lock(mutex_);
  return slots_.size();
}

std::size_t EventEngine::scheduled() {
  const std::scoped_lock lock(mutex_);
  return schedule_.size();
}

/// Has every poll forget what nobody wants any more, now and not only when it next polls.
void EventEngine::purge() {
  const std::scoped_lock lock(mutex_);
  for (auto& [key, slot] : slots_) {
    slot.group->request_purge();
    schedule(key, slot);
  }
}

}  // namespace kvwmi::embedded
