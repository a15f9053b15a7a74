#include "wmi/events/event_engine.h"

#include <utility>
#include <vector>

#include "frame/wmi_status.h"
#include "wmi/events/event_query.h"

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

  std::vector<std::pair<Key, std::shared_ptr<PollGroup>>> joined;
  try {
    for (EventQuery::Target& target : query.targets) {
      std::string narrowing;
      for (const Equality& equality : target.scope.any_of) {
        narrowing += std::to_string(equality.column) + '=' + key_text(equality.constant) + '\n';
      }
      const Key key(target.scope.provider.get(), target.scope.period, std::move(narrowing));
      for (;;) {
        const auto group = group_for(key, target.scope);
        bool added = false;
        try {
          added = group->add(target.part, now);
        } catch (...) {
          schedule(key, group);
          throw;
        }
        if (added) {
          joined.emplace_back(key, group);
          break;
        }
        remove(key, group);
      }
    }
  } catch (...) {
    query.subscription->cancelled.store(true);
    for (const auto& [key, group] : joined) group->request_purge();
    throw;
  }
  for (const auto& [key, group] : joined) schedule(key, group);
  sink->channel()->on_close(this, [self = weak_from_this()] {
    if (const auto engine = self.lock()) engine->sink_closed();
  });
}

std::shared_ptr<PollGroup> EventEngine::group_for(const Key& key, const PollScope& scope) {
  const std::scoped_lock lock(mutex_);
  Slot& slot = slots_[key];
  if (!slot.group) slot.group = std::make_shared<PollGroup>(scope, settings_);
  return slot.group;
}

void EventEngine::remove(const Key& key, const std::shared_ptr<PollGroup>& group) {
  const std::scoped_lock lock(mutex_);
  const auto found = slots_.find(key);
  if (found == slots_.end() || found->second.group != group) return;
  slots_.erase(found);  // what is scheduled finds nothing
}

void EventEngine::schedule(const Key& key, const std::shared_ptr<PollGroup>& group) {
  const TimePoint due = group->due();
  bool earliest = false;
  {
    const std::scoped_lock lock(mutex_);
    const auto found = slots_.find(key);
    if (found == slots_.end() || found->second.group != group) return;
    Slot& slot = found->second;
    if (slot.scheduled && *slot.scheduled <= due) return;
    slot.scheduled = due;
    const auto entry = schedule_.emplace(due, key);
    earliest = entry == schedule_.begin();
  }
  if (earliest) wake_();
}

bool EventEngine::run_one(TimePoint now) {
  std::shared_ptr<PollGroup> group;
  Key key;
  {
    const std::scoped_lock lock(mutex_);
    while (!group) {
      if (schedule_.empty() || schedule_.begin()->first > now) return false;
      const auto next = schedule_.extract(schedule_.begin());
      const auto found = slots_.find(next.mapped());
      // Entries that were overtaken by an earlier one, or whose group is gone, mean nothing any more.
      if (found == slots_.end() || found->second.scheduled != next.key()) continue;
      found->second.scheduled.reset();
      key = next.mapped();
      group = found->second.group;
    }
  }
  bool wanted = true;
  try {
    wanted = group->run(now);
  } catch (...) {
    schedule(key, group);
    throw;
  }
  if (wanted) {
    schedule(key, group);
  } else {
    remove(key, group);
  }
  return true;
}

std::optional<TimePoint> EventEngine::due() {
  const std::scoped_lock lock(mutex_);
  return schedule_.empty() ? std::nullopt : std::optional(schedule_.begin()->first);
}

std::size_t EventEngine::polls() {
  const std::scoped_lock lock(mutex_);
  return slots_.size();
}

void EventEngine::sink_closed() {
  {
    const std::scoped_lock lock(mutex_);
    for (auto& [key, slot] : slots_) {
      slot.group->request_purge();
      if (!slot.scheduled) continue;  // it runs, and is scheduled anew after that
      slot.scheduled = TimePoint::min();
      schedule_.emplace(TimePoint::min(), key);
    }
  }
  wake_();
}

}  // namespace kvwmi::embedded
