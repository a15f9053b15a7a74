#include "supervision/polled_watches.h"

#include <limits>

#include "frame/runtime_error.h"

namespace kvwmi::supervision {
namespace {

/// What the KVIPAddress library reports.
constexpr std::int32_t kAddressModified = 1;
constexpr std::int32_t kAddressAbsent = 2;
constexpr std::int32_t kInterfaceActivated = 1;
constexpr std::int32_t kInterfaceDeactivated = 2;
constexpr std::int32_t kInterfaceBoth = 3;

void count_if(bool happened, PollingRecord& record) {
  if (!happened) return;
  if (record.event_count == std::numeric_limits<std::int32_t>::max()) {
    throw runtime_error(RuntimeError::overflow);
  }
  ++record.event_count;
}

void check(Ground& ground, WindowRecord& window) {
  const bool present = ground.windows().find(window.title) != 0;
  count_if(window.check_open && !window.present && present, window);
  count_if(window.check_close && window.present && !present, window);
  window.present = present;
}

void check(Ground& ground, AddressRecord& address) {
  const std::int32_t result =
      ground.ip_address_library().iCheckIPAddress(address.definition_file, address.filter);
  count_if(result == kAddressModified && address.check_modification, address);
  count_if(result == kAddressAbsent && address.check_absence, address);
}

void count_changes(std::int32_t result, InterfaceRecord& record) {
  const bool both = result == kInterfaceBoth;
  count_if((result == kInterfaceActivated || both) && record.check_activation, record);
  count_if((result == kInterfaceDeactivated || both) && record.check_deactivation, record);
}

void report_events(Clock& clock, PollingRecord& record, const PolledWatches::Notify& notify) {
  const bool enough = record.event_count >= record.group_threshold;
  if (record.group_period == 0) {
    if (record.event_count == 0 || !enough) return;
    notify(record.step, record.supervision, "");
    record.event_count = 0;
  } else if (clock.local_now() >= record.group_end) {
    // No test for 0 events: without a threshold the end of every group is reported.
    if (enough) notify(record.step, record.supervision, "");
    record.event_count = 0;
    record.group_end = clock.local_now() + std::chrono::seconds(record.group_period);
  }
}

template <typename Record, typename Poll>
void poll_due(Clock& clock, std::deque<Record>& records, Poll poll) {
  for (std::size_t i = 0; i < records.size(); ++i) {  // records may be added meanwhile
    Record& record = records[i];
    if (record.next_poll > clock.local_now()) continue;
    poll(record);
    // From the time it was due, not from now: a late tick is made up for by the next ones.
    record.next_poll += std::chrono::seconds(record.polling_period);
  }
}

}  // namespace

void PolledWatches::tick(Ground& ground, const Notify& notify) {
  Clock& clock = ground.clock();
  const auto check_and_report = [&](auto& record) {
    check(ground, record);
    report_events(clock, record, notify);
  };
  poll_due(clock, windows, check_and_report);
  poll_due(clock, addresses, check_and_report);
  poll_due(clock, interfaces, [&](InterfaceRecord& record) {
    const std::int32_t result = ground.ip_address_library().iCheckNetworkInterfaces(record.definition_file);
    if (first_interface_tick_) return;  // the call has recorded the state to start from
    count_changes(result, record);
    report_events(clock, record, notify);
  });
  first_interface_tick_ = false;
}

}  // namespace kvwmi::supervision
