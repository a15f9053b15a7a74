#include "agent/scenario_run.h"

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "agent/scenario_process.h"
#include "agent/table.h"
#include "agent/values.h"
#include "agent/watch_session.h"
#include "kvwmi/checkpoint.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;
using Colour = Console::Colour;

/// How a step ended.
enum class Ending { met, time_up, missed, failed, interrupted };

struct EndingWord {
  Ending ending;
  const char* word;
  ExitStatus status;
  Colour colour;
};
constexpr std::array kEndings{
    EndingWord{Ending::met, "ok", kAnswered, Colour::green},
    EndingWord{Ending::time_up, "ok", kAnswered, Colour::green},
    EndingWord{Ending::missed, "missed", kStepCode, Colour::yellow},
    EndingWord{Ending::failed, "error", kRaised, Colour::red},
    EndingWord{Ending::interrupted, "stopped", kInterrupted, Colour::yellow},
};
const EndingWord& word_of(Ending ending) {
  return *std::find_if(kEndings.begin(), kEndings.end(), [&](auto& row) { return row.ending == ending; });
}

/// What came of one watch.
struct WatchTally {
  const ScenarioWatch* watch = nullptr;
  int events = 0;
  int undetected = 0;
  std::string last_detail;
};

/// What came of one step.
struct StepReport {
  explicit StepReport(const ScenarioStep& reported) : step(&reported) {
    for (const ScenarioWatch& watch : reported.watches) watches[watch.id].watch = &watch;
  }

  const ScenarioStep* step;
  Ending ending = Ending::met;
  std::chrono::milliseconds took{0};
  int events = 0;
  std::map<std::int32_t, WatchTally> watches;  // by number
};

using Expected = ScenarioCheck::Expected;

Expected comparable(const Answer& answer) {
  return std::visit(
      [](const auto& value) -> Expected {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::int32_t>) {
          return Currency::from_integer(value);
        } else {
          return value;
        }
      },
      answer.value);
}

