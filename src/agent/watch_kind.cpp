#include "agent/watch_kind.h"

#include <algorithm>
#include <array>

#include "agent/disk_name.h"
#include "agent/interface_record.h"
#include "agent/usage_error.h"
#include "kvwmi/codes.h"

namespace kvwmi::agent {
namespace {

// Settings of a request.

template <auto WatchRequest::*field>
void set_seconds(WatchRequest& request, const std::string& text) {
  request.*field = parse_seconds(text);
}
template <auto WatchRequest::*field>
void set_flag(WatchRequest& request, const std::string& text) {
  request.*field = parse_flag(text);
}
void set_group_threshold(WatchRequest& request, const std::string& text) {
  request.group_threshold = parse_count(text);
}
void set_filter(WatchRequest& request, const std::string& text) {
  request.filter = text;
}

void set_comparison(WatchRequest& request, std::int32_t condition, const Size& threshold) {
  if (request.condition != 0) throw UsageError("a watch makes one comparison, not two");
  request.condition = condition;
  request.threshold = threshold;
}
template <std::int32_t code>
void compare_size(WatchRequest& request, const std::string& text) {
  set_comparison(request, code, parse_size(text));
}
template <std::int32_t code>
void compare_load(WatchRequest& request, const std::string& text) {
  set_comparison(request, code, {Currency::from_integer(parse_percentage(text)), unit::kPercent});
}

constexpr WatchOption kPollOption{"poll", "SECONDS", "seconds between two looks (5)",
                                  set_seconds<&WatchRequest::polling_period>};
constexpr auto kGroup = set_seconds<&WatchRequest::group_period>;
constexpr std::array kWmiGroupOptions{
    WatchOption{"group", "SECONDS", "gather the events of so many seconds into one", kGroup},
    WatchOption{"at-least", "COUNT", "report a group only with so many events", set_group_threshold},
};
constexpr std::array kPolledGroupOptions{
    WatchOption{"group", "SECONDS",
                "report at the end of every so many seconds, changes or not unless there is an at-least",
                kGroup},
    WatchOption{"at-least", "COUNT",
                "report so many changes as one; of a group only, where there are so many in it",
                set_group_threshold},
};
/// A polled watch is never known to have fired: asked for this, it would report both.
constexpr WatchOption kAbsenceOption{
    "if-undetected", "", "report at the end that it did not fire, instead of reporting that it did",
    set_flag<&WatchRequest::notify_if_undetected>};

constexpr std::array kSizeOptions{
    WatchOption{"below", "SIZE", "report when it is less, such as 10GB or 20%",
                compare_size<condition::kLess>},
    WatchOption{"above", "SIZE", "report when it is more", compare_size<condition::kGreater>},
    WatchOption{"not-below", "SIZE", "report when it is as much or more",
                compare_size<condition::kGreaterOrEqual>},
    WatchOption{"not-above", "SIZE", "report when it is as much or less",
                compare_size<condition::kLessOrEqual>},
    WatchOption{"equal", "SIZE", "report when it is as much", compare_size<condition::kEqual>},
    WatchOption{"not-equal", "SIZE", "report when it is more or less", compare_size<condition::kDifferent>},
};
constexpr std::array kLoadOptions{
    WatchOption{"below", "PERCENT", "report when it is less, such as 10%", compare_load<condition::kLess>},
    WatchOption{"above", "PERCENT", "report when it is more", compare_load<condition::kGreater>},
    WatchOption{"not-below", "PERCENT", "report when it is as much or more",
                compare_load<condition::kGreaterOrEqual>},
    WatchOption{"not-above", "PERCENT", "report when it is as much or less",
                compare_load<condition::kLessOrEqual>},
    WatchOption{"equal", "PERCENT", "report when it is as much", compare_load<condition::kEqual>},
    WatchOption{"not-equal", "PERCENT", "report when it is more or less",
                compare_load<condition::kDifferent>},
};

constexpr auto kFirst = set_flag<&WatchRequest::first>;
constexpr auto kSecond = set_flag<&WatchRequest::second>;

// Without either of a pair, both.
constexpr std::array kServiceOptions{
    WatchOption{"start", "", "report only that it runs", kFirst},
    WatchOption{"stop", "", "report only that it has stopped", kSecond},
};
constexpr std::array kPowerOptions{
    WatchOption{"mains", "", "report only the change to mains power", kFirst},
    WatchOption{"battery", "", "report only the change to battery power", kSecond},
};
constexpr std::array kProcessOptions{
    WatchOption{"start", "", "report only that one starts", kFirst},
    WatchOption{"end", "", "report only that one ends", kSecond},
};
constexpr std::array kWindowOptions{
    WatchOption{"open", "", "report only that it opens", kFirst},
    WatchOption{"close", "", "report only that it closes", kSecond},
};
constexpr std::array kAddressOptions{
    WatchOption{"filter", "TEXT", "the addresses to look at, as the address library takes them", set_filter},
    WatchOption{"changed", "", "report only that addresses have changed", kFirst},
    WatchOption{"absent", "", "report only that addresses are absent", kSecond},
};
constexpr std::array kInterfaceOptions{
    WatchOption{"up", "", "report only that one comes up", kFirst},
    WatchOption{"down", "", "report only that one goes down", kSecond},
};

// Requests.

template <auto method>
void start_named_size(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& r) {
  (supervision.*method)(step, id, r.name, r.condition, r.threshold.value, r.threshold.unit, r.polling_period,
                        r.group_period, r.group_threshold, r.notify_if_undetected);
}

template <auto method>
void start_size(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& r) {
  (supervision.*method)(step, id, r.condition, r.threshold.value, r.threshold.unit, r.polling_period,
                        r.group_period, r.group_threshold, r.notify_if_undetected);
}

void start_disk(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& r) {
  WatchRequest named = r;
  named.name = disk_name(r.name);
  start_named_size<&Supervision::m_SuperviseDiskFreeSpace>(supervision, step, id, named);
}

void start_load(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& r) {
  supervision.m_SuperviseProcessorLoadPercentage(
      step, id, r.condition, static_cast<std::int32_t>(r.threshold.value.rounded()), r.polling_period,
      r.group_period, r.group_threshold, r.notify_if_undetected);
}

struct Changes {
  bool first, second;
};
Changes changes(const WatchRequest& r) {
  const bool both = r.first == r.second;
  return {both || r.first, both || r.second};
}

template <auto method>
void start_named_change(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& r) {
  const auto [first, second] = changes(r);
  (supervision.*method)(step, id, r.name, first, second, r.polling_period, r.group_period, r.group_threshold,
                        r.notify_if_undetected);
}

void start_power(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& r) {
  const auto [mains, battery] = changes(r);
  for (const auto& [asked, state] :
       {std::pair{mains, power_source::kMains}, std::pair{battery, power_source::kBattery}}) {
    if (!asked) continue;
    supervision.m_SupervisePowerSource(step, id, state, r.polling_period, r.group_period, r.group_threshold,
                                       r.notify_if_undetected);
  }
}

void start_address(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& r) {
  const auto [changed, absent] = changes(r);
  supervision.m_SuperviseIPAddress(step, id, r.name, r.filter, changed, absent, r.polling_period,
                                   r.group_period, r.group_threshold, r.notify_if_undetected);
}

void start_interfaces(Supervision& supervision, std::int32_t step, std::int32_t id, const WatchRequest& r) {
  WatchRequest request = r;
  request.name = claim_interface_record(r.name);
  start_named_change<&Supervision::m_SuperviseNetworkInterfaces>(supervision, step, id, request);
}
void require_interfaces(const WatchRequest& r) {
  require_interface_record(r.name);
}

std::string address_memory(const WatchRequest& r) {
  return r.name + '\n' + r.filter;
}
std::string interface_memory(const WatchRequest& r) {
  return interface_record_path(r.name);
}

constexpr std::string_view kNone;
constexpr std::string_view kProcessName = "a process's image name, such as bash";

using Source = WatchKind::Source;

constexpr std::array kKinds{
    WatchKind{"disk", Source::wmi, "m_SuperviseDiskFreeSpace",
              "a local disk: its letter, such as C:, or where it is mounted, such as /home",
              "free space of a disk", kSizeOptions, true, start_disk},
    WatchKind{"service", Source::wmi, "m_SuperviseService", "a service's display name",
              "a service that starts or stops", kServiceOptions, false,
              start_named_change<&Supervision::m_SuperviseService>},
    WatchKind{"power", Source::wmi, "m_SupervisePowerSource", kNone,
              "changes between mains and battery power", kPowerOptions, false, start_power},
    WatchKind{"process", Source::wmi, "m_SuperviseProcess", kProcessName, "processes that start or end",
              kProcessOptions, false, start_named_change<&Supervision::m_SuperviseProcess>},
    WatchKind{"process-memory", Source::wmi, "m_SuperviseProcessMemorySize", kProcessName,
              "working set of each such process; a percentage is of the paging space", kSizeOptions, true,
              start_named_size<&Supervision::m_SuperviseProcessMemorySize>},
    WatchKind{"free-memory", Source::wmi, "m_SuperviseFreePhysicalMemorySize", kNone,
              "physical memory to be had", kSizeOptions, true,
              start_size<&Supervision::m_SuperviseFreePhysicalMemorySize>},
    WatchKind{"free-virtual-memory", Source::wmi, "m_SuperviseFreeVirtualMemorySize", kNone,
              "memory and paging space to be had", kSizeOptions, true,
              start_size<&Supervision::m_SuperviseFreeVirtualMemorySize>},
    WatchKind{"free-paging", Source::wmi, "m_SuperviseFreePagingFilesSize", kNone, "paging space to be had",
              kSizeOptions, true, start_size<&Supervision::m_SuperviseFreePagingFilesSize>},
    WatchKind{"processor-load", Source::wmi, "m_SuperviseProcessorLoadPercentage", kNone,
              "load of each processor", kLoadOptions, true, start_load},
    WatchKind{"window", Source::polled, "m_SuperviseWindow", "the exact title of a top-level window",
              "a window that opens or closes", kWindowOptions, false,
              start_named_change<&Supervision::m_SuperviseWindow>},
    WatchKind{"ip-address", Source::polled, "m_SuperviseIPAddress", "an address definition file",
              "addresses that change or are absent", kAddressOptions, false, start_address, nullptr,
              address_memory},
    WatchKind{"network-interfaces", Source::polled, "m_SuperviseNetworkInterfaces",
              "a file of the watch's own for the interfaces' state, deleted at the end",
              "network interfaces that come up or go down", kInterfaceOptions, false, start_interfaces,
              require_interfaces, interface_memory},
};

}  // namespace

std::span<const WatchKind> watch_kinds() {
  return kKinds;
}

const WatchKind* find_watch_kind(std::string_view name) {
  const auto* found =
      std::find_if(kKinds.begin(), kKinds.end(), [&](const WatchKind& kind) { return kind.name == name; });
  return found == kKinds.end() ? nullptr : found;
}

std::vector<std::string> watch_kind_names() {
  std::vector<std::string> result(kKinds.size());
  std::transform(kKinds.begin(), kKinds.end(), result.begin(),
                 [](const WatchKind& kind) { return std::string(kind.name); });
  return result;
}

std::vector<WatchOption> watch_options(const WatchKind& kind) {
  std::vector<WatchOption> result(kind.options.begin(), kind.options.end());
  result.push_back(kPollOption);
  const auto& group_options = kind.source == Source::wmi ? kWmiGroupOptions : kPolledGroupOptions;
  result.insert(result.end(), group_options.begin(), group_options.end());
  if (kind.source == Source::wmi) result.push_back(kAbsenceOption);
  return result;
}

void require_usable(const WatchKind& kind, const WatchRequest& request) {
  if (kind.compares && request.condition == 0) {
    throw UsageError("a " + std::string(kind.name) + " watch needs a comparison, such as below or above");
  }
  if (kind.source == Source::wmi && request.group_threshold != 0 && request.group_period == 0) {
    throw UsageError("a " + std::string(kind.name) + " watch counts with at-least only in a group");
  }
  if (kind.require != nullptr) kind.require(request);
}

}  // namespace kvwmi::agent
