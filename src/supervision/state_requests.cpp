#include "kvwmi/codes.h"
#include "kvwmi/supervision.h"
#include "supervision/clauses.h"
#include "supervision/engine.h"
#include "supervision/frames.h"
#include "supervision/query_text.h"

namespace kvwmi {
namespace {

using supervision::kCreation;
using supervision::kDeletion;
using supervision::kModification;
using supervision::kRequest;
using supervision::strGetGroupClause;
using supervision::SupervisionType;
using supervision::within;

/// The two transitions of a service that a client may ask for.
std::string service_transitions(bool start, bool stop) {
  std::string clause;
  if (start) clause = "(PreviousInstance.State<>'Running' AND TargetInstance.State='Running')";
  if (stop) {
    if (!clause.empty()) clause += " OR ";
    clause += "(PreviousInstance.State<>'Stopped' AND TargetInstance.State='Stopped')";
  }
  return clause;
}

}  // namespace

std::int32_t Supervision::m_SuperviseService(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                             const std::string& f_strName, bool f_blnStart, bool f_blnStop,
                                             std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod,
                                             std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseService", [&] {
    std::string query = kModification + within(f_lngPollingPeriod) +
                        "WHERE TargetInstance ISA 'Win32_Service'  AND TargetInstance.DisplayName='" +
                        f_strName + "'";
    const std::string transitions = service_transitions(f_blnStart, f_blnStop);
    // Without a transition the query reports every change of the service's instance, as it should.
    if (!transitions.empty()) query += " AND (" + transitions + ")";
    query += strGetGroupClause(f_lngGroupPeriod, f_lngGroupThreshold);
    return engine_->watch(
        {f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected, SupervisionType::service}, {query});
  });
}

std::int32_t Supervision::m_SupervisePowerSource(std::int32_t f_lngCurrentStepId,
                                                 std::int32_t f_lngSupervisionId, std::int32_t f_lngState,
                                                 std::int32_t f_lngPollingPeriod,
                                                 std::int32_t f_lngGroupPeriod,
                                                 std::int32_t f_lngGroupThreshold,
                                                 bool f_blnNotifyIfUndetected) {
  return kRequest("m_SupervisePowerSource", [&] {
    const char* transition = f_lngState == power_source::kMains
                                 ? "(PreviousInstance.BatteryStatus<>2 AND TargetInstance.BatteryStatus=2)"
                                 : "(PreviousInstance.BatteryStatus=2 AND TargetInstance.BatteryStatus<>2)";
    const std::string query = kModification + within(f_lngPollingPeriod) +
                              "WHERE TargetInstance ISA 'Win32_Battery' AND (" + transition + ")" +
                              strGetGroupClause(f_lngGroupPeriod, f_lngGroupThreshold);
    return engine_->watch(
        {f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected, SupervisionType::power_source},
        {query});
  });
}

std::int32_t Supervision::m_SuperviseProcess(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                             const std::string& f_strName, bool f_blnCreate,
                                             bool f_blnTerminate, std::int32_t f_lngPollingPeriod,
                                             std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold,
                                             bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseProcess", [&] {
    // Three blanks before AND, here alone.
    const std::string tail = within(f_lngPollingPeriod) +
                             "WHERE TargetInstance ISA 'Win32_Process'   AND TargetInstance.Name='" +
                             f_strName + "'" + strGetGroupClause(f_lngGroupPeriod, f_lngGroupThreshold);
    std::vector<std::string> queries;
    if (f_blnCreate) queries.push_back(kCreation + tail);
    if (f_blnTerminate) queries.push_back(kDeletion + tail);
    return engine_->watch(
        {f_lngCurrentStepId, f_lngSupervisionId, f_blnNotifyIfUndetected, SupervisionType::process}, queries);
  });
}

}  // namespace kvwmi
