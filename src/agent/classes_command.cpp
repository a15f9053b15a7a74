#include <CLI/CLI.hpp>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

#include "agent/class_hint.h"
#include "agent/command.h"
#include "agent/table.h"
#include "agent/values.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;

Json schema_to_json(const WmiClass& description) {
  Json properties = Json::array();
  for (const WmiProperty& property : description.properties) {
    properties.push_back({{"name", property.name},
                          {"type", type_name(property.type)},
                          {"array", property.is_array},
                          {"key", property.is_key},
                          {"description", property.description}});
  }
  Json methods = Json::array();
  for (const wmi::Method& method : description.methods) {
    Json in = Json::array();
    for (const wmi::Parameter& parameter : method.in)
      in.push_back({{"name", parameter.name}, {"type", type_name(parameter.type)}});
    methods.push_back({{"name", method.name}, {"in", std::move(in)}, {"description", method.description}});
  }
  return {{"class", description.name},
          {"superclasses", description.superclasses},
          {"description", description.description},
          {"properties", std::move(properties)},
          {"methods", std::move(methods)}};
}

std::string joined(const std::vector<std::string>& parts) {
  std::string result;
  for (const std::string& part : parts) result += (result.empty() ? "" : ", ") + part;
  return result;
}

std::string signature(const wmi::Method& method) {
  std::vector<std::string> in;
  for (const wmi::Parameter& parameter : method.in)
    in.push_back(std::string(type_name(parameter.type)) + ' ' + parameter.name);
  return method.name + '(' + joined(in) + ')';
}

void print_schema(Console& console, const WmiClass& description) {
  const std::string superclasses = joined(description.superclasses);
  console.print(console.paint(Console::Colour::bold, description.name) +
                (superclasses.empty() ? "" : ", derived from " + superclasses));
  if (!description.description.empty()) console.print(printable(description.description));

  console.print("");
  Table properties({{"PROPERTY"}, {"TYPE"}, {"KEY"}, {"DESCRIPTION"}});
  for (const WmiProperty& property : description.properties) {
    properties.add(
        {property.name, type_text(property), property.is_key ? "key" : "", printable(property.description)});
  }
  console.print(properties);

  if (description.methods.empty()) return;
  console.print("");
  Table methods({{"METHOD"}, {"DESCRIPTION"}});
  for (const wmi::Method& method : description.methods)
    methods.add({signature(method), printable(method.description)});
  console.print(methods);
}

class ClassesCommand final : public Command {
 public:
  CLI::App& declare(CLI::App& app) override {
    CLI::App* command = app.add_subcommand("classes", "Name the classes, or what one consists of");
    name_option_ = command->add_option("CLASS", name_, "The class to describe, in any case");
    command->add_option("--namespace", name_space_, "The WMI namespace")->capture_default_str();
    command->footer(
        "Of a class: what it derives from, its properties with their types and keys, its methods.\n\n"
        "Examples:\n"
        "  kvwmi classes                           every class of the namespace\n"
        "  kvwmi classes Win32_Service\n"
        "  kvwmi classes Win32_Process --json");
    return *command;
  }

  int run(Console& console) override {
    WmiSession session(name_space_);
    if (name_option_->count() == 0) {
      const std::vector<std::string> names = session.classes();
      if (console.json()) {
        console.print_json(names);
      } else {
        for (const std::string& name : names) console.print(name);
      }
      return kAnswered;
    }
    std::optional<WmiClass> description;
    try {
      description = session.class_description(name_);
    } catch (const Error& error) {
      constexpr auto kNotFound = static_cast<std::int32_t>(0x80041002);
      if (error.number() != kNotFound) throw;
      const std::string unknown =
          "unknown class \"" + name_ + "\" in " + name_space_ + nearest_class_hint(session, name_);
      if (console.json()) throw error.with_diagnostic({"", 0, unknown, QueryDiagnostic::Fault::name});
      console.complain(unknown);
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
  CLI::Option* name_option_ = nullptr;
  std::string name_space_ = R"(root\CIMV2)";
};

}  // namespace

std::unique_ptr<Command> make_classes_command() {
  return std::make_unique<ClassesCommand>();
}

}  // namespace kvwmi::agent
