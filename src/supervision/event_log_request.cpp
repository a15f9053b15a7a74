#include <algorithm>
#include <string_view>

#include "frame/runtime_error.h"
#include "frame/text.h"
#include "kvwmi/supervision.h"
#include "supervision/clauses.h"
#include "supervision/engine.h"
#include "supervision/frames.h"
#include "supervision/query_text.h"

namespace kvwmi {
namespace {

using supervision::kCreation;
using supervision::kRequest;
using supervision::strGetGroupClause;
using supervision::SupervisionType;
using supervision::within;

constexpr std::int32_t kAnyType = 0;

/// Whether entries have their type as a number, which they lack on older systems.
bool has_event_type(wmi::Services& services) {
  const auto classes = services.exec_query("SELECT * FROM meta_class WHERE __Class = 'Win32_NTLogEvent'");
  if (classes->count() < 1) {
    throw Error(kSupervisionError, "Win32_NTLogEvent", "Cannot find event log.");
  }
  const auto properties = wmi::first_of(*classes)->properties();
  return std::any_of(properties.begin(), properties.end(),
                     [](const wmi::Property& property) { return property.name == "EventType"; });
}

}  // namespace

std::int32_t Supervision::m_SuperviseEventLog(std::int32_t f_lngCurrentStepId,
                                              std::int32_t f_lngSupervisionId,
                                              const std::string& f_strLogFile, std::int32_t f_lngType,
                                              const std::string& f_strSourceName, std::int32_t f_lngCode,
                                              std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod,
                                              std::int32_t f_lngGroupThreshold,
                                              bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseEventLog", [&] {
    const bool filters_by_type = has_event_type(engine_->cimv2()) && f_lngType != kAnyType;
    std::string query =
        kCreation + within(f_lngPollingPeriod) + "WHERE TargetInstance ISA 'Win32_NTLogEvent'";
    // One blank before these ANDs, unlike the two of the other watches.
    if (!f_strLogFile.empty() && !equals_ignoring_case(f_strLogFile, "All")) {
      query += " AND TargetInstance.Logfile='" + f_strLogFile + "'";
    }
    if (filters_by_type) query += " AND TargetInstance.EventType=" + std::to_string(f_lngType);
    if (!f_strSourceName.empty()) query += " AND TargetInstance.SourceName='" + f_strSourceName + "'";
    if (f_lngCode >= 0) query += " AND TargetInstance.EventCode=" + std::to_string(f_lngCode);
    query += strGetGroupClause(f_lngGroupPeriod, f_lngGroupThreshold);
    return engine_->watch(
        {f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected, SupervisionType::event_log},
        {query});
  });
}

}  // namespace kvwmi
