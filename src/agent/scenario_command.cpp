#include <CLI/CLI.hpp>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <system_error>

#include "agent/command.h"
#include "agent/scenario.h"
#include "agent/scenario_run.h"
#include "agent/usage_error.h"

namespace kvwmi::agent {
namespace {

class ScenarioCommand final : public Command {
 public:
  CLI::App& declare(CLI::App& app) override {
    CLI::App* command = app.add_subcommand("run", "Run a scenario: numbered steps with checks and watches");
    command->add_option("SCENARIO", file_, "A JSON file")->required();
    command->footer(
        scenario_keys() +
        "\nA step ends when what it waits for has happened or its time is up. Its watches go on: what they "
        "report\nduring later steps is shown as theirs.\n\n"
        "With --json each line is one object: a record with time, step, supervision, detail and, where it "
        "tells\nthat the watch has not fired, undetected; a check's answer; an error; and at a step's end "
        "time, step,\nresult (ok, missed, error, stopped), took in seconds, and of each of its watches "
        "supervision, events and\nundetected.\n\n" +
        kExitStatuses);
    return *command;
  }

  int run(Console& console) override {
    errno = 0;
    std::ifstream stream(file_, std::ios::binary);
    std::ostringstream text;
    // An empty file can be read, and putting nothing into a stream is a failure.
    if (stream && stream.peek() != std::ifstream::traits_type::eof()) text << stream.rdbuf();
    if (!stream.is_open() || stream.bad() || text.fail()) {
      const std::string reason = errno == 0 ? "" : ": " + std::generic_category().message(errno);
      console.complain("cannot read " + file_ + reason);
      return kUsage;
    }
    try {
      return run_scenario(parse_scenario(text.str(), file_), console);
    } catch (const UsageError& error) {
      console.complain(error.what());
      return kUsage;
    }
  }

 private:
  std::string file_;
};

}  // namespace

std::unique_ptr<Command> make_run_command() {
  return std::make_unique<ScenarioCommand>();
}

}  // namespace kvwmi::agent
