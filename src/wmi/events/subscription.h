#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kvwmi/error.h"
#include "wmi/events/aggregation.h"
#include "wmi/events/event_sink.h"
#include "wmi/object.h"
#include "wmi/wql/predicate.h"

namespace kvwmi::embedded {

/// What all subscriptions of a service share.
struct EventSettings {
  /// Takes errors that have no caller: of a poll, of a sink whose events are dropped. May be empty. What it
  /// raises is lost.
  std::function<void(const Error&)> on_failure;
  /// The time of now in units of 100 ns since 1601, UTC.
  std::function<std::uint64_t()> wall_time;
  /// What the length of a poll is measured with.
  std::function<TimePoint()> clock = &std::chrono::steady_clock::now;
  /// Subscriptions that a service takes; one more is refused with "Quota violation ".
  std::size_t most_subscriptions = 100'000;
  /// Events that may wait for a sink; what comes then is dropped.
  std::size_t most_pending = 100'000;

  void report(const Error& error) const noexcept;
  /// Reports the exception that is being handled, a std::exception.
  void report_current() const noexcept;
};

/// Counts as one as long as it lives.
class Counted {
 public:
  Counted() = default;
  explicit Counted(std::shared_ptr<std::atomic<std::size_t>> counter) : counter_(std::move(counter)) {
    counter_->fetch_add(1);
  }
  Counted(Counted&& other) noexcept = default;
  Counted& operator=(Counted&& other) noexcept {
    std::swap(counter_, other.counter_);
    return *this;
  }
  ~Counted() {
    if (counter_) counter_->fetch_sub(1);
  }

 private:
  std::shared_ptr<std::atomic<std::size_t>> counter_;
};

/// One event query.
class Subscription {
 public:
  std::shared_ptr<EventChannel> channel;
  std::shared_ptr<const wmi::NamedValues> context;
  /// What of its events the sink sees, by the event's class.
  std::map<const cim::Class*, std::shared_ptr<const ObjectContext>> views;
  std::shared_ptr<const ObjectContext> whole_view;  ///< of other objects
  std::unique_ptr<Aggregation> aggregation;         ///< null without GROUP
  std::shared_ptr<const EventSettings> settings;
  Counted counted;
  /// Until it is accepted every one of its polls has to know what is there.
  enum class Stage : std::uint8_t { pending, accepted, refused };
  std::atomic<Stage> stage = Stage::pending;

  /// Whether anybody still wants its events.
  [[nodiscard]] bool is_live() const { return channel->is_open() && stage.load() != Stage::refused; }
  /// Whether what happens now is an event for it.
  [[nodiscard]] bool counts() const { return channel->is_open() && stage.load() == Stage::accepted; }

  /// Takes an event that satisfies the query; `group` are the values of BY.
  void accept(std::shared_ptr<cim::Instance> event, const std::string& group, TimePoint now);
  /// Delivers the groups that have ended.
  void close_groups(TimePoint now);

 private:
  /// Hands an event to the sink, or drops it where the sink takes none; the first of a row of those is
  /// reported.
  void send(std::shared_ptr<cim::Instance> event);

  std::atomic<bool> drops_ = false;  ///< several polls may serve it at once
};

/// A subscription as one class of instances sees it: its condition and names, checked against that class.
struct SubscriptionPart {
  std::shared_ptr<Subscription> subscription;
  std::uint8_t changes = 0;  ///< set of Change
  wql::Predicate condition;
  std::vector<std::size_t> by;    ///< slots of the BY values
  std::vector<std::size_t> used;  ///< columns that condition and BY read of target or previous instance
  std::vector<std::size_t> used_of_previous;  ///< those of them that they read of the previous instance
};

}  // namespace kvwmi::embedded
