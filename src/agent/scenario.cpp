#include "agent/scenario.h"

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <span>

#include "agent/scenario_document.h"
#include "agent/table.h"
#include "agent/usage_error.h"
#include "kvwmi/error.h"
#include "kvwmi/nearest.h"

namespace kvwmi::agent {
namespace {

using Kind = JsonNode::Kind;

/// A step that waits for something gives up after this.
constexpr std::chrono::seconds kDefaultLimit{10};

// What stands where. The schema is these tables.

struct Key {
  std::string_view name;
  std::string_view what;
  bool required;
};

constexpr std::array kScenarioKeys{
    Key{"title", "text", false},
    Key{"steps", "list of steps", true},
};
constexpr std::array kStepKeys{
    Key{"step", "number of the step; one more than the one before", false},
    Key{"title", "text", false},
    Key{"watches", "list of watches, asked for first", false},
    Key{"checks", "list of checks", false},
    Key{"wait", "time to let pass, such as \"2s\"", false},
    Key{"start",
        "command to start: a list of texts, the program first. What it starts ends with it, and it ends with "
        "the step; without \"until\" and \"for\" the step waits for its end",
        false},
    Key{"until", "what ends the step", false},
    Key{"for",
        "the step's time, such as \"30s\"; without it 10s where the step waits for something, else none",
        false},
    Key{"undetected", "true to ask for the watches that have not fired", false},
};
constexpr std::array kCheckKeys{
    Key{"check", "name of the check, as kvwmi check has it", true},
    Key{"name", "the check's NAME", false},
    Key{"expect", "the answer to come: true or false of an -exists check, else a number", false},
};
constexpr std::array kConditionKeys{
    Key{"seen", "list of the numbers of watches that have reported", false},
    Key{"events", "number of the step's records that have arrived", false},
    Key{"ended", "true for when the command has ended", false},
};
/// Of every watch, besides the options of its kind.
constexpr std::array kWatchKeys{
    Key{"watch", "kind of the watch, as kvwmi watch has it", true},
    Key{"id", "number of the watch; its place in the list", false},
    Key{"name", "the watch's NAME", false},
};

/// A value with the way to it, for complaints.
struct Place {
  const JsonNode& node;
  std::string path;

