#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "wmi/events/admission.h"
#include "wmi/events/part_index.h"
#include "wmi/events/skip_policy.h"
#include "wmi/events/snapshot.h"
#include "wmi/events/subscription.h"
#include "wmi/provider.h"

namespace kvwmi::embedded {

/// What subscriptions must have in common to share a poll.
struct PollScope {
  std::shared_ptr<Provider> provider;
  cim::Location location;
  std::chrono::nanoseconds period;
  std::vector<Equality> any_of;  ///< narrows the enumeration; empty for all rows
};

/// One poll for all subscriptions on a class with one period: it enumerates the class, compares with what it
/// remembers, and hands the changes to those that they may concern. So a poll costs rows and changes, not
/// subscriptions.
///
/// One thread at a time runs it; the other calls are any thread's and wait for no provider.
class PollGroup {
 public:
  PollGroup(PollScope scope, std::shared_ptr<const EventSettings> settings);

  /// Has the next run() take a subscription: what is there then is no change for it. `admission` hears when
  /// it has, and what the provider raised. False when the group has retired meanwhile.
  [[nodiscard]] bool add(SubscriptionPart part, std::shared_ptr<Admission> admission);

  /// Takes newcomers and forgets subscriptions whose sink is gone; polls and closes event groups where it is
  /// time. A provider that fails is reported once and asked again the next time; what else fails is reported,
  /// and the group is due again when it would have been. False once the group has retired, since nobody wants
  /// it any more.
  bool run(TimePoint now);

  /// When run() is next of use.
  [[nodiscard]] TimePoint due();

  /// Has the next run() look for sinks that are gone.
  void request_purge() noexcept { purge_requested_.store(true, std::memory_order_release); }

 private:
  struct Newcomer {
    SubscriptionPart part;
    std::shared_ptr<Admission> admission;
  };
  using Part = PartIndex::Part;
  /// An event that a poll found.
  struct Found {
    std::shared_ptr<Subscription> subscription;
    std::shared_ptr<cim::Instance> event;
    std::string group;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  using Records = std::unordered_map<std::string, Record, Hash, std::equal_to<>>;

  void work(TimePoint now);
  void admit(std::vector<Newcomer> newcomers, TimePoint now);
  bool take(SubscriptionPart subscription);
  [[nodiscard]] bool plan_or_retire();
  void purge();
  void choose_columns();
  void choose_first_columns();
  bool extend_columns(const Part& part);
  void poll(TimePoint now);
  [[nodiscard]] SkipPolicy::Vouched ask_provider();
  void enumerate();
  [[nodiscard]] bool in_scope(cim::Instance& row) const;
  [[nodiscard]] bool has_ended(cim::Instance& row) const;
  [[nodiscard]] Records::iterator find(cim::Instance& row);
  void compare(cim::Instance& row, Records::iterator known);
  void remove_unseen();
  void make_key(cim::Instance& row);
  template <typename Step>
  void all_or_nothing(Step step);
  void collect(Change change, Side& target, Side* previous);
  [[nodiscard]] std::string group_key(const Part& part, EventRow& row) const;
  void deliver(TimePoint now);
  [[nodiscard]] TimePoint after(TimePoint now) const;

  const PollScope scope_;
  const cim::Class& schema_;
  const std::shared_ptr<const RememberedClass> remembered_class_;
  const std::shared_ptr<const EventSettings> settings_;

  std::atomic<bool> purge_requested_ = false;
  std::mutex door_;  ///< for the next three
  std::vector<Newcomer> newcomers_;
  TimePoint due_ = TimePoint::min();
  bool retired_ = false;

  TimePoint next_poll_{};
  bool failing_ = false;

  PartIndex parts_;
  std::uint64_t version_ = 0;  ///< of the set of parts
  bool has_wide_ = false;      ///< some part asks for more than the base columns
  bool has_modifications_ = false;
  bool rows_suffice_ = false;  ///< coming and going is all that anybody asks for

  std::vector<std::size_t> keys_;
  std::vector<std::size_t> identity_;
  Columns known_{{}, 0};                 ///< keys and identity
  std::shared_ptr<const Columns> base_;  ///< kept of every row
  std::shared_ptr<const Columns> wide_;  ///< kept of rows that a wide part may concern
  std::shared_ptr<const Columns> all_;   ///< kept of rows of which any modification is an event

  bool has_baseline_ = false;
  Records records_;
  std::uint64_t round_ = 0;
  std::uint64_t order_ = 0;
  bool kept_all_ = false;
  SkipPolicy skip_policy_;

  // of the poll that runs
  std::uint64_t created_ = 0;
  bool appeared_ = false;
  std::uint64_t unkeyed_ = 0;
  std::string key_;                        ///< of the row at hand
  Record next_;                            ///< what is going to be kept of it
  std::shared_ptr<cim::Instance> target_;  ///< of the row at hand, made when first needed
  std::vector<Found> found_;
};

}  // namespace kvwmi::embedded
