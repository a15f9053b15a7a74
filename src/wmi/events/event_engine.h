#pragma once

#include <chrono>
#include <compare>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>

#include "wmi/events/event_query.h"
#include "wmi/events/poll_group.h"
#include "wmi/service.h"

namespace kvwmi::embedded {

/// All subscriptions of a service and their polls, without a thread of its own: run() does what is due.
class EventEngine : public std::enable_shared_from_this<EventEngine> {
 public:
  /// `wake` is called, from any thread, when run() is due earlier than it said.
  EventEngine(std::shared_ptr<const EventSettings> settings, std::function<void()> wake);

  /// Takes a subscription, for which events count from the moment at which all of its polls know what is
  /// there: `await` has that done, or waits for those who do it, or gives up. Raises wql::QueryError or Error
  /// for a refused one, which gets no event at all.
  void subscribe(const NotificationRequest& request, const std::function<void(Admission&)>& await);
  /// The same where nobody else runs the engine.
  void subscribe(const NotificationRequest& request, TimePoint now);

  /// Does one thing that is due by `now`, where there is one; several threads may. Tells whether there was.
  bool run_one(TimePoint now);
  /// When the next thing is due; nullopt for never.
  [[nodiscard]] std::optional<TimePoint> due();

  /// How many polls there are, and how many times at which one is due, for tests.
  [[nodiscard]] std::size_t polls();
  [[nodiscard]] std::size_t scheduled();

 private:
  /// Provider, period, and the equalities that narrow the poll.
  using Key = std::tuple<const Provider*, std::chrono::nanoseconds, std::string>;
  /// Of the polls that are due at one moment those come first that were quick the last time: whoever waits
  /// on the way holds up no other.
  struct Turn {
    TimePoint due;
    std::chrono::nanoseconds took;
    auto operator<=>(const Turn&) const = default;
  };
  using Schedule = std::multimap<Turn, Key>;
  struct Slot {
    std::shared_ptr<PollGroup> group;
    std::optional<Schedule::iterator> scheduled = {};
    std::chrono::nanoseconds took{};  ///< by the last run
    bool running = false;             ///< by a thread that schedules it anew after that
  };
  using Slots = std::map<Key, Slot>;

  void join(const EventQuery::Target& target, const std::shared_ptr<Admission>& admission);
  void schedule(const Key& key, Slot& slot);
  void finish(const Key& key, const std::shared_ptr<PollGroup>& group, bool wanted,
              std::chrono::nanoseconds took);
  void purge();

  const std::shared_ptr<const EventSettings> settings_;
  const std::function<void()> wake_;
  const std::shared_ptr<std::atomic<std::size_t>> subscriptions_;
  std::mutex mutex_;
  Slots slots_;
  Schedule schedule_;
};

}  // namespace kvwmi::embedded
