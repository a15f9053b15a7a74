#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kvwmi/currency.h"
#include "kvwmi/export.h"

namespace kvwmi {

class Ground;
namespace wmi {
class Services;
}

/// One-shot probes of the local machine's state and quantities through WMI (root\CIMV2).
///
/// Every method returns 0 when it has answered, or the step code that its description names; outputs are
/// reset first. A failure raises Error with Number 0x80040211, WMI's own Source followed by CR LF TAB and
/// "KVWMI : CheckPoint." + method, and WMI's Description. Names go into the query between single quotes as
/// given: a name with a single quote in it makes an invalid query. Calls keep nothing between them; an
/// instance belongs to the thread that made it.
class KVWMI_API CheckPoint {
 public:
  /// Connects to WMI. Where WMI's scripting component is absent the Description is "WMI not installed"; a
  /// failure carries the tag "KVWMI : CheckPoint.Class_Initialize".
  CheckPoint();
  /// For the component's own doors and tests.
  explicit CheckPoint(Ground& ground);
  ~CheckPoint();
  CheckPoint(const CheckPoint&) = delete;
  CheckPoint& operator=(const CheckPoint&) = delete;

  /// `f_lngState`: 25 on mains power or without a battery, 26 on battery.
  std::int32_t m_GetPowerSource(std::int32_t& f_lngState);

  /// State of the first service of that display name: 1 Stopped, 2 Start Pending, 3 Stop Pending, 4 Running,
  /// 5 Continue Pending, 6 Pause Pending, 7 Paused, 0 anything else. Returns 1 when there is no such service,
  /// 2 when it tells no state.
  std::int32_t m_GetServiceState(const std::string& f_strName, std::int32_t& f_lngState);
  /// Whether a service of that display name exists.
  std::int32_t m_GetServiceExistence(const std::string& f_strName, bool& f_blnExist);
  /// Whether a process of that image name runs.
  std::int32_t m_GetProcessExistence(const std::string& f_strName, bool& f_blnExist);

  /// Working set of the first process of that image name, in bytes. Returns 1 when there is none, 2 when it
  /// tells no size.
  std::int32_t m_GetProcessMemorySize(const std::string& f_strName, Currency& f_curSize);
  /// Share of the whole machine's processor time in percent that all processes of that image name used over
  /// half a second: 0 to 100, or below 0 when one of them ended meanwhile, as all that it had ever used is
  /// then missing. Blocks for at least 500 ms. Returns 1 when the last query found nothing, 2 when it found
  /// nothing usable.
  std::int32_t m_GetProcessCPULoadPercentage(const std::string& f_strName, std::int32_t& f_lngPercentage);

  /// The six machine-wide sizes are in kilobytes. Each returns 1 when WMI has no operating system object, 2
  /// when it tells no size.
  std::int32_t m_GetFreePhysicalMemorySize(Currency& f_curSize);
  std::int32_t m_GetPhysicalMemorySize(Currency& f_curSize);
  std::int32_t m_GetFreeVirtualMemorySize(Currency& f_curSize);
  std::int32_t m_GetVirtualMemorySize(Currency& f_curSize);
  std::int32_t m_GetFreePagingFilesSize(Currency& f_curSize);
  std::int32_t m_GetPagingFilesSize(Currency& f_curSize);

  /// Mean load of the processors that tell one, in whole percent, halves to the even neighbour. Returns 1
  /// when there is no processor; processors that all tell none are the failure "Overflow".
  std::int32_t m_GetProcessorLoadPercentage(std::int32_t& f_lngPercentage);

 private:
  Ground& ground_;
  std::shared_ptr<wmi::Services> services_;
};

}  // namespace kvwmi
