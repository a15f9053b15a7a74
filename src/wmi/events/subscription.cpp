#include "wmi/events/subscription.h"

#include <utility>

#include "frame/wmi_status.h"
#include "wmi/raising_from.h"

namespace kvwmi::embedded {

void EventSettings::report(const Error& error) const noexcept {
  try {
    if (on_failure) on_failure(error);
  } catch (...) {  // NOLINT(bugprone-empty-catch): nobody is left to tell
  }
}

void EventSettings::report_current() const noexcept {
  try {
    raising_from(wmi::source::kServices, [] { throw; });
  } catch (const Error& error) {
    report(error);
  } catch (...) {  // NOLINT(bugprone-empty-catch): no memory even for the error
  }
}

void Subscription::accept(std::shared_ptr<cim::Instance> event, const std::string& group, TimePoint now) {
  if (aggregation) {
    aggregation->add(group, std::move(event), now);
  } else {
    send(std::move(event));
  }
}

void Subscription::close_groups(TimePoint now) {
  for (auto& event : aggregation->close(now)) send(std::move(event));
}

void Subscription::send(std::shared_ptr<cim::Instance> event) {
  const auto found = views.find(&event->schema());
  auto make = [event = std::move(event), view = found == views.end() ? whole_view : found->second] {
    return make_object(event, view);
  };
  try {
    const bool dropped = !channel->send(std::move(make), context, settings->most_pending);
    if (!drops_.exchange(dropped) && dropped) {
      settings->report(wmi::wmi_error(wmi::Status::queue_overflow, wmi::source::kServices));
    }
  } catch (const std::exception&) {
    if (!drops_.exchange(true)) settings->report_current();
  }
}

}  // namespace kvwmi::embedded
