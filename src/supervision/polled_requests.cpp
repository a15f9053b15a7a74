#include <chrono>
#include <utility>

#include "frame/runtime_error.h"
#include "kvwmi/supervision.h"
#include "supervision/engine.h"
#include "supervision/frames.h"

namespace kvwmi {
namespace {

using supervision::kRequest;
using supervision::PollingRecord;

/// The part of a record that every kind has; its first poll is at the first tick.
PollingRecord new_record(SupervisionEngine& engine, std::int32_t step, std::int32_t supervision,
                         std::int32_t polling_period, std::int32_t group_period,
                         std::int32_t group_threshold) {
  // The timer's interval is a common divisor, which only positive periods have.
  if (polling_period <= 0) throw runtime_error(RuntimeError::invalid_procedure_call);
  const std::chrono::local_seconds now = engine.ground().clock().local_now();
  return {.step = step,
          .supervision = supervision,
          .polling_period = polling_period,
          .group_period = group_period,
          .group_threshold = group_threshold,
          .event_count = 0,
          .group_end = now + std::chrono::seconds(group_period),
          .next_poll = now};
}

}  // namespace

std::int32_t Supervision::m_SuperviseWindow(std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId,
                                            const std::string& f_strName, bool f_blnOpen, bool f_blnClose,
                                            std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod,
                                            std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseWindow", [&] {
    engine_->polled.windows.push_back({new_record(*engine_, f_lngCurrentStepId, f_lngSupervisionId,
                                                  f_lngPollingPeriod, f_lngGroupPeriod, f_lngGroupThreshold),
                                       f_strName, f_blnOpen, f_blnClose,
                                       engine_->ground().windows().find(f_strName) != 0});
    return engine_->start_polling(engine_->polled.windows.back(), f_blnNotifyIfUndetected);
  });
}

std::int32_t Supervision::m_SuperviseIPAddress(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, const std::string& f_strDefFileName,
    const std::string& f_strFilter, bool f_blnCheckModification, bool f_blnCheckAbsence,
    std::int32_t f_lngPollingPeriod, std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold,
    bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseIPAddress", [&] {
    engine_->polled.addresses.push_back(
        {new_record(*engine_, f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                    f_lngGroupThreshold),
         f_strDefFileName, f_strFilter, f_blnCheckModification, f_blnCheckAbsence});
    return engine_->start_polling(engine_->polled.addresses.back(), f_blnNotifyIfUndetected);
  });
}

std::int32_t Supervision::m_SuperviseNetworkInterfaces(
    std::int32_t f_lngCurrentStepId, std::int32_t f_lngSupervisionId, const std::string& f_strDefFileName,
    bool f_blnCheckActivation, bool f_blnCheckDeactivation, std::int32_t f_lngPollingPeriod,
    std::int32_t f_lngGroupPeriod, std::int32_t f_lngGroupThreshold, bool f_blnNotifyIfUndetected) {
  return kRequest("m_SuperviseNetworkInterfaces", [&] {
    engine_->polled.interfaces.push_back(
        {new_record(*engine_, f_lngCurrentStepId, f_lngSupervisionId, f_lngPollingPeriod, f_lngGroupPeriod,
                    f_lngGroupThreshold),
         f_strDefFileName, f_blnCheckActivation, f_blnCheckDeactivation});
    return engine_->start_polling(engine_->polled.interfaces.back(), f_blnNotifyIfUndetected);
  });
}

}  // namespace kvwmi
