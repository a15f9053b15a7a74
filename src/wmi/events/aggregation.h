#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "wmi/cim/instance.h"
#include "wmi/wql/query.h"

namespace kvwmi::embedded {

using TimePoint = std::chrono::steady_clock::time_point;

/// The groups of one subscription with GROUP WITHIN. A group begins with an event, ends after the interval
/// and gives one event that stands for all of it; the next begins with the next event. Any thread may use it.
class Aggregation {
 public:
  Aggregation(double seconds, std::optional<wql::Grouping::Having> having);

  /// Takes an event of the group that `key`, the values of BY, names.
  void add(const std::string& key, std::shared_ptr<cim::Instance> event, TimePoint now);

  /// When the next group ends, if one has begun.
  [[nodiscard]] std::optional<TimePoint> due() const;

  /// The events for the groups that have ended by `now`, in the order of their ends. A group that does not
  /// satisfy HAVING is gone without an event, its count with it.
  [[nodiscard]] std::vector<std::shared_ptr<cim::Instance>> close(TimePoint now);

 private:
  struct Group {
    TimePoint end;
    std::shared_ptr<cim::Instance> representative;
    std::uint64_t count = 0;
  };

  [[nodiscard]] bool wanted(std::uint64_t count) const;

  const std::chrono::nanoseconds interval_;
  const std::optional<wql::Grouping::Having> having_;
  mutable std::mutex mutex_;
  std::map<std::string, Group> groups_;
  std::multimap<TimePoint, std::string> ends_;
};

}  // namespace kvwmi::embedded
