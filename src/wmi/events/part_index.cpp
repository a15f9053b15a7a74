#include "wmi/events/part_index.h"

#include <algorithm>
#include <utility>

namespace kvwmi::embedded {

const PartIndex::Part& PartIndex::add(SubscriptionPart part) {
  parts_.push_back(std::unique_ptr<Part>(new Part(std::move(part))));
  Part& added = *parts_.back();
  added.equalities = added.condition.equalities([&](std::size_t slot) {
    return slot < schema_.properties.size() && has_key_text(schema_.properties[slot]);
  });
  insert(added);
  return added;
}

bool PartIndex::erase_if(const std::function<bool(const Part&)>& gone) {
  const auto is_gone = [&](const std::unique_ptr<Part>& part) { return gone(*part); };
  if (std::none_of(parts_.begin(), parts_.end(), is_gone)) return false;
  clear_tables();
  std::erase_if(parts_, is_gone);
  fill_tables();
  return true;
}

void PartIndex::shrink(std::size_t size) {
  clear_tables();
  parts_.erase(parts_.begin() + static_cast<std::ptrdiff_t>(size), parts_.end());
  fill_tables();
}

void PartIndex::clear_tables() {
  indexes_.clear();
  unindexed_.clear();
  grouped_.clear();
}

void PartIndex::fill_tables() {
  for (const auto& part : parts_) insert(*part);
}

void PartIndex::insert(Part& part) {
  if (part.subscription->aggregation) grouped_.push_back(&part);
  if (!part.equalities) {
    unindexed_.push_back(&part);
    return;
  }
  for (const wql::SlotEquality& equality : *part.equalities) {
    auto index = std::find_if(indexes_.begin(), indexes_.end(),
                              [&](const Index& other) { return other.column == equality.slot; });
    if (index == indexes_.end()) index = indexes_.insert(index, {equality.slot, {}});
    auto& parts = index->parts[key_text(equality.constant)];
    if (parts.empty() || parts.back() != &part) parts.push_back(&part);
  }
}

const std::vector<const PartIndex::Part*>& PartIndex::find(Side& target, std::uint8_t changes) {
  found_.clear();
  ++mark_;
  const auto add = [&](Part* part) {
    if ((part->changes & changes) == 0 || std::exchange(part->mark_, mark_) == mark_) return;
    found_.push_back(part);
  };
  for (const Index& index : indexes_) {
    const auto found = index.parts.find(key_text(target.value(index.column)));
    if (found != index.parts.end()) std::for_each(found->second.begin(), found->second.end(), add);
  }
  std::for_each(unindexed_.begin(), unindexed_.end(), add);
  return found_;
}

}  // namespace kvwmi::embedded
