#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "agent/checks.h"
#include "agent/command.h"
#include "agent/table.h"
#include "agent/values.h"
#include "kvwmi/nearest.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;

std::string check_list() {
  Table table({{"Checks:"}, {""}});
  for (const Check& check : checks()) {
    table.add(
        {"  " + std::string(check.name) + (check.needs.empty() ? "" : " NAME"), std::string(check.summary)});
  }
  std::string result;
  for (const std::string& line : table.lines(100)) result += line + "\n";
  return result +
         "\nNAME is a service's display name or a process's image name, taken as it is.\n"
         "Without a check, all of those that need no NAME.\n\n" +
         kExitStatuses;
}

/// What came of one check: an answer or a failure.
struct Outcome {
  const Check* check;
  std::optional<Answer> answer;
  std::optional<Error> error;

  [[nodiscard]] ExitStatus status() const {
    if (error) return kRaised;
    return answer->result == 0 ? kAnswered : kStepCode;
  }
};

Outcome ask(CheckPoint& check_point, const Check& check, const std::string& name) {
  try {
    return {&check, check.ask(check_point, name), {}};
  } catch (const Error& error) {
    return {&check, {}, error};
  }
}

Json outcome_json(const Outcome& outcome) {
  Json result = {{"method", outcome.check->method}};
  if (outcome.error) {
    result["error"] = to_json(*outcome.error);
    return result;
  }
  result["result"] = outcome.answer->result;
  Json& output = result[std::string(outcome.check->output)];
  std::visit(
      [&](const auto& value) {
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, Currency>) {
          // A number without fraction is exact in JSON, and so are all the sizes that WMI tells.
          if (value.scaled() % Currency::kScale == 0) {
            output = value.scaled() / Currency::kScale;
          } else {
            output = value.to_double();
          }
        } else {
          output = value;
        }
      },
      outcome.answer->value);
  return result;
}

class CheckCommand final : public Command {
 public:
  CLI::App& declare(CLI::App& app) override {
    CLI::App* command = app.add_subcommand("check", "Probe this machine once");
    name_option_ = command->add_option("CHECK", name_, "The check; see below");
    argument_option_ = command->add_option("NAME", argument_, "The service or process that some checks need");
    command->footer(check_list());
    return *command;
  }

  int run(Console& console) override {
    if (name_option_->count() == 0) return run_all(console);
    const Check* check = find_check(name_);
    if (check == nullptr) {
      console.complain("unknown check \"" + name_ + "\"" + nearest_hint(name_, check_names()));
      return kUsage;
    }
    const bool has_argument = argument_option_->count() > 0;
    if (has_argument == check->needs.empty()) {
      console.complain(has_argument ? "check " + name_ + " takes no NAME, but got \"" + argument_ + "\""
                                    : "check " + name_ + " needs a NAME: " + std::string(check->needs));
      return kUsage;
    }
    CheckPoint check_point;
    const Outcome outcome = ask(check_point, *check, argument_);
    if (console.json()) {
      console.print_json(outcome_json(outcome));
    } else if (outcome.error) {
      console.complain(*outcome.error);
    } else {
      const std::string subject = has_argument ? name_ + " \"" + printable(argument_) + "\"" : name_;
      const std::string words = describe(*check, *outcome.answer);
      console.print(
          subject + ": " +
          (outcome.status() == kAnswered
               ? words
               : console.paint(Console::Colour::yellow,
                               words + " (result " + std::to_string(outcome.answer->result) + ")")));
    }
    return outcome.status();
  }

  std::vector<std::string> completions(const std::vector<std::string>& before) override {
    return before.empty() ? check_names() : std::vector<std::string>();
  }

 private:
  /// Every check that needs no NAME, in one table.
  static int run_all(Console& console) {
    CheckPoint check_point;
    std::vector<Outcome> outcomes;
    std::string others;
    for (const Check& check : checks()) {
      if (check.needs.empty()) {
        outcomes.push_back(ask(check_point, check, ""));
      } else {
        others += (others.empty() ? "" : ", ") + std::string(check.name);
      }
    }
    // An error weighs more than a step code.
    int status = kAnswered;
    for (const Outcome& outcome : outcomes) {
      if (status != kRaised && outcome.status() != kAnswered) status = outcome.status();
    }
    if (console.json()) {
      Json document = Json::array();
      for (const Outcome& outcome : outcomes) document.push_back(outcome_json(outcome));
      console.print_json(document);
      return status;
    }
    Table table({{"CHECK"}, {"RESULT", Table::Align::right}, {"ANSWER"}});
    for (const Outcome& outcome : outcomes) {
      table.add({std::string(outcome.check->name),
                 outcome.error ? "error" : std::to_string(outcome.answer->result),
                 outcome.error ? printable(trimmed(outcome.error->description()))
                               : describe(*outcome.check, *outcome.answer)});
    }
    console.print(table);
    console.print(console.paint(Console::Colour::dim, "These need a NAME: " + others));
    return status;
  }

  std::string name_;
  std::string argument_;
  CLI::Option* name_option_ = nullptr;
  CLI::Option* argument_option_ = nullptr;
};

}  // namespace

std::unique_ptr<Command> make_check_command() {
  return std::make_unique<CheckCommand>();
}

}  // namespace kvwmi::agent
