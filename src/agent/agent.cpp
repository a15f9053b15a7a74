#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "agent/command.h"
#include "agent/table.h"
#include "agent/values.h"
#include "kvwmi/nearest.h"

namespace kvwmi::agent {
namespace {

constexpr const char* kFooter =
    "Colours appear on a terminal only, and not where NO_COLOR is set.\n\n"
    "Examples:\n"
    "  kvwmi check                             every check that needs no name\n"
    "  kvwmi check process-exists bash\n"
    "  kvwmi check free-memory --json\n"
    "  kvwmi query \"SELECT Name, ProcessId FROM Win32_Process\"\n"
    "  kvwmi classes Win32_Service\n"
    "  kvwmi watch process bash --poll 1\n"
    "  kvwmi run first_look.json               a sample for Linux, in samples/scenario or share/doc/kvwmi";

/// The command line: the application, its commands, and which of them was given.
class CommandLine {
 public:
  CommandLine() {
    app_.set_help_flag("-h,--help", "Print this help and exit");
    app_.set_version_flag("--version", "kvwmi " KVWMI_VERSION, "Print the version and exit");
    add_json(app_);
    app_.require_subcommand(0, 1);
    app_.allow_extras();
    app_.allow_windows_style_options(false);  // a word that begins with a slash is a name on every system
    app_.footer(std::string(kExitStatuses) + "\n" + kFooter);
    for (auto& command : make_commands()) {
      CLI::App& part = command->declare(app_);
      add_json(part);
      commands_.emplace_back(&part, std::move(command));
    }
  }

  [[nodiscard]] CLI::App& app() noexcept { return app_; }
  [[nodiscard]] bool json() const noexcept { return json_; }

  /// The given command, or null.
  [[nodiscard]] Command* chosen() const {
    for (const auto& [part, command] : commands_) {
      if (part->parsed()) return command.get();
    }
    return nullptr;
  }
  /// The innermost part of the command line that was given.
  [[nodiscard]] CLI::App& chosen_app() {
    CLI::App* here = &app_;
    for (auto parts = here->get_subcommands(); !parts.empty(); parts = here->get_subcommands())
      here = parts.front();
    return *here;
  }
  /// Its words behind the program's name, with a blank after each.
  [[nodiscard]] std::string chosen_words() {
    std::string words;
    for (const CLI::App* here = &chosen_app(); here != &app_; here = here->get_parent()) {
      words.insert(0, here->get_name() + " ");
    }
    return words;
  }
  [[nodiscard]] Command* find(const std::string& name) const {
    for (const auto& [part, command] : commands_) {
      if (part->get_name() == name) return command.get();
    }
    return nullptr;
  }

  [[nodiscard]] std::vector<std::string> command_names() const {
    std::vector<std::string> result;
    for (const auto& [part, command] : commands_) result.push_back(part->get_name());
    return result;
  }
  /// Long and short names of the options that may stand here.
  [[nodiscard]] std::vector<std::string> option_names(const CLI::App& here) const {
    std::vector<std::string> result;
    for (const CLI::App* app = &here; app != nullptr; app = app->get_parent()) {
      for (const CLI::Option* option : app->get_options()) {
        for (const std::string& name : option->get_lnames()) result.push_back("--" + name);
      }
    }
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
  }

 private:
  /// Taken before and after the command alike.
  void add_json(CLI::App& app) { app.add_flag("--json", json_, "Print answers and raised errors as JSON"); }

