#include <cmath>
#include <string_view>

#include "frame/conversion.h"
#include "frame/runtime_error.h"
#include "kvwmi/supervision.h"
#include "supervision/clauses.h"
#include "supervision/engine.h"
#include "supervision/frames.h"
#include "supervision/query_text.h"

namespace kvwmi {
namespace {

using supervision::kBytes;
using supervision::kKilobytes;
using supervision::kPercent;
using supervision::kRequest;
using supervision::strGetConditionFilter;
using supervision::strGetGroupClause;
using supervision::SupervisionType;

/// What a percentage is a percentage of.
struct Capacity {
  std::string query;
  std::string_view property;
  std::int32_t unit;    ///< of the property, and so of the threshold
  std::string missing;  ///< raised where there is none
};

/// A quantity of the machine that WMI compares with a threshold.
struct Quantity {
  SupervisionType type;
  std::string where;
  std::string_view property;
  std::int32_t unit;  ///< of the property
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

Currency read_capacity(wmi::Services& services, const Capacity& capacity) {
  Currency size;
  const auto set = services.exec_query(capacity.query);
  if (set->count() > 0) {
    const wmi::Value value = wmi::first_of(*set)->get(capacity.property);
    if (!value.is_null()) size = to_currency(value);
  }
  if (size <= Currency()) throw Error(kSupervisionError, kComponentName, capacity.missing);
  return size;
}

/// `threshold` with a percentage turned into a size.
Threshold absolute(wmi::Services& services, const Capacity& capacity, const Threshold& threshold) {
  const Currency product = read_capacity(services, capacity) * threshold.value;
  return {threshold.condition, Currency::from_double(std::nearbyint(product.to_double() / 100)),
          capacity.unit};
}

std::int32_t watch_quantity(SupervisionEngine& engine, const Request& request, const Quantity& quantity,
                            const Threshold& threshold) {
  const std::string query = supervision::kModification + supervision::within(request.polling_period) +
                            quantity.where +
                            strGetConditionFilter(quantity.property, threshold.condition, threshold.value,
                                                  threshold.unit, quantity.unit) +
                            strGetGroupClause(request.group_period, request.group_threshold);
  return engine.watch({request.step, request.supervision, request.notify_if_undetected, quantity.type},
                      {query});
}

std::int32_t watch_size(SupervisionEngine& engine, const Request& request, const Quantity& quantity,
                        const Capacity& capacity, const Threshold& threshold) {
  return watch_quantity(
      engine, request, quantity,
      threshold.unit == kPercent ? absolute(engine.cimv2(), capacity, threshold) : threshold);
}

/// The first character of a drive name and a colon.
std::string drive_of(std::string_view name) {
  return supervision::first_characters(name, 1) + ":";
}

constexpr const char* kWhereOperatingSystem = "WHERE TargetInstance ISA 'Win32_OperatingSystem'";

Capacity memory_capacity(std::string_view property) {
  return {"SELECT * FROM Win32_OperatingSystem", property, kKilobytes, "Cannot retrieve memory capacity"};
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
                      {SupervisionType::disk_free_space,
                       // The pieces that begin with AND begin with two blanks, here and in the other watches
                       // of an instance.
                       "WHERE TargetInstance ISA 'Win32_LogicalDisk'  AND TargetInstance.DriveType=3  AND "
                       "TargetInstance.DeviceID='" +
                           drive + "'",
                       "TargetInstance.FreeSpace", kBytes},
                      {"SELECT * FROM Win32_LogicalDisk WHERE DriveType=3  AND DeviceID='" + drive + "'",
                       "Size", kBytes, "Cannot retrieve disk capacity: '" + drive + "'"},
                      {f_lngCondition, f_curValue, f_lngUnit});
  });
}

std::int32_t Supervision::m_SuperviseProcessMemorySize(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, const std::string& f_strName,
    std::int32_t f_lngCondition, Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseProcessMemorySize", [&] {
    return watch_size(
        *engine_,
        {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold,
         f_blnNotifyIfUndetected},
        {SupervisionType::process_memory_size,
         "WHERE TargetInstance ISA 'Win32_Process'  AND TargetInstance.Name='" + f_strName + "'",
         "TargetInstance.WorkingSetSize", kBytes},
        // A percentage of the paging files, not of the physical memory.
        memory_capacity("SizeStoredInPagingFiles"), {f_lngCondition, f_curValue, f_lngUnit});
  });
}

std::int32_t Supervision::m_SuperviseFreePhysicalMemorySize(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
    Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseFreePhysicalMemorySize", [&] {
    return watch_size(*engine_,
                      {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                       f_lngGroupThreshold, f_blnNotifyIfUndetected},
                      {SupervisionType::free_physical_memory_size, kWhereOperatingSystem,
                       "TargetInstance.FreePhysicalMemory", kKilobytes},
                      memory_capacity("TotalVisibleMemorySize"), {f_lngCondition, f_curValue, f_lngUnit});
  });
}

std::int32_t Supervision::m_SuperviseFreeVirtualMemorySize(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
    Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseFreeVirtualMemorySize", [&] {
    return watch_size(*engine_,
                      {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                       f_lngGroupThreshold, f_blnNotifyIfUndetected},
                      {SupervisionType::free_virtual_memory_size, kWhereOperatingSystem,
                       "TargetInstance.FreeVirtualMemory", kKilobytes},
                      memory_capacity("TotalVirtualMemorySize"), {f_lngCondition, f_curValue, f_lngUnit});
  });
}

std::int32_t Supervision::m_SuperviseFreePagingFilesSize(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
    Currency f_curValue, std::int32_t f_lngUnit, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseFreePagingFilesSize", [&] {
    return watch_size(*engine_,
                      {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                       f_lngGroupThreshold, f_blnNotifyIfUndetected},
                      {SupervisionType::free_paging_files_size, kWhereOperatingSystem,
                       "TargetInstance.FreeSpaceInPagingFiles", kKilobytes},
                      memory_capacity("SizeStoredInPagingFiles"), {f_lngCondition, f_curValue, f_lngUnit});
  });
}

std::int32_t Supervision::m_SuperviseProcessorLoadPercentage(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, std::int32_t f_lngCondition,
    std::int32_t f_lngPercentage, std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod,
    std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseProcessorLoadPercentage", [&] {
    return watch_quantity(
        *engine_,
        {f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold,
         f_blnNotifyIfUndetected},
        {SupervisionType::processor_load_percentage, "WHERE TargetInstance ISA 'Win32_Processor'",
         "TargetInstance.LoadPercentage", kBytes},
        {f_lngCondition, Currency::from_integer(f_lngPercentage), kBytes});
  });
}

}  // namespace kvwmi
