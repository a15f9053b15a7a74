#include "agent/scenario_run.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "agent/scenario_process.h"
#include "agent/scenario_report.h"
#include "agent/watch_session.h"
#include "kvwmi/checkpoint.h"

namespace kvwmi::agent {
namespace {

using Clock = std::chrono::steady_clock;

/// The value of an answer, as it can be expected.
ScenarioCheck::Expected value_of(const Answer& answer) {
  return std::visit(
      [](const auto& value) -> ScenarioCheck::Expected {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::int32_t>) {
          return Currency::from_integer(value);
        } else {
          return value;
        }
      },
      answer.value);
}

class Runner {
 public:
  Runner(const Scenario& scenario, Console& console)
      : scenario_(scenario),
        console_(console),
        report_(console.json() ? make_json_report(console) : make_text_report(console)) {}

  int run() {
    report_->scenario_begins(scenario_);
    for (const ScenarioStep& step : scenario_.steps) {
      if (stop_asked(console_)) break;
      run_step(results_.emplace_back(step));
    }
    report_->scenario_ended(results_);
    return status();
  }

 private:
  /// The worst ending counts; a step that was not begun has been stopped.
  [[nodiscard]] int status() const {
    const auto any = [&](Ending ending) {
      return std::any_of(results_.begin(), results_.end(),
                         [&](const StepResult& result) { return result.ending == ending; });
    };
    if (any(Ending::error)) return kRaised;
    if (any(Ending::stopped) || results_.size() < scenario_.steps.size()) return kInterrupted;
    return any(Ending::missed) ? kStepCode : kAnswered;
  }

  void run_step(StepResult& result) {
    const ScenarioStep& step = *result.step;
    report_->step_begins(step);
    const auto begin = Clock::now();
    try {
      result.ending = ending_of(result);
    } catch (const Error& error) {
      result.ending = Ending::error;
      report_->step_failed(step, error);
    } catch (const std::exception& error) {
      result.ending = Ending::error;
      report_->step_failed(step, error);
    }
    result.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    report_->step_ended(result);
  }

  /// Does what the step says.
  Ending ending_of(StepResult& result) {
    const ScenarioStep& step = *result.step;
    for (const ScenarioWatch& watch : step.watches) ask_for(step, watch);
    bool as_expected = true;
    for (const ScenarioCheck& check : step.checks) as_expected = probe(step, check) && as_expected;
    pump(result, Clock::now() + step.wait, console_.live(), [] { return false; });
    std::optional<ScenarioProcess> process;
    if (!step.command.empty() && !stop_asked(console_)) {
      report_->command_starts(step);
      process.emplace(step.command);
    }
    const auto met = [&] {
      const bool command_ended = process && process->has_ended();
      return is_met(result, command_ended);
    };
    // A command ends without a word.
    pump(result, Clock::now() + step.limit, console_.live() || process, met);
    if (stop_asked(console_)) return Ending::stopped;
    if (step.undetected) {
      session_.catch_up();
      take(false);
      session_.supervision().m_PushUndetectedEventInfos();
      take(true);
    }
    return as_expected && (step.until.is_empty() || met()) ? Ending::ok : Ending::missed;
  }

  void ask_for(const ScenarioStep& step, const ScenarioWatch& watch) {
    watch.kind->start(session_.supervision(), step.number, watch.id, watch.request);
  }

  /// Whether the check answered what was expected of it.
  bool probe(const ScenarioStep& step, const ScenarioCheck& check) {
    if (!check_point_) check_point_ = std::make_unique<CheckPoint>();
    const Answer answer = check.check->ask(*check_point_, check.name);
    const ScenarioCheck::Expected value = value_of(answer);
    const bool as_expected = !check.expected || (answer.result == 0 && *check.expected == value);
    report_->check_answered(step, {&check, answer, value, as_expected});
    return as_expected;
  }

  /// `ticks` where the condition or the progress line changes while nothing arrives.
  template <typename Condition>
  void pump(StepResult& result, Clock::time_point deadline, bool ticks, Condition condition) {
    constexpr std::chrono::milliseconds kTick{100};
    while (!condition() && !stop_asked(console_) && Clock::now() < deadline) {
      show_progress(result, deadline);
      session_.wait(ticks ? std::min(deadline, Clock::now() + kTick) : deadline);
      take(false);
    }
  }

  void show_progress(const StepResult& result, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::seconds>(deadline - Clock::now());
    console_.show_progress("  step " + std::to_string(result.step->number) + " waits, " +
                           std::to_string(left.count()) + " s left, " + std::to_string(result.events) +
                           (result.events == 1 ? " event" : " events"));
  }

  static bool is_met(const StepResult& result, bool command_ended) {
    const ScenarioCondition& until = result.step->until;
    if (until.is_empty()) return false;
    return result.events >= until.events && (!until.command_ended || command_ended) &&
           std::all_of(until.seen.begin(), until.seen.end(),
                       [&](std::int32_t id) { return result.watches.at(id).events > 0; });
  }

  /// Takes the records of all steps so far, for watches outlive their step.
  void take(bool undetected) {
    for (StepResult& result : results_) take(result, undetected);
    for (const Error& failure : session_.new_failures()) console_.complain(failure);
  }
  void take(StepResult& result, bool undetected) {
    for (const WatchEvent& event : session_.drain(result.step->number, undetected)) {
      WatchTally& tally = result.watches.at(event.supervision);
      ++(undetected ? tally.undetected : tally.events);
      if (!undetected) ++result.events;
      tally.last_detail = event.detail;
      report_->event_arrived(event, *tally.watch);
    }
  }

  const Scenario& scenario_;
  Console& console_;
  std::unique_ptr<ScenarioReport> report_;
  WatchSession session_;
  std::unique_ptr<CheckPoint> check_point_;  // connected with the first check
  std::vector<StepResult> results_;
};

}  // namespace

int run_scenario(const Scenario& scenario, Console& console) {
  const Interrupt interrupt;
  return Runner(scenario, console).run();
}

}  // namespace kvwmi::agent
