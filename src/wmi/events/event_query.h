#pragma once

#include <chrono>
#include <vector>

#include "wmi/catalog.h"
#include "wmi/events/event_classes.h"
#include "wmi/events/poll_group.h"
#include "wmi/service.h"
#include "wmi/wql/query.h"

namespace kvwmi::embedded {

/// The shortest WITHIN that is taken, in seconds.
inline constexpr double kShortestPeriod = 0.01;

/// An event query, checked against the classes that it asks for: what there is to poll.
struct EventQuery {
  struct Target {
    PollScope scope;
    SubscriptionPart part;
  };
  /// Everything but channel and settings is set.
  std::shared_ptr<Subscription> subscription;
  std::vector<Target> targets;
};

/// Raises wql::QueryError for a query that is refused.
[[nodiscard]] EventQuery check_event_query(const NotificationRequest& request);

}  // namespace kvwmi::embedded
