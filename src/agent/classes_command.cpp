#include <CLI/CLI.hpp>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

#include "agent/command.h"
#include "agent/table.h"
#include "agent/values.h"
#include "kvwmi/nearest.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;

Json schema_to_json(const WmiObject& description) {
  Json properties = Json::array();
  for (const WmiProperty& property : description.properties) {
    properties.push_back({{"name", property.name},
                          {"type", type_name(property.type)},
                          {"array", property.is_array},
                          {"key", property.is_key},
                          {"description", property.description}});
  }
  return {{"class", description.class_name}, {"properties", std::move(properties)}};
}

void print_schema(Console& console, const WmiObject& description) {
  Table table({{description.class_name}, {"TYPE"}, {"KEY"}, {"DESCRIPTION"}});
  for (const WmiProperty& property : description.properties) {
    table.add({"  " + property.name, type_text(property), property.is_key ? "key" : "",
               printable(property.description)});
  }
  console.print(table);
}

class ClassesCommand final : public Command {
 public:
  CLI::App& declare(CLI::App& app) override {
    CLI::App* command = app.add_subcommand("classes", "Name the classes, or a class's properties");
    command->add_option("CLASS", name_, "The class to describe, in any case");
    command->add_option("--namespace", name_space_, "The WMI namespace")->capture_default_str();
    return *command;
  }

  int run(Console& console) override {
    WmiSession session(name_space_);
    if (name_.empty()) {
      const std::vector<std::string> names = session.classes();
      if (console.json()) {
        console.print_json(names);
      } else {
        for (const std::string& name : names) console.print(name);
      }
      return kAnswered;
    }
    std::optional<WmiObject> description;
    try {
      description = session.class_description(name_);
    } catch (const Error& error) {
      constexpr auto kNotFound = static_cast<std::int32_t>(0x80041002);
      if (console.json() || error.number() != kNotFound) throw;
      console.complain("unknown class \"" + printable(name_) + "\" in " + printable(name_space_) +
                       nearest_hint(name_, session.classes()));
      return kRaised;
    }
    if (console.json()) {
      console.print_json(schema_to_json(*description));
    } else {
      print_schema(console, *description);
    }
    return kAnswered;
  }

  std::vector<std::string> completions(const std::vector<std::string>& before) override {
    return before.empty() ? WmiSession().classes() : std::vector<std::string>();
  }

 private:
  std::string name_;
  std::string name_space_ = R"(root\CIMV2)";
};

}  // namespace

std::unique_ptr<Command> make_classes_command() {
  return std::make_unique<ClassesCommand>();
}

}  // namespace kvwmi::agent
