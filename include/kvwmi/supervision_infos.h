#pragma once

#include <cstdint>
#include <string>

namespace kvwmi {

/// One supervision, as the registry knows it, or one event of it, as the queue holds it.
struct SupervisionInfos {
  std::int32_t p_lngCurrentStepId = 0;
  std::int32_t p_lngSupervisionId = 0;
  std::string p_strDetail;               ///< text of a WMI event; empty for polled and undetected events
  bool p_blnNotifyIfUndetected = false;  ///< whether the watch reports that it did not fire
  bool p_blnHasBeenDetected = false;     ///< whether a matching event has arrived
};

}  // namespace kvwmi
