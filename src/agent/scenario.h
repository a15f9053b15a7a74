#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "agent/checks.h"
#include "agent/watch_kind.h"

namespace kvwmi::agent {

/// One probe of a step.
struct ScenarioCheck {
  using Expected = std::variant<Currency, bool>;

  const Check* check = nullptr;
  std::string name;
  std::optional<Expected> expected;  ///< the answer that it must give; true or false where the check says so
};

/// As JSON writes it.
[[nodiscard]] std::string to_text(const ScenarioCheck::Expected& value);

struct ScenarioWatch {
  const WatchKind* kind = nullptr;
  std::int32_t id = 0;
  WatchRequest request;
};

/// What ends a step before its time: everything that is asked for here.
struct ScenarioCondition {
  std::vector<std::int32_t> seen;  ///< each of these watches has reported
  std::int32_t events = 0;         ///< so many of the step's records have arrived
  bool command_ended = false;      ///< the step's command has ended

  [[nodiscard]] bool is_empty() const noexcept { return seen.empty() && events == 0 && !command_ended; }
};

struct ScenarioStep {
  std::int32_t number = 0;
  std::string title;
  std::vector<ScenarioWatch> watches;
  std::vector<ScenarioCheck> checks;
  std::chrono::milliseconds wait{0};  ///< before the command is started
  std::vector<std::string> command;   ///< empty for none
  ScenarioCondition until;
  std::chrono::milliseconds limit{0};  ///< the step's time
  bool undetected = false;             ///< whether to ask for watches that have not fired
};

struct Scenario {
  std::string title;
  std::vector<ScenarioStep> steps;
};

/// Reads a scenario. What is wrong raises UsageError "FILE:LINE: KEY: message".
[[nodiscard]] Scenario parse_scenario(std::string_view text, const std::string& file);

/// The keys of a scenario for people, one a line.
[[nodiscard]] std::string scenario_keys();

}  // namespace kvwmi::agent
