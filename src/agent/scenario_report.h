#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agent/console.h"
#include "agent/scenario.h"
#include "agent/watch_event.h"
#include "kvwmi/error.h"

namespace kvwmi::agent {

/// What a check of a step answered.
struct CheckResult {
  const ScenarioCheck* check;
  Answer answer;
  ScenarioCheck::Expected value;  ///< the answer's
  bool as_expected;               ///< also where nothing is expected
};

/// What came of one watch.
struct WatchTally {
  const ScenarioWatch* watch = nullptr;
  int events = 0;
  int undetected = 0;
  std::string last_detail;
};

/// How a step ended.
enum class Ending { ok, missed, error, stopped };
inline constexpr std::array<const char*, 4> kEndingWords{"ok", "missed", "error", "stopped"};

/// What came of one step.
struct StepResult {
  explicit StepResult(const ScenarioStep& of) : step(&of) {
    for (const ScenarioWatch& watch : of.watches) watches[watch.id].watch = &watch;
  }
  [[nodiscard]] const char* word() const { return kEndingWords.at(static_cast<std::size_t>(ending)); }
  [[nodiscard]] double seconds() const { return std::chrono::duration<double>(took).count(); }

  const ScenarioStep* step;
  Ending ending = Ending::ok;
  std::chrono::milliseconds took{0};
  int events = 0;
  std::map<std::int32_t, WatchTally> watches;  ///< by number
};

/// Tells the user of a running scenario. What a report has no word for, it passes over.
class ScenarioReport {
 public:
  virtual ~ScenarioReport() = default;

  virtual void scenario_begins(const Scenario& /*scenario*/) {}
  virtual void step_begins(const ScenarioStep& /*step*/) {}
  virtual void command_starts(const ScenarioStep& /*step*/) {}
  virtual void check_answered(const ScenarioStep& step, const CheckResult& result) = 0;
  /// A record of the current step or an earlier one.
  virtual void event_arrived(const WatchEvent& event, const ScenarioWatch& watch) = 0;
  virtual void step_failed(const ScenarioStep& step, const Error& error) = 0;
  virtual void step_failed(const ScenarioStep& step, const std::exception& error) = 0;
  virtual void step_ended(const StepResult& /*result*/) {}
  virtual void scenario_ended(const std::vector<StepResult>& /*results*/) {}
};

/// Lines for people, and a table at the end.
[[nodiscard]] std::unique_ptr<ScenarioReport> make_text_report(Console& console);
/// Each thing that happens is one JSON object on a line.
[[nodiscard]] std::unique_ptr<ScenarioReport> make_json_report(Console& console);

}  // namespace kvwmi::agent
