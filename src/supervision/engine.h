#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "frame/ground.h"
#include "supervision/event_queue.h"
#include "supervision/polled_watches.h"
#include "supervision/supervision_timer.h"
#include "supervision/supervision_type.h"
#include "supervision/watch_list.h"

namespace kvwmi {

namespace supervision {

/// One watch that WMI delivers.
struct Watch {
  std::int32_t step;
  std::int32_t supervision;
  bool notify_if_undetected;
  SupervisionType type;
};

}  // namespace supervision

/// What is behind a Supervision object, and behind the copies of it. The timer's list holds it as well.
class SupervisionEngine final : public Polled, public std::enable_shared_from_this<SupervisionEngine> {
 public:
  explicit SupervisionEngine(Ground& ground, std::shared_ptr<void> companion = nullptr)
      : companion_(std::move(companion)), ground_(ground) {}
  /// Deletes the definition files of the interface watches.
  ~SupervisionEngine() override;
  SupervisionEngine(const SupervisionEngine&) = delete;
  SupervisionEngine& operator=(const SupervisionEngine&) = delete;

  void initialize();
  void release();

  /// The two connections; 91 "Object variable or With block variable not set" outside of initialize and
  /// release.
  [[nodiscard]] wmi::Services& cimv2() const { return connected(cimv2_); }
  [[nodiscard]] wmi::Services& root_default() const { return connected(default_); }

  /// The context that tells the sink which watch an event belongs to.
  [[nodiscard]] static wmi::NamedValues context_of(const supervision::Watch& watch);
  /// Subscribes the engine's sink to an event query through one of the connections.
  void subscribe(wmi::Services& services, const std::string& query, const wmi::NamedValues& values,
                 const wmi::NamedValues* options = nullptr);
  /// The whole of a request over root\CIMV2: subscribes each query, then registers the watch. Gives 0.
  std::int32_t watch(const supervision::Watch& watch, const std::vector<std::string>& queries);

  void AddSupervision(std::int32_t step, std::int32_t supervision, bool notify_if_undetected);
  void PushEventInfos(std::int32_t step, std::int32_t supervision, const std::string& detail);
  void PopEventInfos(std::int32_t step, std::int32_t& supervision, std::string& detail);
  void PushUndetectedEventInfos();

  /// Queues a record and signals the agent's event.
  void Notify(std::int32_t step, std::int32_t supervision, const std::string& detail);

  /// The end of a polled request, once its record is in `polled`: starts the timer, then registers the watch.
  /// Gives 0.
  std::int32_t start_polling(const supervision::PollingRecord& record, bool notify_if_undetected);
  void SupervisionPolling_Timer() override;

  /// One delivered event. Raises when its watch or its detail cannot be told.
  void g_swbemSink_OnObjectReady(wmi::Object& event, const wmi::NamedValues& values);

  [[nodiscard]] Ground& ground() const noexcept { return ground_; }

  std::string event_name;             ///< of the agent's event, empty for none
  supervision::PolledWatches polled;  ///< kept after release, like the queue and the list of watches

 private:
  [[nodiscard]] static wmi::Services& connected(const std::shared_ptr<wmi::Services>& services);
  void lngSignalEvent(const std::string& name);

  std::shared_ptr<void> companion_;  // first: goes last
  Ground& ground_;
  std::shared_ptr<wmi::Services> cimv2_;
  std::shared_ptr<wmi::Services> default_;
  std::shared_ptr<wmi::Sink> sink_;
  supervision::EventQueue queue_;
  supervision::WatchList watches_;
};

}  // namespace kvwmi
