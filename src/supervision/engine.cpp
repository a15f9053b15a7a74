#include "supervision/engine.h"

#include <utility>

#include "frame/connection.h"
#include "frame/conversion.h"
#include "frame/diagnostics.h"
#include "frame/runtime_error.h"
#include "frame/wow64.h"
#include "supervision/event_detail.h"
#include "supervision/frames.h"

namespace kvwmi {

using supervision::kRequest;
using supervision::kRoutine;
using supervision::supervision_key;
namespace context = supervision::context;

SupervisionEngine::~SupervisionEngine() {
  for (const auto& record : polled.interfaces) {
    try {
      ground_.file_system().delete_file(record.definition_file);
    } catch (...) {
      // A file that cannot be deleted stays.
    }
  }
}

void SupervisionEngine::initialize() {
  kRequest("m_Initialize", [&] {
    try {
      const auto locator = ground_.create_locator();
      locator->add_privilege(wmi::kPrivilegeSecurity, true);
      wmi::ConnectArguments arguments;
      arguments.name_space = wmi::kCimv2;
      cimv2_ = locator->connect_server(arguments);

      // Registry events come from the registry view of the machine's own bitness.
      const auto bits =
          static_cast<std::int16_t>(PublicFunctions::IsWow64(ground_.system_info()) != 0 ? 64 : 32);
      const wmi::NamedValues options{{"__ProviderArchitecture", wmi::Value(bits)}};
      arguments.name_space = wmi::kDefault;
      arguments.context = &options;
      default_ = locator->connect_server(arguments);

      // The sink must not keep the engine alive; the engine must outlive an event that drops it.
      sink_ =
          ground_.create_sink([weak = weak_from_this()](wmi::Object& event, const wmi::NamedValues& values) {
            const auto engine = weak.lock();
            if (!engine) return;
            try {
              engine->g_swbemSink_OnObjectReady(event, values);
            } catch (...) {
              report_pending_error();
            }
          });
      SupervisionTimer::AttachSupervisionPollingTimer(ground_, shared_from_this());
    } catch (const Error& error) {
      throw explain_missing_wmi(error);
    }
  });
}

void SupervisionEngine::release() {
  cimv2_ = nullptr;
  default_ = nullptr;
  sink_ = nullptr;
  SupervisionTimer::DetachSupervisionPollingTimer(ground_, *this);
}

wmi::Services& SupervisionEngine::connected(const std::shared_ptr<wmi::Services>& services) {
  if (!services) throw runtime_error(RuntimeError::object_variable_not_set);
  return *services;
}

wmi::NamedValues SupervisionEngine::context_of(const supervision::Watch& watch) {
  return {{context::kSupervisionId, wmi::Value(watch.supervision)},
          {context::kCurrentStepId, wmi::Value(watch.step)},
          {context::kSupervisionType, wmi::Value(static_cast<std::int16_t>(watch.type))}};
}

void SupervisionEngine::subscribe(wmi::Services& services, const std::string& query,
                                  const wmi::NamedValues& values, const wmi::NamedValues* options) {
  constexpr std::int32_t kNoFlags = 0;
  services.exec_notification_query_async(sink_, query, wmi::kLanguage, kNoFlags, options, values);
}

std::int32_t SupervisionEngine::watch(const supervision::Watch& watch,
                                      const std::vector<std::string>& queries) {
  const wmi::NamedValues values = context_of(watch);
  for (const std::string& query : queries) subscribe(cimv2(), query, values);
  AddSupervision(watch.step, watch.supervision, watch.notify_if_undetected);
  return 0;
}

void SupervisionEngine::AddSupervision(std::int32_t step, std::int32_t supervision,
                                       bool notify_if_undetected) {
  kRoutine("AddSupervision", [&] { watches_.add(step, supervision, notify_if_undetected); });
}

void SupervisionEngine::PushEventInfos(std::int32_t step, std::int32_t supervision,
                                       const std::string& detail) {
  kRoutine("PushEventInfos", [&] {
    queue_.push({.p_lngCurrentStepId = step,
                 .p_lngSupervisionId = supervision,
                 .p_strDetail = detail,
                 .p_blnNotifyIfUndetected = false,
                 .p_blnHasBeenDetected = true});
  });
}

void SupervisionEngine::PopEventInfos(std::int32_t step, std::int32_t& supervision, std::string& detail) {
  kRoutine("m_PopEventInfos", [&] {
    supervision = 0;
    detail.clear();
    if (auto event = queue_.pop(step)) {
      supervision = event->p_lngSupervisionId;
      detail = std::move(event->p_strDetail);
    }
  });
}

void SupervisionEngine::PushUndetectedEventInfos() {
  // The tag lacks the "m_" of the method's name; agents match on it.
  kRoutine("PushUndetectedEventInfos", [&] {
    for (const SupervisionInfos& entry : watches_.entries()) {
      if (!entry.p_blnHasBeenDetected && entry.p_blnNotifyIfUndetected) {
        PushEventInfos(entry.p_lngCurrentStepId, entry.p_lngSupervisionId, "");
      }
    }
  });
}

void SupervisionEngine::Notify(std::int32_t step, std::int32_t supervision, const std::string& detail) {
  kRoutine("Notify", [&] {
    PushEventInfos(step, supervision, detail);
    lngSignalEvent(event_name);
  });
}

void SupervisionEngine::lngSignalEvent(const std::string& name) {
  kRoutine("lngSignalEvent", [&] {
    if (!name.empty()) ground_.named_events().signal(name);
  });
}

std::int32_t SupervisionEngine::start_polling(const supervision::PollingRecord& record,
                                              bool notify_if_undetected) {
  SupervisionTimer::StartSupervisionPolling(ground_, record.polling_period, companion_);
  AddSupervision(record.step, record.supervision, notify_if_undetected);
  return 0;
}

void SupervisionEngine::SupervisionPolling_Timer() {
  kRoutine("SupervisionPolling_Timer", [&] {
    polled.tick(ground_, [&](std::int32_t step, std::int32_t supervision, const std::string& detail) {
      Notify(step, supervision, detail);
    });
  });
}

void SupervisionEngine::g_swbemSink_OnObjectReady(wmi::Object& event, const wmi::NamedValues& values) {
  const std::int32_t type = to_long(wmi::named_value(values, context::kSupervisionType));
  const auto detail = supervision::event_detail(ground_, type, event, values);
  if (!detail) return;
  const std::int32_t step = to_long(wmi::named_value(values, context::kCurrentStepId));
  const std::int32_t supervision = to_long(wmi::named_value(values, context::kSupervisionId));
  SupervisionInfos* entry = watches_.find(supervision_key(step, supervision));
  if (!entry) return;
  entry->p_blnHasBeenDetected = true;
  if (!entry->p_blnNotifyIfUndetected) Notify(step, supervision, *detail);
}

}  // namespace kvwmi
