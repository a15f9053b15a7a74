#include "wmi/events/aggregation.h"

#include <utility>

#include "wmi/events/event_classes.h"

namespace kvwmi::embedded {

Aggregation::Aggregation(double seconds, std::optional<wql::Grouping::Having> having)
    : interval_(std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds))),
      having_(having) {}

void Aggregation::add(const std::string& key, std::shared_ptr<cim::Instance> event, TimePoint now) {
  const std::scoped_lock lock(mutex_);
  const auto [found, begins] = groups_.try_emplace(key);
  Group& group = found->second;
  if (begins) {
    group.end = now + interval_;
    group.representative = std::move(event);
    ends_.emplace(group.end, key);
  }
  ++group.count;
}

std::optional<TimePoint> Aggregation::due() const {
  const std::scoped_lock lock(mutex_);
  return ends_.empty() ? std::nullopt : std::optional(ends_.begin()->first);
}

std::vector<std::shared_ptr<cim::Instance>> Aggregation::close(TimePoint now) {
  const std::scoped_lock lock(mutex_);
  std::vector<std::shared_ptr<cim::Instance>> events;
  while (!ends_.empty() && ends_.begin()->first <= now) {
    const auto ended = groups_.extract(ends_.begin()->second);
    ends_.erase(ends_.begin());
    const Group& group = ended.mapped();
    if (wanted(group.count)) events.push_back(make_aggregate_event(group.representative, group.count));
  }
  return events;
}

bool Aggregation::wanted(std::uint64_t count) const {
  return !having_ || wql::holds(having_->op, count <=> std::uint64_t{having_->threshold});
}

}  // namespace kvwmi::embedded
