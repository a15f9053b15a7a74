#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "wmi/events/event_engine.h"
#include "wmi/memory_provider.h"
#include "wmi/service.h"

/// An event engine whose time and subscribers' loops go on when the test says so.
namespace kvwmi::embedded::testing {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// A subscriber's loop that runs when the test says so.
class TestLoop final : public Delivery {
 public:
  void post(std::function<void()> work) override {
    if (fails) throw std::runtime_error("no loop");
    work_.push_back(std::move(work));
  }
  void run() {
    while (!work_.empty()) {
      const auto work = std::move(work_.front());
      work_.pop_front();
      work();
    }
  }
  [[nodiscard]] std::size_t waiting() const { return work_.size(); }

  bool fails = false;

 private:
  std::deque<std::function<void()>> work_;
};

class EngineNotifier final : public Notifier {
 public:
  EngineNotifier(std::shared_ptr<EventEngine> engine, const TimePoint& now)
      : engine_(std::move(engine)), now_(now) {}
  void subscribe(const NotificationRequest& request) override { engine_->subscribe(request, now_); }

 private:
  std::shared_ptr<EventEngine> engine_;
  const TimePoint& now_;
};

inline std::string text_of(const wmi::Value& value) {
  if (const auto* text = value.get_if<std::string>()) return *text;
  if (const auto* number = value.get_if<std::int32_t>()) return std::to_string(*number);
  if (const auto* truth = value.get_if<bool>()) return *truth ? "True" : "False";
  return value.is_null() ? "Null" : "?";
}

inline std::string property(wmi::Object& event, std::string_view object, std::string_view name) {
  const wmi::Value value = event.get(object);
  const auto* instance = value.get_if<std::shared_ptr<wmi::Object>>();
  return instance == nullptr ? "no object" : text_of((*instance)->get(name));
}

struct EventEngineTest : ::testing::Test {
  TimePoint now = TimePoint(seconds(1000));
  std::shared_ptr<TestLoop> loop = std::make_shared<TestLoop>();
  std::vector<Error> failures;
  std::shared_ptr<EventSettings> settings = std::make_shared<EventSettings>();
  std::shared_ptr<EventEngine> engine;
  Service service;
  std::shared_ptr<MemoryProvider> services = std::make_shared<MemoryProvider>(
      MemoryClass{.name = "Win32_Service",
                  .properties = {{"Name", cim::CimType::string, cim::kKey | cim::kNarrows},
                                 {"DisplayName", cim::CimType::string},
                                 {"State", cim::CimType::string},
                                 {"ProcessId", cim::CimType::uint32},
                                 {"Started", cim::CimType::boolean}},
                  .methods = {{"StartService", {}, [](std::size_t, auto) { return 0U; }}},
                  .superclasses = {"CIM_Service"}});
  std::shared_ptr<MemoryProvider> processes = std::make_shared<MemoryProvider>(
      MemoryClass{.name = "Win32_Process",
                  .properties = {{"Handle", cim::CimType::string, cim::kKey},
                                 {"Name", cim::CimType::string, cim::kIdentifies},
                                 {"WorkingSetSize", cim::CimType::uint64}},
                  .superclasses = {"CIM_Process", "CIM_LogicalElement"}});
  std::shared_ptr<MemoryProvider> threads = std::make_shared<MemoryProvider>(MemoryClass{
      .name = "Win32_Thread",
      .properties = {{"Handle", cim::CimType::string, cim::kKey}, {"Priority", cim::CimType::uint32}},
      .superclasses = {"CIM_Thread", "CIM_LogicalElement"}});
  std::shared_ptr<wmi::Services> connection;
  std::vector<std::string> seen;
  std::shared_ptr<wmi::Sink> sink;

  EventEngineTest() {
    settings->on_failure = [this](const Error& error) { failures.push_back(error); };
    settings->wall_time = [] { return std::uint64_t{133'000'000'000'000'000}; };
    engine = std::make_shared<EventEngine>(settings, [] {});
    service.set_notifier(std::make_shared<EngineNotifier>(engine, now));
    for (const auto& provider : {services, processes, threads}) service.add(provider);
    wmi::ConnectArguments arguments;
    arguments.name_space = wmi::kCimv2;
    connection = service.create_locator()->connect_server(arguments);
    sink = make_sink();
  }

  /// A sink that notes each event: what the context says, the class, the target's key and the rest.
  std::shared_ptr<wmi::Sink> make_sink() {
    return std::make_shared<EventSink>(
        [this](wmi::Object& event, const wmi::NamedValues& context) {
          seen.push_back(described(event, context));
        },
        loop);
  }
  static std::string described(wmi::Object& event, const wmi::NamedValues& context) {
    std::string text;
    if (!context.empty()) text = text_of(context.front().value) + ' ';
    text += event.class_name();
    if (event.class_name() == "__AggregateEvent") {
      const wmi::Value representative = event.get("Representative");
      return text + " x" + text_of(event.get("NumberOfEvents")) + " {" +
             described(**representative.get_if<std::shared_ptr<wmi::Object>>(), {}) + '}';
    }
    const wmi::Value target = event.get("TargetInstance");
    const auto& instance = *target.get_if<std::shared_ptr<wmi::Object>>();
    const bool is_service = instance->class_name() == "Win32_Service";
    return text + ' ' + text_of(instance->get(is_service ? "Name" : "Handle"));
  }

  void subscribe(const std::string& query, const std::string& context = "") {
    wmi::NamedValues values;
    if (!context.empty()) values.push_back({"Id", wmi::Value(context)});
    connection->exec_notification_query_async(sink, query, "WQL", 0, nullptr, values);
  }
  std::size_t add_service(const std::string& name, const std::string& state) {
    return services->add({{"Name", name}, {"DisplayName", name + " service"}, {"State", state}});
  }
  std::size_t add_process(const std::string& handle, const std::string& name) {
    return processes->add({{"Handle", handle}, {"Name", name}, {"WorkingSetSize", std::uint64_t{100}}});
  }
  /// Lets time pass and does what becomes due.
  void pass(milliseconds time) {
    const TimePoint end = now + time;
    for (;;) {
      const auto due = engine->due();
      if (!due || *due > end) break;
      now = std::max(now, *due);
      engine->run_one(now);
    }
    now = end;
    loop->run();
  }
  std::vector<std::string> take() { return std::exchange(seen, {}); }

  Error refused(const std::string& query) {
    try {
      subscribe(query);
    } catch (const Error& error) {
      return error;
    }
    ADD_FAILURE() << "accepted: " << query;
    return {0, "", ""};
  }
};

using Texts = std::vector<std::string>;

inline constexpr const char* kProcessStarts =
    "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'"
    "   AND TargetInstance.Name='a'";

}  // namespace kvwmi::embedded::testing
