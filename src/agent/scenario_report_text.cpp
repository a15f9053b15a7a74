#include <cstdio>

#include "agent/scenario_report.h"
#include "agent/table.h"

namespace kvwmi::agent {
namespace {

using Colour = Console::Colour;

std::string subject_of(const ScenarioWatch& watch) {
  return subject(*watch.kind, watch.request);
}

class TextReport final : public ScenarioReport {
 public:
  explicit TextReport(Console& console) : console_(console) {}

  void scenario_begins(const Scenario& scenario) override {
    if (!scenario.title.empty()) print_heading(scenario.title);
  }
  void step_begins(const ScenarioStep& step) override {
    current_ = step.number;
    print_heading("Step " + std::to_string(step.number) + (step.title.empty() ? "" : "  " + step.title));
  }
  void command_starts(const ScenarioStep& step) override {
    std::string line = "start";
    for (const std::string& word : step.command) line += " " + printable(word);
    print_event(line);
  }
  void check_answered(const ScenarioStep& /*step*/, const CheckResult& result) override {
    const ScenarioCheck& check = *result.check;
    std::string line(check.check->name);
    if (!check.name.empty()) line += " \"" + printable(check.name) + "\"";
    line += ": " + describe(*check.check, result.answer);
    if (!result.as_expected)
      line += console_.paint(Colour::yellow, " (expected " + to_text(*check.expected) + ")");
    print_event(line);
  }
  void event_arrived(const WatchEvent& event, const ScenarioWatch& watch) override {
    const std::string line = "watch " + std::to_string(watch.id) + ": " + to_line(event, subject_of(watch));
    print_event(event.step == current_
                    ? line
                    : console_.paint(Colour::dim, "step " + std::to_string(event.step) + ", " + line));
  }
  void step_failed(const ScenarioStep& /*step*/, const Error& error) override { console_.complain(error); }
  void step_failed(const ScenarioStep& /*step*/, const std::exception& error) override {
    console_.complain(error.what());
  }
  void scenario_ended(const std::vector<StepResult>& results) override {
    Table table({{"STEP", Table::Align::right},
                 {"RESULT"},
                 {"TIME", Table::Align::right},
                 {"WATCH"},
                 {"EVENTS", Table::Align::right},
                 {"LAST DETAIL"}});
    for (const StepResult& result : results) add_rows(table, result);
    console_.print("");
    console_.print(table);
  }

 private:
  void print_heading(const std::string& line) {
    console_.print(console_.paint(Colour::bold, printable(line)));
    console_.out().flush();
  }
  void print_event(const std::string& line) {
    console_.print("  " + clock_text(std::chrono::system_clock::now()) + "  " + line);
    console_.out().flush();
  }

  /// One for each watch; what is said of the step stands in the first.
  static void add_rows(Table& table, const StepResult& result) {
    std::array<char, 32> took{};
    std::snprintf(took.data(), took.size(), "%.1f s", result.seconds());
    std::vector<std::string> of_step{std::to_string(result.step->number), result.word(), took.data()};
    const auto add = [&](std::string watch, std::string events, std::string detail) {
      table.add({of_step[0], of_step[1], of_step[2], std::move(watch), std::move(events), std::move(detail)});
      of_step.assign(3, "");
    };
    if (result.step->watches.empty()) add(printable(result.step->title), "", "");
    for (const ScenarioWatch& watch : result.step->watches) {
      const WatchTally& tally = result.watches.at(watch.id);
      add(std::to_string(watch.id) + " " + subject_of(watch),
          tally.undetected > 0 ? "undetected" : std::to_string(tally.events), printable(tally.last_detail));
    }
  }

  Console& console_;
  std::int32_t current_ = 0;  // step
};

}  // namespace

std::unique_ptr<ScenarioReport> make_text_report(Console& console) {
  return std::make_unique<TextReport>(console);
}

}  // namespace kvwmi::agent
