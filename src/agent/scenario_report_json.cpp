#include <nlohmann/json.hpp>

#include "agent/scenario_report.h"
#include "agent/values.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;

class JsonReport final : public ScenarioReport {
 public:
  explicit JsonReport(Console& console) : console_(console) {}

  void check_answered(const ScenarioStep& step, const CheckResult& result) override {
    console_.print_json_line(Json{{"time", utc_text(std::chrono::system_clock::now())},
                                  {"step", step.number},
                                  {"check", result.check->check->name},
                                  {"result", result.answer.result},
                                  {"answer", Json::parse(to_text(result.value))},
                                  {"expected", result.as_expected}});
  }
  void event_arrived(const WatchEvent& event, const ScenarioWatch& /*watch*/) override {
    console_.print_json_line(to_json(event));
  }
  void step_failed(const ScenarioStep& step, const Error& error) override {
    console_.print_json_line(Json{{"step", step.number}, {"error", to_json(error)}});
  }
  void step_failed(const ScenarioStep& step, const std::exception& error) override {
    console_.print_json_line(Json{{"step", step.number}, {"error", to_json(error)}});
  }
  void step_ended(const StepResult& result) override {
    Json watches = Json::array();
    for (const ScenarioWatch& watch : result.step->watches) {
      const WatchTally& tally = result.watches.at(watch.id);
      watches.push_back(
          {{"supervision", watch.id}, {"events", tally.events}, {"undetected", tally.undetected > 0}});
    }
    console_.print_json_line(Json{{"time", utc_text(std::chrono::system_clock::now())},
                                  {"step", result.step->number},
                                  {"result", result.word()},
                                  {"took", result.seconds()},
                                  {"watches", std::move(watches)}});
  }

 private:
  Console& console_;
};

}  // namespace

std::unique_ptr<ScenarioReport> make_json_report(Console& console) {
  return std::make_unique<JsonReport>(console);
}

}  // namespace kvwmi::agent