/// As JSON writes it.
std::string text_of(const Expected& value) {
  if (const bool* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
  return std::get<Currency>(value).to_text();
}

class Runner {
 public:
  Runner(const Scenario& scenario, Console& console) : scenario_(scenario), console_(console) {}

  int run() {
    for (const ScenarioStep& step : scenario_.steps) {
      if (stop_asked(console_)) break;
      run_step(reports_.emplace_back(step));
    }
    summarise();
    return status();
  }

 private:
  /// The worst ending counts; a step that was not begun has been stopped.
  [[nodiscard]] int status() const {
    std::set<ExitStatus> seen;
    for (const StepReport& report : reports_) seen.insert(word_of(report.ending).status);
    if (reports_.size() < scenario_.steps.size()) seen.insert(kInterrupted);
    for (const ExitStatus status : {kRaised, kInterrupted, kStepCode}) {
      if (seen.contains(status)) return status;
    }
    return kAnswered;
  }

  void run_step(StepReport& report) {
    const ScenarioStep& step = *report.step;
    heading(step);
    const auto begin = Clock::now();
    try {
      for (const ScenarioWatch& watch : step.watches) ask_for(step, watch);
      bool as_expected = true;
      for (const ScenarioCheck& check : step.checks) as_expected = probe(step, check) && as_expected;
      pump(report, Clock::now() + step.wait, console_.live(), [] { return false; });
      std::optional<ScenarioProcess> process;
      if (!step.command.empty() && !stop_asked(console_)) {
        announce("start " + command_text(step.command));
        process.emplace(step.command);
      }
      const auto met = [&] {
        const bool command_ended = process && process->has_ended();
        return is_met(report, command_ended);
      };
      // A command ends without a word.
      pump(report, Clock::now() + step.limit, console_.live() || process, met);
      // What was stopped early is not known to be absent.
      if (step.undetected && !stop_asked(console_)) {
        take(false);  // what came while nothing waited is no absence
        session_.supervision().m_PushUndetectedEventInfos();
        take(true);
      }
      report.ending = stop_asked(console_)    ? Ending::interrupted
                      : !as_expected          ? Ending::missed
                      : step.until.is_empty() ? Ending::time_up
                      : met()                 ? Ending::met
                                              : Ending::missed;
    } catch (const Error& error) {
      fail(report, error);
    } catch (const std::exception& error) {
      fail(report, error);
    }
    report.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    if (console_.json()) console_.print_json_line(to_json(report));
  }

  static Json to_json(const StepReport& report) {
    Json watches = Json::array();
    for (const ScenarioWatch& watch : report.step->watches) {
      const WatchTally& tally = report.watches.at(watch.id);
      watches.push_back(
          {{"supervision", watch.id}, {"events", tally.events}, {"undetected", tally.undetected > 0}});
    }
    return {{"time", utc_text(std::chrono::system_clock::now())},
            {"step", report.step->number},
            {"result", word_of(report.ending).word},
            {"took", static_cast<double>(report.took.count()) / 1'000.0},
            {"watches", std::move(watches)}};
  }

  void ask_for(const ScenarioStep& step, const ScenarioWatch& watch) {
    watch.kind->start(session_.supervision(), step.number, watch.id, watch.request);
  }

  /// Whether the check answered what was expected of it.
  bool probe(const ScenarioStep& step, const ScenarioCheck& check) {
    if (!check_point_) check_point_ = std::make_unique<CheckPoint>();
    const Answer answer = check.check->ask(*check_point_, check.name);
    const Expected given = comparable(answer);
    const bool as_expected = !check.expected || (answer.result == 0 && *check.expected == given);
    std::string words = describe(*check.check, answer);
    if (!as_expected) words += console_.paint(Colour::yellow, " (expected " + text_of(*check.expected) + ")");
    if (console_.json()) {
      console_.print_json_line(Json{{"time", utc_text(std::chrono::system_clock::now())},
                                    {"step", step.number},
                                    {"check", check.check->name},
                                    {"result", answer.result},
                                    {"answer", Json::parse(text_of(given))},
                                    {"expected", as_expected}});
    } else {
      announce(std::string(check.check->name) +
               (check.name.empty() ? "" : " \"" + printable(check.name) + "\"") + ": " + words);
    }
    return as_expected;
  }

  /// `ticks` where the condition or the progress line changes while nothing arrives.
  template <typename Condition>
  void pump(StepReport& report, Clock::time_point deadline, bool ticks, Condition condition) {
    constexpr std::chrono::milliseconds kTick{100};
    while (!condition() && !stop_asked(console_) && Clock::now() < deadline) {
      progress(report, deadline);
      session_.wait(ticks ? std::min(deadline, Clock::now() + kTick) : deadline);
      take(false);
    }
  }

  static bool is_met(const StepReport& report, bool command_ended) {
    const ScenarioCondition& until = report.step->until;
    if (until.is_empty()) return false;
    return report.events >= until.events && (!until.command_ended || command_ended) &&
           std::all_of(until.seen.begin(), until.seen.end(),
                       [&](std::int32_t id) { return report.watches.at(id).events > 0; });
  }

  /// Takes the records of all steps so far, for watches outlive their step, and shows them.
  void take(bool undetected) {
    for (StepReport& report : reports_) take(report, undetected);
    for (const Error& failure : session_.new_failures()) {
      console_.clear_progress();
      console_.complain(failure);
    }
  }
  void take(StepReport& report, bool undetected) {
    for (const WatchEvent& event : session_.drain(report.step->number, undetected)) {
      WatchTally& tally = report.watches.at(event.supervision);
      ++(undetected ? tally.undetected : tally.events);
      if (!undetected) ++report.events;
      tally.last_detail = event.detail;
      if (console_.json()) {
        console_.print_json_line(agent::to_json(event));
        continue;
      }
      const bool of_this_step = &report == &reports_.back();
      std::string line = of_this_step ? "" : "step " + std::to_string(event.step) + ", ";
      line += "watch " + std::to_string(event.supervision) + ": " + to_line(event, watch_text(*tally.watch));
      announce(of_this_step ? line : console_.paint(Colour::dim, line));
    }
  }

  void fail(StepReport& report, const Error& error) {
    report.ending = Ending::failed;
    if (console_.json()) {
      console_.print_json_line(Json{{"step", report.step->number}, {"error", agent::to_json(error)}});
    } else {
      console_.clear_progress();
      console_.complain(error);
    }
  }

  void fail(StepReport& report, const std::exception& error) {
    report.ending = Ending::failed;
    if (console_.json()) {
      console_.print_json_line(Json{{"step", report.step->number}, {"error", agent::to_json(error)}});
    } else {
      console_.clear_progress();
      console_.complain(error.what());
    }
  }

  // For people.

  void heading(const ScenarioStep& step) {
    if (console_.json()) return;
    console_.clear_progress();
    console_.print(console_.paint(
        Colour::bold,
        "Step " + std::to_string(step.number) + (step.title.empty() ? "" : "  " + printable(step.title))));
    console_.out().flush();
  }
  void announce(const std::string& line) {
    if (console_.json()) return;
    console_.clear_progress();
    console_.print("  " + clock_text(std::chrono::system_clock::now()) + "  " + line);
    console_.out().flush();
  }
  void progress(const StepReport& report, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::seconds>(deadline - Clock::now());
    console_.show_progress("  step " + std::to_string(report.step->number) + " waits, " +
                           std::to_string(left.count()) + " s left, " + std::to_string(report.events) +
                           (report.events == 1 ? " event" : " events"));
  }
  static std::string watch_text(const ScenarioWatch& watch) { return subject(*watch.kind, watch.request); }
  static std::string command_text(const std::vector<std::string>& command) {
    std::string result;
    for (const std::string& word : command) result += (result.empty() ? "" : " ") + printable(word);
    return result;
  }

  void summarise() {
    console_.clear_progress();
    if (console_.json()) return;
    Table table({{"STEP", Table::Align::right},
                 {"RESULT"},
                 {"TIME", Table::Align::right},
                 {"WATCH"},
                 {"EVENTS", Table::Align::right},
                 {"LAST DETAIL"}});
    for (const StepReport& report : reports_) {
      const std::string number = std::to_string(report.step->number);
      const std::string result = word_of(report.ending).word;
      std::array<char, 32> took{};
      std::snprintf(took.data(), took.size(), "%.1f s", static_cast<double>(report.took.count()) / 1'000.0);
      if (report.step->watches.empty())
        table.add({number, result, took.data(), printable(report.step->title), "", ""});
      bool first = true;
      for (const ScenarioWatch& watch : report.step->watches) {
        const WatchTally& tally = report.watches.at(watch.id);
        table.add({first ? number : "", first ? result : "", first ? took.data() : "",
                   std::to_string(watch.id) + " " + watch_text(watch),
                   tally.undetected > 0 ? "undetected" : std::to_string(tally.events),
                   printable(tally.last_detail)});
        first = false;
      }
    }
    console_.print("");
    console_.print(table);
  }

  const Scenario& scenario_;
  Console& console_;
  WatchSession session_;
  std::unique_ptr<CheckPoint> check_point_;  // connected with the first check
  std::vector<StepReport> reports_;
};

}  // namespace

int run_scenario(const Scenario& scenario, Console& console) {
  const Interrupt interrupt;
  if (!console.json() && !scenario.title.empty()) {
    console.print(console.paint(Colour::bold, printable(scenario.title)));
  }
  return Runner(scenario, console).run();
}

}  // namespace kvwmi::agent
