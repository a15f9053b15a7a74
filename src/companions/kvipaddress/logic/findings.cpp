#include "companions/kvipaddress/logic/findings.h"

#include <algorithm>
#include <iterator>

namespace kvipaddress {
namespace {

bool answers(const Entry& entry, const InterfaceAddress& address) {
  return entry.subnet.contains(address.address) && matches(entry.interface, address.interface);
}

/// Whether the filter asks for this address. What every machine gives itself must be asked for by address.
bool is_selected(const Filter& filter, const InterfaceAddress& address) {
  if (filter.picks(to_text(address.address))) return true;
  return !is_local(address.address) && (filter.empty() || filter.picks(address.interface));
}

bool is_selected(const Filter& filter, const Entry& entry) {
  return filter.empty() || filter.picks(entry.interface) || filter.picks(to_text(entry.subnet));
}

using Texts = std::set<std::string>;

void keep_common(Texts& set, const Texts& others) {
  std::erase_if(set, [&](const std::string& text) { return !others.contains(text); });
}

/// Adds `found` to `told`; tells whether that was news.
bool tell(Texts& told, const Texts& found) {
  const std::size_t before = told.size();
  told.insert(found.begin(), found.end());
  return told.size() != before;
}

}  // namespace

Findings find_differences(const Definition& definition, const Filter& filter,
                          const std::vector<InterfaceAddress>& addresses) {
  Findings findings;
  const auto& entries = definition.entries;
  for (const InterfaceAddress& address : addresses) {
    const bool known = std::any_of(entries.begin(), entries.end(),
                                   [&](const Entry& entry) { return answers(entry, address); });
    if (!known && is_selected(filter, address)) {
      findings.unexpected.insert(address.interface + " " + to_text(address.address));
    }
  }
  for (const Entry& entry : entries) {
    const bool present =
        std::any_of(addresses.begin(), addresses.end(),
                    [&](const InterfaceAddress& address) { return answers(entry, address); });
    if (!present && is_selected(filter, entry)) {
      findings.missing.insert(entry.interface + " " + to_text(entry.subnet));
    }
  }
  return findings;
}

std::int32_t Reports::news(const std::string& watch, const Findings& findings, Clock::time_point now) {
  Findings& told = asking(watch, now).told;
  keep_common(told.unexpected, findings.unexpected);
  keep_common(told.missing, findings.missing);
  if (tell(told.unexpected, findings.unexpected)) return kModification;
  return tell(told.missing, findings.missing) ? kAbsence : kNothing;
}

std::int32_t Reports::repeated(const std::string& watch, const Findings& findings, Clock::time_point now) {
  std::int32_t& last = asking(watch, now).last;
  const bool modified = !findings.unexpected.empty() && (findings.missing.empty() || last != kModification);
  if (modified) return last = kModification;
  return last = findings.missing.empty() ? kNothing : kAbsence;
}

Reports::Watch& Reports::asking(const std::string& watch, Clock::time_point now) {
  std::erase_if(watches_, [&](const auto& entry) { return now - entry.second.asked > kForgottenAfter; });
  if (watches_.size() >= kMaxWatches && !watches_.contains(watch)) {
    watches_.erase(std::min_element(watches_.begin(), watches_.end(), [](const auto& a, const auto& b) {
      return a.second.asked < b.second.asked;
    }));
  }
  Watch& asker = watches_[watch];
  asker.asked = now;
  return asker;
}

}  // namespace kvipaddress