  [[noreturn]] void refuse(const std::string& message) const {
    throw UsageError(std::to_string(node.line) + ": " + (path.empty() ? "" : path + ": ") + message);
  }
  [[nodiscard]] std::optional<Place> member(std::string_view name) const {
    const JsonNode* found = node.find(name);
    if (found == nullptr) return std::nullopt;
    return Place{*found, path + (path.empty() ? "" : ".") + std::string(name)};
  }
  [[nodiscard]] Place element(std::size_t index) const {
    return {node.elements[index], path + "[" + std::to_string(index) + "]"};
  }
  void require(Kind kind, const char* expected) const {
    if (node.kind != kind) refuse(std::string("must be ") + expected);
  }
};

/// Takes a text with a parser that raises UsageError.
template <typename Parse>
auto taken(const Place& place, Parse parse) {
  try {
    return parse(place.node.text);
  } catch (const UsageError& error) {
    place.refuse(error.what());
  }
}

std::string text_at(const Place& place) {
  place.require(Kind::text, "a text");
  return place.node.text;
}
std::int32_t number_at(const Place& place) {
  place.require(Kind::number, "a whole number");
  return taken(place, parse_count);
}
bool flag_at(const Place& place) {
  place.require(Kind::flag, "true or false");
  return parse_flag(place.node.text);
}
std::chrono::milliseconds duration_at(const Place& place) {
  if (place.node.kind != Kind::number) place.require(Kind::text, "a time, such as \"10s\"");
  return taken(place, parse_duration);
}

/// The parts of a list, each read with `read`.
template <typename Read>
auto list_at(const Place& place, const char* expected, Read read) {
  place.require(Kind::list, expected);
  std::vector<decltype(read(place))> result;
  for (std::size_t i = 0; i < place.node.elements.size(); ++i) result.push_back(read(place.element(i)));
  return result;
}

void require_object(const Place& place, std::span<const Key> keys,
                    std::span<const WatchOption> options = {}) {
  place.require(Kind::object, "an object in braces");
  std::vector<std::string> known;
  for (const Key& key : keys) known.emplace_back(key.name);
  for (const WatchOption& option : options) known.emplace_back(option.name);
  for (const JsonNode& member : place.node.members) {
    if (std::find(known.begin(), known.end(), member.name) == known.end()) {
      place.member(member.name)->refuse("unknown key" + nearest_hint(member.name, known));
    }
  }
  for (const Key& key : keys) {
    if (key.required && place.node.find(key.name) == nullptr) {
      place.refuse("the key \"" + std::string(key.name) + "\" is missing");
    }
  }
}

/// The NAME that a check or watch needs or has no use for.
std::string name_at(const Place& place, std::string_view needs) {
  const auto name = place.member("name");
  if (name && needs.empty()) name->refuse("this one takes no name");
  if (!name && !needs.empty()) place.refuse("the key \"name\" is missing: " + std::string(needs));
  return name ? text_at(*name) : "";
}

/// An answer of the kind that the check gives.
ScenarioCheck::Expected expected_at(const Place& place, const Check& check) {
  // The names of the component's outputs begin with their type.
  if (check.output.starts_with("f_bln")) return flag_at(place);
  place.require(Kind::number, "a number");
  try {
    return Currency::from_text(place.node.text);
  } catch (const Error&) {
    place.refuse("is more than any answer");
  }
}

ScenarioCheck check_at(const Place& place) {
  require_object(place, kCheckKeys);
  const Place kind = *place.member("check");
  const std::string wanted = text_at(kind);
  ScenarioCheck result;
  result.check = find_check(wanted);
  if (result.check == nullptr) {
    kind.refuse("unknown check \"" + wanted + "\"" + nearest_hint(wanted, check_names()));
  }
  result.name = name_at(place, result.check->needs);
  if (const auto expected = place.member("expect")) result.expected = expected_at(*expected, *result.check);
  return result;
}

ScenarioWatch watch_at(const Place& place, std::size_t index) {
  place.require(Kind::object, "an object in braces");
  const auto kind_place = place.member("watch");
  if (!kind_place) place.refuse("the key \"watch\" is missing");
  const std::string wanted = text_at(*kind_place);
  ScenarioWatch result;
  result.kind = find_watch_kind(wanted);
  if (result.kind == nullptr) {
    kind_place->refuse("unknown watch \"" + wanted + "\"" + nearest_hint(wanted, watch_kind_names()));
  }
  const std::vector<WatchOption> options = watch_options(*result.kind);
  require_object(place, kWatchKeys, options);

  const auto id = place.member("id");
  result.id = id ? number_at(*id) : static_cast<std::int32_t>(index) + 1;
  // The component answers 0 where there is nothing, so a watch must not be called that.
  if (id && result.id == 0) id->refuse("must not be 0");
  result.request.name = name_at(place, result.kind->needs);
  for (const WatchOption& option : options) {
    const auto given = place.member(option.name);
    if (!given) continue;
    if (option.is_flag()) {
      given->require(Kind::flag, "true or false");
    } else if (given->node.kind != Kind::number) {
      given->require(Kind::text, "a text or a number");
    }
    taken(*given, [&](const std::string& text) { option.set(result.request, text); });
  }
  try {
    require_usable(*result.kind, result.request);
  } catch (const UsageError& error) {
    place.refuse(error.what());
  }
  return result;
}

/// Where a watch stands that uses a memory of the address library, by its kind and the memory's name. Those
/// of all steps, for watches outlive their step.
using Memories = std::map<std::pair<std::string_view, std::string>, std::string>;

void require_own_memory(const Place& place, const ScenarioWatch& watch, Memories& memories) {
  const WatchKind& kind = *watch.kind;
  if (kind.memory == nullptr) return;
  const auto [first, is_new] = memories.try_emplace({kind.name, kind.memory(watch.request)}, place.path);
  if (is_new) return;
  place.refuse("shares the memory of " + first->second + ": of two such " + std::string(kind.name) +
               " watches one takes the other's events");
}

/// A watch that is asked for at the end reports nothing before.
bool reports_events(const ScenarioWatch& watch) {
  return !watch.request.notify_if_undetected;
}

/// The number of a watch whose events a step can wait for.
std::int32_t seen_at(const Place& place, const std::vector<ScenarioWatch>& watches) {
  const std::int32_t id = number_at(place);
  const auto watch = std::find_if(watches.begin(), watches.end(),
                                  [&](const ScenarioWatch& candidate) { return candidate.id == id; });
  if (watch == watches.end()) place.refuse("the step has no watch " + std::to_string(id));
  if (!reports_events(*watch)) {
    place.refuse("watch " + std::to_string(id) + " reports only that it has not fired");
  }
  return id;
}

ScenarioCondition condition_at(const Place& place, const ScenarioStep& step) {
  require_object(place, kConditionKeys);
  ScenarioCondition result;
  if (const auto seen = place.member("seen")) {
    result.seen = list_at(*seen, "a list of the numbers of watches",
                          [&](const Place& element) { return seen_at(element, step.watches); });
  }
  if (const auto events = place.member("events")) {
    result.events = number_at(*events);
    if (result.events < 1) events->refuse("must be 1 or more");
    if (std::none_of(step.watches.begin(), step.watches.end(), reports_events)) {
      events->refuse("no watch of the step reports any");
    }
  }
  if (const auto ended = place.member("ended")) {
    result.command_ended = flag_at(*ended);
    if (result.command_ended && step.command.empty()) ended->refuse("the step starts no command");
  }
  if (result.is_empty()) place.refuse("waits for nothing");
  return result;
}

/// The step's number where the one before lets it be `next` or more.
std::int32_t step_number_at(const Place& place, std::int64_t next) {
  if (const auto given = place.member("step")) {
    const std::int32_t number = number_at(*given);
    if (number < next) given->refuse("steps must be in rising order");
    return number;
  }
  if (next > std::numeric_limits<std::int32_t>::max()) place.refuse("no number is left for this step");
  return static_cast<std::int32_t>(next);
}

ScenarioStep step_at(const Place& place, std::int64_t next_number, Memories& memories) {
  require_object(place, kStepKeys);
  ScenarioStep step;
  step.number = step_number_at(place, next_number);
  if (const auto title = place.member("title")) step.title = text_at(*title);
  if (const auto watches = place.member("watches")) {
    std::size_t index = 0;
    std::set<std::int32_t> ids;
    step.watches = list_at(*watches, "a list of watches", [&](const Place& element) {
      ScenarioWatch watch = watch_at(element, index++);
      // Records name their watch by its number.
      if (!ids.insert(watch.id).second) {
        element.refuse("the step has a watch " + std::to_string(watch.id) + " already");
      }
      require_own_memory(element, watch, memories);
      return watch;
    });
  }
  if (const auto checks = place.member("checks"))
    step.checks = list_at(*checks, "a list of checks", check_at);
  if (const auto wait = place.member("wait")) step.wait = duration_at(*wait);
  if (const auto start = place.member("start")) {
    step.command = list_at(*start, "a list of texts, the program first", text_at);
    if (step.command.empty()) start->refuse("names no program");
  }
  const auto limit = place.member("for");
  if (const auto until = place.member("until")) {
    step.until = condition_at(*until, step);
  } else if (!step.command.empty() && !limit) {
    step.until.command_ended = true;
  }
  if (!step.until.is_empty()) step.limit = kDefaultLimit;
  if (limit) step.limit = duration_at(*limit);
  if (const auto undetected = place.member("undetected")) step.undetected = flag_at(*undetected);
  return step;
}

}  // namespace

std::string to_text(const ScenarioCheck::Expected& value) {
  if (const bool* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
  return std::get<Currency>(value).to_text();
}

Scenario parse_scenario(std::string_view text, const std::string& file) {
  try {
    const JsonNode document = read_json(text);
    const Place root{document, ""};
    require_object(root, kScenarioKeys);
    Scenario result;
    if (const auto title = root.member("title")) result.title = text_at(*title);
    const Place steps = *root.member("steps");
    Memories memories;
    result.steps =
        list_at(steps, "a list of steps", [&, next = std::int64_t{1}](const Place& element) mutable {
          ScenarioStep step = step_at(element, next, memories);
          next = std::int64_t{step.number} + 1;
          return step;
        });
    if (result.steps.empty()) steps.refuse("holds no step");
    return result;
  } catch (const UsageError& error) {
    throw UsageError(file + ":" + error.what());
  }
}

std::string scenario_keys() {
  Table table({{"Keys of a scenario:"}, {""}});
  const auto add = [&](std::string_view heading, std::span<const Key> keys) {
    table.add({std::string(heading), ""});
    for (const Key& key : keys) {
      table.add({"  " + std::string(key.name), std::string(key.what) + (key.required ? " (required)" : "")});
    }
  };
  add("the scenario", kScenarioKeys);
  add("a step", kStepKeys);
  add("a check", kCheckKeys);
  add("a watch, and the options of its kind without their dashes", kWatchKeys);
  add("until", kConditionKeys);
  std::string result;
  for (const std::string& line : table.lines(100)) result += line + "\n";
  std::string polled;
  for (const WatchKind& kind : watch_kinds()) {
    if (kind.source == WatchKind::Source::polled)
      polled += (polled.empty() ? "" : ", ") + std::string(kind.name);
  }
  result +=
      "\n\"group\" of these watches reports at the end of every group, changes or not, unless there is an\n"
      "\"at-least\": " +
      polled + ".\n";
  return result;
}

}  // namespace kvwmi::agent
