#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>

#include "frame/ground.h"

namespace kvwmi::supervision {

/// What the three kinds of polled watches have in common. Times are local and in whole seconds.
struct PollingRecord {
  std::int32_t step = 0;
  std::int32_t supervision = 0;
  std::int32_t polling_period = 0;  ///< seconds
  std::int32_t group_period = 0;    ///< seconds, 0 for no grouping
  std::int32_t group_threshold = 0;
  std::int32_t event_count = 0;
  std::chrono::local_seconds group_end{};
  std::chrono::local_seconds next_poll{};
};

struct WindowRecord : PollingRecord {
  std::string title;
  bool check_open = false;
  bool check_close = false;
  bool present = false;  ///< at the last check
};

struct AddressRecord : PollingRecord {
  std::string definition_file;
  std::string filter;
  bool check_modification = false;
  bool check_absence = false;
};

struct InterfaceRecord : PollingRecord {
  std::string definition_file;
  bool check_activation = false;
  bool check_deactivation = false;
};

/// The polled watches of one engine. Records are never removed.
class PolledWatches {
 public:
  using Notify = std::function<void(std::int32_t step, std::int32_t supervision, const std::string& detail)>;

  // A deque: a record that a tick is working on stays where it is when a request adds another.
  std::deque<WindowRecord> windows;
  std::deque<AddressRecord> addresses;
  std::deque<InterfaceRecord> interfaces;

  /// Checks every record that is due and calls `notify` for those with something to report. An error ends the
  /// tick; records keep what was updated before it.
  void tick(Ground& ground, const Notify& notify);

 private:
  bool first_interface_tick_ = true;
};

}  // namespace kvwmi::supervision
