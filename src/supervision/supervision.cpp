#include "kvwmi/supervision.h"

#include <utility>

#include "supervision/engine.h"

namespace kvwmi {

Supervision::Supervision() : Supervision(local_ground()) {}
Supervision::Supervision(Ground& ground, std::shared_ptr<void> companion)
    : engine_(std::make_shared<SupervisionEngine>(ground, std::move(companion))) {}
Supervision::Supervision(const Supervision&) = default;
Supervision& Supervision::operator=(const Supervision&) = default;
Supervision::~Supervision() = default;

const std::string& Supervision::p_strSupervisionEventName() const {
  return engine_->event_name;
}

void Supervision::p_strSupervisionEventName(const std::string& name) {
  engine_->event_name = name;
}

void Supervision::m_Initialize() {
  engine_->initialize();
}

void Supervision::m_Release() {
  engine_->release();
}

void Supervision::m_PopEventInfos(std::int32_t f_lngCurrentStepId, std::int32_t& f_lngSupervisionId,
                                  std::string& f_strSupervisionDetail) {
  engine_->PopEventInfos(f_lngCurrentStepId, f_lngSupervisionId, f_strSupervisionDetail);
}

void Supervision::m_PushUndetectedEventInfos() {
  engine_->PushUndetectedEventInfos();
}

}  // namespace kvwmi
