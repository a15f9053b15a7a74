#include <CLI/CLI.hpp>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

#include "agent/command.h"
#include "agent/usage_error.h"
#include "agent/watch_event.h"
#include "agent/watch_kind.h"
#include "agent/watch_session.h"

namespace kvwmi::agent {
namespace {

using Clock = std::chrono::steady_clock;

/// A watch of the command line is the only one of the only step.
constexpr std::int32_t kStep = 1;
constexpr std::int32_t kWatch = 1;

constexpr const char* kFooter =
    "Events are shown as they arrive, until Ctrl-C or the end of --for. With --json each is one object on a "
    "line of\n"
    "its own, with time, step, supervision and detail; undetected is true where it tells that the watch has "
    "not\nfired.\n\n"
    "Of a pair of changes, such as --start and --stop, both are reported where neither is asked for.\n\n"
    "Examples:\n"
    "  kvwmi watch process sleep --poll 1\n"
    "  kvwmi watch disk C: --below 10GB\n"
    "  kvwmi watch disk /home --below 10%\n"
    "  kvwmi watch processor-load --above 80% --group 60 --at-least 3\n"
    "  kvwmi watch service cron --stop --if-undetected --for 30s";

/// One kind's part of the command line.
struct KindLine {
  const WatchKind* kind = nullptr;
  CLI::App* app = nullptr;
  std::vector<std::pair<WatchOption, CLI::Option*>> options;
};

class WatchCommand final : public Command {
 public:
  CLI::App& declare(CLI::App& app) override {
    CLI::App* command = app.add_subcommand("watch", "Report events of this machine as they happen");
    duration_option_ = command->add_option("--for", duration_, "Stop after this time, such as 30s or 5min")
                           ->type_name("TIME");
    command->require_subcommand(0, 1);
    command->footer(kFooter);
    for (const WatchKind& kind : watch_kinds()) lines_.push_back(declare_kind(*command, kind));
    return *command;
  }

  int run(Console& console) override {
    try {
      return watch(console);
    } catch (const UsageError& error) {
      console.complain(error.what());
      return kUsage;
    }
  }

  std::vector<std::string> completions(const std::vector<std::string>& before) override {
    return before.empty() ? watch_kind_names() : std::vector<std::string>();
  }

 private:
  int watch(Console& console) {
    const KindLine* line = chosen();
    if (line == nullptr) throw UsageError("watch needs to be told what; see kvwmi watch --help");
    const WatchRequest request = read(*line);
    const std::string what = subject(*line->kind, request);
    const auto duration = read_duration();
    const Interrupt interrupt;
    WatchSession session;
    line->kind->start(session.supervision(), kStep, kWatch, request);
    if (!console.json()) {
      console.print(
          console.paint(Console::Colour::dim, "Watching " + what + (duration ? "" : "; Ctrl-C stops")));
      console.out().flush();
    }
    const auto deadline = duration ? Clock::now() + *duration : Clock::time_point::max();
    while (!stop_asked(console) && Clock::now() < deadline) {
      session.wait(deadline);
      show(session, what, console, false);
    }
    if (request.notify_if_undetected) {
      session.catch_up();
      show(session, what, console, false);
      session.supervision().m_PushUndetectedEventInfos();
      show(session, what, console, true);
    }
    return kAnswered;
  }

  KindLine declare_kind(CLI::App& command, const WatchKind& kind) {
    KindLine line{&kind, command.add_subcommand(std::string(kind.name), std::string(kind.summary)), {}};
    line.app->fallthrough();
    if (!kind.needs.empty()) line.app->add_option("NAME", name_, std::string(kind.needs))->required();
    for (const WatchOption& option : watch_options(kind)) {
      const std::string name = "--" + std::string(option.name);
      const std::string summary(option.summary);
      line.options.emplace_back(
          option,
          option.is_flag()
              ? line.app->add_flag(name, summary)
              : line.app->add_option(name, summary)->expected(1)->type_name(std::string(option.value)));
    }
    return line;
  }

  [[nodiscard]] const KindLine* chosen() const {
    for (const KindLine& line : lines_) {
      if (line.app->parsed()) return &line;
    }
    return nullptr;
  }

  [[nodiscard]] WatchRequest read(const KindLine& line) const {
    WatchRequest request;
    request.name = name_;
    for (const auto& [option, given] : line.options) {
      if (given->count() == 0) continue;
      try {
        option.set(request, option.is_flag() ? "true" : given->as<std::string>());
      } catch (const UsageError& error) {
        throw UsageError("--" + std::string(option.name) + ": " + error.what());
      }
    }
    require_usable(*line.kind, request);
    return request;
  }

  [[nodiscard]] std::optional<std::chrono::milliseconds> read_duration() const {
    if (duration_option_->count() == 0) return std::nullopt;
    try {
      return parse_duration(duration_);
    } catch (const UsageError& error) {
      throw UsageError(std::string("--for: ") + error.what());
    }
  }

  /// Every record that has arrived.
  static void show(WatchSession& session, const std::string& what, Console& console, bool undetected) {
    for (const WatchEvent& event : session.drain(kStep, undetected)) {
      if (console.json()) {
        console.print_json_line(to_json(event));
      } else {
        console.print(clock_text(event.time) + "  " + to_line(event, what));
        console.out().flush();
      }
    }
    for (const Error& failure : session.new_failures()) console.complain(failure);
  }

  std::string name_;
  std::string duration_;
  CLI::Option* duration_option_ = nullptr;
  std::vector<KindLine> lines_;
};

}  // namespace

std::unique_ptr<Command> make_watch_command() {
  return std::make_unique<WatchCommand>();
}

}  // namespace kvwmi::agent