  CLI::App app_{
      "kvwmi looks at this machine through WMI: checks, queries and their schema, watches and scenarios.",
      "kvwmi"};
  bool json_ = false;
  std::vector<std::pair<CLI::App*, std::unique_ptr<Command>>> commands_;
};

/// What is wrong with an argument that nothing has taken; `is_word` where it cannot be an option.
std::string explain_extra(CommandLine& line, const std::string& extra, bool is_word) {
  if (extra.starts_with('-') && !is_word) {
    return "unknown option \"" + extra + "\"" + nearest_hint(extra, line.option_names(line.chosen_app()));
  }
  if (line.chosen() == nullptr) {
    return "unknown command \"" + extra + "\"" + nearest_hint(extra, line.command_names());
  }
  std::vector<std::string> parts;
  for (const CLI::App* part : line.chosen_app().get_subcommands({})) parts.push_back(part->get_name());
  if (!parts.empty()) {
    return "unknown " + line.chosen_app().get_name() + " \"" + extra + "\"" + nearest_hint(extra, parts);
  }
  return line.chosen_words() + "has no use for \"" + extra + "\"";
}

/// `complete WORD...`: what may follow these words, one a line. Meant for the shell, so the help is silent
/// about it.
int complete(const std::vector<std::string>& words, Console& console) {
  CommandLine line;
  std::vector<std::string> candidates;
  const auto is_option = [](const std::string& word) { return word.starts_with('-'); };
  std::vector<std::string> plain;
  std::copy_if(words.begin(), words.end(), std::back_inserter(plain), std::not_fn(is_option));
  CLI::App* here = &line.app();
  if (plain.empty()) {
    candidates = line.command_names();
  } else if (Command* command = line.find(plain.front())) {
    here = line.app().get_subcommand(plain.front());
    plain.erase(plain.begin());
    candidates = command->completions(plain);
    for (const std::string& word : plain) {
      const auto parts =
          here->get_subcommands([&](const CLI::App* part) { return part->get_name() == word; });
      if (!parts.empty()) here = parts.front();
    }
  }
  for (const std::string& option : line.option_names(*here)) candidates.push_back(option);
  for (const std::string& candidate : candidates) console.print(candidate);
  return kAnswered;
}

/// The program but for the end of its output.
int answer(std::vector<std::string> arguments, std::ostream& out, std::ostream& err, Console::Style style) {
  try {
    if (!arguments.empty() && arguments.front() == "complete") {
      Console console(out, err, style);
      arguments.erase(arguments.begin());
      return complete(arguments, console);
    }
    CommandLine line;
    try {
      std::reverse(arguments.begin(), arguments.end());  // as the parser takes them
      line.app().parse(arguments);
    } catch (const CLI::Success& request) {
      // Help or version: the parser prints them itself.
      line.app().exit(request, out, err);
      return kAnswered;
    } catch (const CLI::ParseError& error) {
      Console(out, err, style)
          .complain(std::string(error.what()) + "; see kvwmi " + line.chosen_words() + "--help");
      return kUsage;
    }
    style.json = line.json();
    Console console(out, err, style);
    std::vector<std::string> extras = line.app().remaining(true);
    // What stands behind the first -- is no option; the mark itself is left over too.
    const auto mark = std::find(extras.begin(), extras.end(), "--");
    const bool all_words = mark == extras.begin();
    if (mark != extras.end()) extras.erase(mark);
    if (!extras.empty()) {
      console.complain(explain_extra(line, extras.front(), all_words));
      return kUsage;
    }
    Command* command = line.chosen();
    if (command == nullptr) {
      err << line.app().help();
      return kUsage;
    }
    try {
      return command->run(console);
    } catch (const Error& error) {
      if (console.json()) {
        console.print_json(nlohmann::ordered_json{{"error", to_json(error)}});
      } else {
        console.complain(error);
      }
      return kRaised;
    }
  } catch (const std::exception& error) {
    Console(out, err, style).complain(error.what());
    return kRaised;
  }
}

}  // namespace

int run_agent(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
              Console::Style style) {
  const int status = answer(std::move(arguments), out, err, style);
  // What was not written was not answered. Of a write that failed earlier the reason is no longer known.
  errno = 0;
  if (out.flush()) return status;
  const std::string reason = errno == 0 ? "" : ": " + std::generic_category().message(errno);
  Console(out, err, style).complain("cannot write the answer" + reason);
  return kRaised;
}

}  // namespace kvwmi::agent
