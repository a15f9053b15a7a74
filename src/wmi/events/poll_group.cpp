#include "wmi/events/poll_group.h"

#include <algorithm>
#include <utility>

#include "frame/text.h"
#include "frame/wmi_status.h"
#include "wmi/events/event_classes.h"
#include "wmi/events/event_scope.h"

namespace kvwmi::embedded {
namespace {

constexpr std::uint8_t bit(Change change) {
  return static_cast<std::uint8_t>(change);
}

std::string_view event_class_name(Change change) {
  switch (change) {
    case Change::creation:
      return "__InstanceCreationEvent";
    case Change::deletion:
      return "__InstanceDeletionEvent";
    case Change::modification:
      break;
  }
  return "__InstanceModificationEvent";
}

}  // namespace

PollGroup::PollGroup(PollScope scope, std::shared_ptr<const EventSettings> settings)
    : scope_(std::move(scope)),
      schema_(scope_.provider->schema()),
      remembered_class_(std::make_shared<const RememberedClass>(schema_, scope_.provider)),
      settings_(std::move(settings)),
      parts_(schema_) {
  for (std::size_t column = 0; column < schema_.properties.size(); ++column) {
    if (schema_.properties[column].is_key()) keys_.push_back(column);
    if (schema_.properties[column].identifies()) identity_.push_back(column);
  }
  choose_first_columns();
}

bool PollGroup::add(SubscriptionPart part, std::shared_ptr<Admission> admission) {
  const std::scoped_lock lock(door_);
  if (!retired_) newcomers_.push_back({std::move(part), std::move(admission)});
  return !retired_;
}

TimePoint PollGroup::due() {
  const std::scoped_lock lock(door_);
  const bool at_once = !newcomers_.empty() || purge_requested_.load(std::memory_order_acquire);
  return at_once ? TimePoint::min() : due_;
}

bool PollGroup::run(TimePoint now) {
  try {
    work(now);
  } catch (const std::exception&) {
    settings_->report_current();
  }
  return plan_or_retire();
}

void PollGroup::work(TimePoint now) {
  if (purge_requested_.exchange(false)) purge();
  std::vector<Newcomer> newcomers;
  {
    const std::scoped_lock lock(door_);
    newcomers.swap(newcomers_);
  }
  if (!newcomers.empty()) admit(std::move(newcomers), now);
  if (!parts_.all().empty() && next_poll_ <= now) {
    next_poll_ = after(now);
    poll(now);
  }
  for (const Part* part : parts_.grouped()) part->subscription->close_groups(now);
}

/// False where nobody wants the group any more; otherwise it is known from here on when it is due.
bool PollGroup::plan_or_retire() {
  TimePoint due = next_poll_;
  for (const Part* part : parts_.grouped()) {
    if (const auto end = part->subscription->aggregation->due()) due = std::min(due, *end);
  }
  const std::scoped_lock lock(door_);
  due_ = due;
  retired_ = parts_.all().empty() && newcomers_.empty();
  return !retired_;
}

/// For the newcomers this poll only tells what is there; the others receive what has changed up to now.
void PollGroup::admit(std::vector<Newcomer> newcomers, TimePoint now) {
  const std::size_t before = parts_.all().size();
  std::exception_ptr failure;
  try {
    bool rows_needed = !has_baseline_;
    for (Newcomer& newcomer : newcomers) {
      if (newcomer.part.subscription->is_live() && take(std::move(newcomer.part))) rows_needed = true;
    }
    if (rows_needed || ask_provider() == SkipPolicy::Vouched::nothing) enumerate();
    if (before == 0) next_poll_ = after(now);
  } catch (...) {
    failure = std::current_exception();
  }
  // First of all: whatever fails after this, nobody waits in vain.
  for (const Newcomer& newcomer : newcomers) newcomer.admission->arrive(failure);
  if (failure) {
    parts_.shrink(before);
    choose_columns();
  }
  deliver(now);
}

/// Whether rows have to be read for the new part's sake.
bool PollGroup::take(SubscriptionPart subscription) {
  const Part& part = parts_.add(std::move(subscription));
  const bool more_columns = extend_columns(part);
  ++version_;
  return more_columns || (part.changes & bit(Change::modification)) != 0 ||
         !std::all_of(part.used.begin(), part.used.end(), [&](std::size_t c) { return base_->contains(c); });
}

/// Polls of one period happen together, so that a machine at rest wakes once for all of them.
TimePoint PollGroup::after(TimePoint now) const {
  return TimePoint((now.time_since_epoch() / scope_.period + 1) * scope_.period);
}

void PollGroup::purge() {
  if (parts_.erase_if([](const Part& part) { return !part.subscription->is_live(); })) choose_columns();
}

/// Chooses anew what is kept of the rows, by the parts that there are.
void PollGroup::choose_columns() {
  choose_first_columns();
  for (const auto& part : parts_.all()) static_cast<void>(extend_columns(*part));
  ++version_;
}

void PollGroup::choose_first_columns() {
  std::vector<std::size_t> base = keys_;
  base.insert(base.end(), identity_.begin(), identity_.end());
  std::vector<std::size_t> wide = base;
  std::vector<std::size_t> all = base;
  for (std::size_t column = 0; column < schema_.properties.size(); ++column) {
    const cim::Property& property = schema_.properties[column];
    if (property.cost == cim::Cost::free) wide.push_back(column);
    // What costs a call to another process is not asked for on the mere chance that it changed.
    if (property.cost != cim::Cost::slow && property.type != cim::CimType::object) all.push_back(column);
  }
  const std::size_t count = schema_.properties.size();
  known_ = Columns(base, count);
  base_ = std::make_shared<const Columns>(std::move(base), count);
  wide_ = std::make_shared<const Columns>(std::move(wide), count);
  all_ = std::make_shared<const Columns>(std::move(all), count);
  has_wide_ = false;
  has_modifications_ = false;
  rows_suffice_ = true;
  skip_policy_.forget();
}

/// Whether more has to be kept of the rows for `part`'s sake.
bool PollGroup::extend_columns(const Part& part) {
  const std::size_t count = schema_.properties.size();
  const auto extend = [&](std::shared_ptr<const Columns>& columns, const std::vector<std::size_t>& more) {
    if (std::all_of(more.begin(), more.end(), [&](std::size_t c) { return columns->contains(c); }))
      return false;
    std::vector<std::size_t> list = columns->list();
    list.insert(list.end(), more.begin(), more.end());
    columns = std::make_shared<const Columns>(std::move(list), count);
    skip_policy_.forget_kept();
    return true;
  };
  std::vector<std::size_t> of_all;
  if (part.equalities) {
    for (const wql::SlotEquality& equality : *part.equalities) of_all.push_back(equality.slot);
    // A row that no look-up finds yet may be found by the next poll, which then asks what it was before.
    if (!std::all_of(of_all.begin(), of_all.end(), [&](std::size_t c) { return known_.contains(c); })) {
      of_all.insert(of_all.end(), part.used_of_previous.begin(), part.used_of_previous.end());
    }
  }
  const bool more = extend(base_, of_all);
  for (auto* columns : {&wide_, &all_}) {
    extend(*columns, of_all);
    extend(*columns, part.used);
  }
  has_wide_ = has_wide_ || (part.changes & ~bit(Change::creation)) != 0;
  has_modifications_ = has_modifications_ || (part.changes & bit(Change::modification)) != 0;
  rows_suffice_ =
      rows_suffice_ && !has_modifications_ &&
      std::all_of(part.used.begin(), part.used.end(), [&](std::size_t c) { return known_.contains(c); });
  return more;
}

void PollGroup::poll(TimePoint now) {
  try {
    if (!skip_policy_.may_skip(ask_provider(), rows_suffice_)) enumerate();
    failing_ = false;
  } catch (const std::exception&) {
    skip_policy_.forget();
    if (!std::exchange(failing_, true)) settings_->report_current();
  }
  deliver(now);
}

SkipPolicy::Vouched PollGroup::ask_provider() {
  return skip_policy_.ask(*scope_.provider, kept_all_ ? all_ : has_wide_ ? wide_ : base_, keys_);
}

void PollGroup::enumerate() {
  ++round_;
  created_ = settings_->wall_time ? settings_->wall_time() : 0;
  appeared_ = false;
  unkeyed_ = 0;
  kept_all_ = false;
  skip_policy_.rows_are_read();
  std::exception_ptr failure;
  bool all_are_known = true;
  scope_.provider->enumerate({scope_.any_of, base_->list()}, [&](const std::shared_ptr<cim::Instance>& row) {
    bool is_known = false;
    try {
      if (!in_scope(*row) || has_ended(*row)) return true;
      const auto known = find(*row);
      is_known = true;
      all_or_nothing([&] { compare(*row, known); });
    } catch (...) {
      // A property that cannot be read is that row's failure alone: the row stays what it was.
      if (!failure) failure = std::current_exception();
      all_are_known = all_are_known && is_known;
    }
    return true;
  });
  // A row without a name may be any of those that were not seen.
  if (all_are_known) remove_unseen();
  if (appeared_ && !identity_.empty()) skip_policy_.row_appeared();
  if (failure) std::rethrow_exception(failure);
  has_baseline_ = true;
}

/// Of a step that fails no event stays, so that the next poll tells all of them.
template <typename Step>
void PollGroup::all_or_nothing(Step step) {
  const std::size_t before = found_.size();
  try {
    step();
  } catch (...) {
    found_.erase(found_.begin() + static_cast<std::ptrdiff_t>(before), found_.end());
    throw;
  }
}

/// A provider may hand out more than it was asked for, now and not another time.
bool PollGroup::in_scope(cim::Instance& row) const {
  if (scope_.any_of.empty()) return true;
  return std::any_of(scope_.any_of.begin(), scope_.any_of.end(), [&](const Equality& equality) {
    if (!has_key_text(schema_.properties[equality.column])) return true;
    return key_text(row.get(equality.column)) == key_text(equality.constant);
  });
}

/// Whether it has come to its end since it was listed; a row that was there is missed afterwards.
bool PollGroup::has_ended(cim::Instance& row) const {
  return std::any_of(identity_.begin(), identity_.end(), [&](std::size_t c) { return row.get(c).is_null(); });
}

void PollGroup::make_key(cim::Instance& row) {
  if (keys_.size() == 1) {
    if (const auto* text = row.get(keys_.front()).get_if<std::string>()) {
      key_ = *text;
      return;
    }
  }
  key_.clear();
  for (const std::size_t column : keys_) append_key(key_, row.get(column));
  // Rows of a class without keys are told apart by their order.
  if (keys_.empty()) key_ = std::to_string(unkeyed_++);
}

/// What is kept of the row; the end where it is new.
PollGroup::Records::iterator PollGroup::find(cim::Instance& row) {
  make_key(row);
  return records_.find(key_);
}

/// Tells what has changed of a row, and last of all, when nothing can fail any more, keeps it as it is.
void PollGroup::compare(cim::Instance& row, Records::iterator known) {
  Record* const record = known == records_.end() ? nullptr : &known->second;
  if (record) {
    if (record->round == round_) return;  // a second row under the same key
    record->round = round_;
  }
  const auto differs = [&](std::size_t column) {
    const auto position = record->columns->position(column);
    return position && record->values[*position] != row.get(column);
  };
  const auto any_differs = [&](const Columns& columns) {
    return std::any_of(columns.list().begin(), columns.list().end(), differs);
  };

  if (record && record->bare && record->version == version_ && record->columns == base_ &&
      !any_differs(*base_))
    return;

  target_.reset();
  Side target(row, scope_.location);
  const bool replaced = record && std::any_of(identity_.begin(), identity_.end(), differs);
  const bool appeared = !record || replaced;

  // How much of the row the next poll will have to compare.
  const std::shared_ptr<const Columns>* keep = &base_;
  if (has_wide_) {
    constexpr std::uint8_t kWide = bit(Change::deletion) | bit(Change::modification);
    for (const Part* part : parts_.find(target, kWide)) {
      keep = &wide_;
      if ((part->changes & bit(Change::modification)) == 0) continue;
      EventRow itself(event_class_name(Change::modification), target, &target, created_);
      if (!part->condition.matches(itself)) continue;
      keep = &all_;
      kept_all_ = true;
      break;
    }
  }

  if (replaced && has_baseline_) {
    Side before(*record, remembered_class_, scope_.location);
    collect(Change::deletion, before, nullptr);
    target_.reset();
  }
  if (appeared && has_baseline_) collect(Change::creation, target, nullptr);
  if (!appeared && has_modifications_ && any_differs(*record->columns)) {
    Side before(*record, remembered_class_, scope_.location);
    collect(Change::modification, target, &before);
  }
  appeared_ = appeared_ || appeared;

  next_.columns = *keep;
  next_.values.clear();
  for (const std::size_t column : next_.columns->list()) next_.values.push_back(row.get(column));
  next_.order = appeared ? ++order_ : record->order;
  next_.round = round_;
  next_.version = version_;
  next_.bare = keep == &base_;
  std::swap(record ? *record : records_[key_], next_);
}

void PollGroup::remove_unseen() {
  std::vector<Records::iterator> gone;
  for (auto it = records_.begin(); it != records_.end(); ++it) {
    if (it->second.round != round_) gone.push_back(it);
  }
  std::sort(gone.begin(), gone.end(),
            [](const auto& a, const auto& b) { return a->second.order < b->second.order; });
  for (const auto& it : gone) {
    all_or_nothing([&] {
      Side last(it->second, remembered_class_, scope_.location);
      target_.reset();
      collect(Change::deletion, last, nullptr);
    });
    records_.erase(it);
  }
}

void PollGroup::collect(Change change, Side& target, Side* previous) {
  EventRow row(event_class_name(change), target, previous, created_);
  std::shared_ptr<cim::Instance> event;
  for (const Part* part : parts_.find(target, bit(change))) {
    if (!part->subscription->counts() || !part->condition.matches(row)) continue;
    if (!event) {
      if (!target_) target_ = target.freeze(remembered_class_);
      event = make_event(change, target_, previous ? previous->freeze(remembered_class_) : nullptr, created_);
    }
    found_.push_back({part->subscription, event, group_key(*part, row)});
  }
}

std::string PollGroup::group_key(const Part& part, EventRow& row) const {
  std::string key;
  for (const std::size_t slot : part.by) append_key(key, row.value(slot));
  return key;
}

void PollGroup::deliver(TimePoint now) {
  for (Found& found : std::exchange(found_, {})) {
    found.subscription->accept(std::move(found.event), found.group, now);
  }
}

}  // namespace kvwmi::embedded
