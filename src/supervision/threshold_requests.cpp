#include <cmath>
#include <string>
#include <string_view>

#include "frame/conversion.h"
#include "frame/runtime_error.h"
#include "kvwmi/codes.h"
#include "kvwmi/supervision.h"
#include "supervision/clauses.h"
#include "supervision/engine.h"
#include "supervision/frames.h"
#include "supervision/query_text.h"
#include "supervision/value_watches.h"

namespace kvwmi {
namespace {

using supervision::kRequest;
using supervision::strGetConditionFilter;
using supervision::strGetGroupClause;
using supervision::ValueWatch;

/// Where a percentage finds what it is a percentage of.
struct Capacity {
  std::string query;
  std::string missing;  ///< raised where there is none
};

/// The client's threshold.
struct Threshold {
  std::int32_t condition;
  Currency value;
  std::int32_t unit;
};

/// The client's arguments that are the same everywhere.
struct Request {
  std::int32_t step;
  std::int32_t supervision;
  std::int32_t polling_period;
  std::int32_t group_period;
  std::int32_t group_threshold;
  bool notify_if_undetected;
};

Currency read_capacity(wmi::Services& services, const Capacity& capacity, std::string_view property) {
  Currency size;
  const auto set = services.exec_query(capacity.query);
  if (set->count() > 0) {
    const wmi::Value value = wmi::first_of(*set)->get(property);
    if (!value.is_null()) size = to_currency(value);
  }
  if (size <= Currency()) throw Error(kSupervisionError, kComponentName, capacity.missing);
  return size;
}

/// Watches the instances that `where` describes.
std::int32_t watch_value(SupervisionEngine& engine, const Request& request, const ValueWatch& watch,
                         const std::string& where, const Threshold& threshold) {
  const std::string query =
      supervision::kModification + supervision::within(request.polling_period) + where +
      strGetConditionFilter("TargetInstance." + std::string(watch.property), threshold.condition,
                            threshold.value, threshold.unit, watch.unit) +
      strGetGroupClause(request.group_period, request.group_threshold);
  return engine.watch({request.step, request.supervision, request.notify_if_undetected, watch.type}, {query});
}

/// The same where the threshold may be a percentage of a capacity.
std::int32_t watch_size(SupervisionEngine& engine, const Request& request, const ValueWatch& watch,
                        const std::string& where, const Threshold& threshold, const Capacity& capacity) {
  if (threshold.unit != unit::kPercent) return watch_value(engine, request, watch, where, threshold);
  const Currency product = read_capacity(engine.cimv2(), capacity, watch.capacity) * threshold.value;
  const Currency size = Currency::from_double(std::nearbyint(product.to_double() / 100));
  return watch_value(engine, request, watch, where, {threshold.condition, size, watch.capacity_unit});
}

/// The same with a capacity that the operating system tells.
std::int32_t watch_memory(SupervisionEngine& engine, const Request& request, const ValueWatch& watch,
                          const Threshold& threshold,
                          const std::string& where = "WHERE TargetInstance ISA 'Win32_OperatingSystem'") {
  return watch_size(engine, request, watch, where, threshold,
                    {"SELECT * FROM Win32_OperatingSystem", "Cannot retrieve memory capacity"});
}

/// The first character of a drive name and a colon.
std::string drive_of(std::string_view name) {
  return supervision::first_characters(name, 1) + ":";
}

}  // namespace

std::int32_t Supervision::m_SuperviseDiskFreeSpace(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, const std::string& f_strName,
    std::int32_t f_lngCondition, Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseDiskFreeSpace", [&] {
    const std::string drive = drive_of(f_strName);
    return watch_size(*engine_,
                      {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                       f_lngGroupThreshold, f_blnNotifyIfUndetected},
                      supervision::kDiskFreeSpace,
                      // The pieces that begin with AND begin with two blanks, here and in the other watches
                      // of an instance.
                      "WHERE TargetInstance ISA 'Win32_LogicalDisk'  AND TargetInstance.DriveType=3  AND "
                      "TargetInstance.DeviceID='" +
                          drive + "'",
                      {f_lngCondition, f_curValue, f_lngUnit},
                      {"SELECT * FROM Win32_LogicalDisk WHERE DriveType=3  AND DeviceID='" + drive + "'",
                       "Cannot retrieve disk capacity: '" + drive + "'"});
  });
}

std::int32_t Supervision::m_SuperviseProcessMemorySize(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, const std::string& f_strName,
    std::int32_t f_lngCondition, Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseProcessMemorySize", [&] {
    return watch_memory(
        *engine_,
        {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold,
         f_blnNotifyIfUndetected},
        supervision::kProcessMemorySize, {f_lngCondition, f_curValue, f_lngUnit},
        "WHERE TargetInstance ISA 'Win32_Process'  AND TargetInstance.Name='" + f_strName + "'");
  });
}

std::int32_t Supervision::m_SuperviseFreePhysicalMemorySize(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
    Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseFreePhysicalMemorySize", [&] {
    return watch_memory(*engine_,
                        {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                         f_lngGroupThreshold, f_blnNotifyIfUndetected},
                        supervision::kFreePhysicalMemorySize, {f_lngCondition, f_curValue, f_lngUnit});
  });
}

std::int32_t Supervision::m_SuperviseFreeVirtualMemorySize(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
    Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseFreeVirtualMemorySize", [&] {
    return watch_memory(*engine_,
                        {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                         f_lngGroupThreshold, f_blnNotifyIfUndetected},
                        supervision::kFreeVirtualMemorySize, {f_lngCondition, f_curValue, f_lngUnit});
  });
}

std::int32_t Supervision::m_SuperviseFreePagingFilesSize(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
    Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseFreePagingFilesSize", [&] {
    return watch_memory(*engine_,
                        {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                         f_lngGroupThreshold, f_blnNotifyIfUndetected},
                        supervision::kFreePagingFilesSize, {f_lngCondition, f_curValue, f_lngUnit});
  });
}

std::int32_t Supervision::m_SuperviseProcessorLoadPercentage(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
    std::int32_t f_lngPercentage, std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod,
    std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseProcessorLoadPercentage", [&] {
    return watch_value(*engine_,
                       {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                        f_lngGroupThreshold, f_blnNotifyIfUndetected},
                       supervision::kProcessorLoadPercentage, "WHERE TargetInstance ISA 'Win32_Processor'",
                       {f_lngCondition, Currency::from_integer(f_lngPercentage), unit::kPercent});
  });
}

}  // namespace kvwmi
