#pragma once

#include <memory>
#include <string>
#include <vector>

#include "agent/console.h"

namespace CLI {
class App;
}

namespace kvwmi::agent {

/// One command of kvwmi. A command is one file with one function that makes it, and a line in commands.cpp.
class Command {
 public:
  virtual ~Command() = default;

  /// Adds the command with its arguments and options to `app` and returns what it added.
  virtual CLI::App& declare(CLI::App& app) = 0;
  /// Does it, after the arguments have been taken in. Gives the exit status; an Error that leaves it is shown
  /// by the caller.
  virtual int run(Console& console) = 0;
  /// What the next argument may be, for the shell, given those before it (options left out).
  [[nodiscard]] virtual std::vector<std::string> completions(const std::vector<std::string>& before) {
    static_cast<void>(before);
    return {};
  }
};

[[nodiscard]] std::unique_ptr<Command> make_check_command();
[[nodiscard]] std::unique_ptr<Command> make_query_command();
[[nodiscard]] std::unique_ptr<Command> make_classes_command();
[[nodiscard]] std::unique_ptr<Command> make_watch_command();
[[nodiscard]] std::unique_ptr<Command> make_run_command();

/// All commands in the order in which the help names them.
[[nodiscard]] std::vector<std::unique_ptr<Command>> make_commands();

/// The whole program: `arguments` are those after its name.
[[nodiscard]] int run_agent(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                            Console::Style style);

}  // namespace kvwmi::agent
