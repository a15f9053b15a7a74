#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <sstream>

#include "agent/class_hint.h"
#include "agent/command.h"
#include "agent/same_name.h"
#include "agent/table.h"
#include "agent/values.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;

/// One column for each property of the objects; objects of a derived class may bring more than the first one.
std::vector<WmiProperty> columns_of(const std::vector<WmiObject>& objects) {
  std::vector<WmiProperty> result;
  for (const WmiObject& object : objects) {
    for (const WmiProperty& property : object.properties) {
      const bool known = std::any_of(result.begin(), result.end(),
                                     [&](const WmiProperty& column) { return column.name == property.name; });
      if (!known) result.push_back(property);
    }
  }
  return result;
}

std::string cell(const WmiObject& object, const std::string& name) {
  const auto found = std::find_if(object.properties.begin(), object.properties.end(),
                                  [&](const WmiProperty& property) { return property.name == name; });
  return found == object.properties.end() ? "" : to_line(found->value);
}

/// One block of lines for each object.
void print_blocks(Console& console, const std::vector<WmiObject>& objects) {
  for (const WmiObject& object : objects) {
    if (&object != &objects.front()) console.print("");
    Table block({{object.class_name}, {""}});
    for (const WmiProperty& property : object.properties) {
      block.add({"  " + property.name, to_line(property.value)});
    }
    console.print(block);
  }
}

/// A table where it fits the line, else blocks.
void print_table(Console& console, const std::vector<WmiObject>& objects) {
  const std::vector<WmiProperty> columns = columns_of(objects);
  std::vector<Table::Column> headings;
  for (const WmiProperty& column : columns) {
    const bool number = is_number(column.type) && !column.is_array;
    headings.push_back({column.name, number ? Table::Align::right : Table::Align::left});
  }
  Table table(std::move(headings));
  for (const WmiObject& object : objects) {
    std::vector<std::string> row;
    row.reserve(columns.size());
    for (const WmiProperty& column : columns) row.push_back(cell(object, column.name));
    table.add(std::move(row));
  }
  if (table.width() <= console.width()) {
    console.print(table);
  } else {
    print_blocks(console, objects);
  }
}

/// The name after FROM, as far as that can be told without reading the query: for a hint.
std::string class_of(std::string query) {
  std::replace_if(
      query.begin(), query.end(), [](unsigned char c) { return std::isalnum(c) == 0 && c != '_'; }, ' ');
  std::istringstream words(query);
  for (std::string word; words >> word;) {
    if (same_name(word, "FROM")) return words >> word ? word : "";
  }
  return {};
}

/// The error with the classes nearest to an unknown one, where the ground does not tell them itself.
Error explained(WmiSession& session, const std::string& query, const Error& error) {
  constexpr auto kInvalidClass = static_cast<std::int32_t>(0x80041010);
  const std::string name = class_of(query);
  if (error.number() != kInvalidClass || error.query_diagnostic() != nullptr || name.empty()) return error;
  return error.with_diagnostic({"", 0, "there is no class '" + name + "'" + nearest_class_hint(session, name),
                                QueryDiagnostic::Fault::name});
}

class QueryCommand final : public Command {
 public:
  CLI::App& declare(CLI::App& app) override {
    CLI::App* command = app.add_subcommand("query", "Answer a WQL query");
    command->add_option("WQL", wql_, "The query, one argument")->required();
    command->add_option("--namespace", name_space_, "The WMI namespace")->capture_default_str();
    command->footer(
        "Examples:\n"
        "  kvwmi query \"SELECT Name, ProcessId FROM Win32_Process WHERE Name LIKE '%bash%'\"\n"
        "  kvwmi query \"SELECT * FROM Win32_LogicalDisk\" --json\n"
        "  kvwmi query \"SELECT * FROM meta_class WHERE __this ISA 'Win32_Process'\"\n\n"
        "64-bit numbers and datetimes are text, as automation clients get them.");
    return *command;
  }

  int run(Console& console) override {
    WmiSession session(name_space_);
    try {
      print(console, session.query(wql_));
      return kAnswered;
    } catch (const Error& error) {
      throw explained(session, wql_, error);
    }
  }

 private:
  static void print(Console& console, const std::vector<WmiObject>& objects) {
    // Of classes the names are the answer.
    const bool classes = !objects.empty() && objects.front().is_class;
    if (console.json()) {
      Json document = Json::array();
      for (const WmiObject& object : objects) {
        Json& entry = document.emplace_back(Json::object());
        if (classes) entry["__CLASS"] = object.class_name;
        entry.update(to_json(object));
      }
      console.print_json(document);
    } else if (objects.empty()) {
      console.print(console.paint(Console::Colour::dim, "(no objects)"));
    } else if (classes) {
      print_blocks(console, objects);
    } else {
      print_table(console, objects);
    }
  }

  std::string wql_;
  std::string name_space_ = R"(root\CIMV2)";
};

}  // namespace

std::unique_ptr<Command> make_query_command() {
  return std::make_unique<QueryCommand>();
}

}  // namespace kvwmi::agent
