// The query language: parsing and checking of the longest queries that supervisions make, evaluation of a
// two-term condition per row, and one small query through the whole service. The floors are written by hand
// for the one text or condition: a pass over the query's bytes, and the comparison of the two columns.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "frame/text.h"
#include "measure.h"
#include "wmi/memory_provider.h"
#include "wmi/service.h"
#include "wmi/wql/class_scope.h"
#include "wmi/wql/predicate.h"
#include "works.h"

namespace kvwmi::bench {
namespace {

using cim::CimType;
using cim::Cost;

constexpr std::string_view kBases[] = {"Win32_Service", "CIM_DirectoryContainsFile", "CIM_LogicalElement"};
constexpr cim::Property kProperties[] = {
    {"Caption", CimType::string, cim::kPlain, Cost::free, "", nullptr},
    {"Name", CimType::string, cim::kNarrows, Cost::free, "", nullptr},
    {"DisplayName", CimType::string, cim::kNarrows, Cost::free, "", nullptr},
    {"State", CimType::string, cim::kPlain, Cost::free, "", nullptr},
    {"GroupComponent", CimType::reference, cim::kKey, Cost::free, "", nullptr},
    {"ProcessId", CimType::uint32, cim::kNarrows, Cost::free, "", nullptr},
};
constexpr cim::Class kClass{.name = "Test_Target",
                            .superclasses = kBases,
                            .description = "",
                            .properties = kProperties,
                            .methods = {}};

class OneClass final : public wql::Classes {
 public:
  std::vector<std::string_view> names() const override { return {kClass.name}; }
  bool knows(std::string_view) const override { return true; }
  std::vector<std::string> family(std::string_view name) const override { return {std::string(name)}; }
};

/// The names of an event over that class.
class EventScope final : public wql::Scope {
 public:
  std::optional<wql::Binding> find(std::string_view name) const override {
    const auto dot = name.find('.');
    const std::string_view head = name.substr(0, dot);
    const bool target = equals_ignoring_case(head, "TargetInstance");
    if (!target && !equals_ignoring_case(head, "PreviousInstance")) return std::nullopt;
    if (dot == std::string_view::npos) return wql::Binding{.type = CimType::object, .known_class = &kClass};
    const auto column = kClass.find_property(name.substr(dot + 1));
    if (!column) return std::nullopt;
    return wql::Binding{.slot = *column + (target ? 0 : 100), .type = kProperties[*column].type};
  }
  std::string_view title() const override { return "__InstanceModificationEvent"; }
  std::vector<std::string_view> names() const override { return {"TargetInstance", "PreviousInstance"}; }
  const wql::Classes& classes() const override { return classes_; }

 private:
  OneClass classes_;
};

const std::string kServiceQuery =
    "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Service'"
    "  AND TargetInstance.DisplayName='Spooler Service' AND ((PreviousInstance.State<>'Running' AND"
    " TargetInstance.State='Running') OR (PreviousInstance.State<>'Stopped' AND "
    "TargetInstance.State='Stopped'))"
    " GROUP WITHIN 60 HAVING NumberOfEvents>=3";

const std::string kDirectoryQuery =
    "SELECT * FROM __InstanceCreationEvent WITHIN 5 WHERE Targetinstance ISA 'CIM_DirectoryContainsFile'   "
    "AND"
    R"( TargetInstance.GroupComponent= 'Win32_Directory.Name="C:\\\\data\\\\incoming\\\\orders\\\\archive"')";

struct ParsedQuery {
  std::string name;
  std::string text;
  std::size_t slots;  ///< of the condition
};
const ParsedQuery kParsed[] = {{"service transition query", kServiceQuery, 3},
                               {"directory query", kDirectoryQuery, 1}};

void parse(const ParsedQuery& parsed) {
  const EventScope scope;
  const wql::Query query = wql::parse_event_query(parsed.text);
  const wql::Predicate predicate(*query.where, scope);
  require(predicate.slots().size() == parsed.slots, "slots of the condition");
}

void pass_over(const std::string& text) {
  std::size_t words = 0;
  char before = ' ';
  for (const char c : text) {
    words += static_cast<std::size_t>(before == ' ' && c != ' ');
    before = c;
  }
  require(words > 5, "words of the query");
}

/// Rows of which 50 satisfy a condition of two terms.
class Rows {
 public:
  static constexpr int kCount = 1'000;

  Rows() {
    for (int i = 0; i < kCount; ++i) {
      auto& row = *rows_.emplace_back(std::make_unique<cim::Instance>(kClass));
      row.set(1, i % 10 == 0 ? cim::Value("worker") : cim::Value("kworker/" + std::to_string(i)));
      row.set(5, std::uint64_t{static_cast<unsigned>(i)});
    }
  }
  void evaluate() const {
    int matches = 0;
    for (const auto& row : rows_) {
      wql::InstanceRow view(*row, location_);
      matches += static_cast<int>(predicate_.matches(view));
    }
    require(matches == 50, "matching rows");
  }
  void compare_by_hand() const {
    int matches = 0;
    for (const auto& row : rows_) {
      const auto* name = row->get(1).get_if<std::string>();
      const auto* id = row->get(5).get_if<std::uint64_t>();
      matches += static_cast<int>(name != nullptr && id != nullptr && equals_ignoring_case(*name, "Worker") &&
                                  *id >= 500);
    }
    require(matches == 50, "matching rows of the floor");
  }

 private:
  const OneClass classes_;
  const cim::Location location_;
  const wql::Query query_ =
      wql::parse_query("SELECT * FROM Test_Target WHERE Name='Worker' AND ProcessId>=500");
  const wql::Predicate predicate_{*query_.where, wql::ClassScope(kClass, location_, classes_)};
  std::vector<std::unique_ptr<cim::Instance>> rows_;
};

/// A service with many classes, one of which has one row.
class SmallService {
 public:
  SmallService() {
    embedded::MemoryClass system{.name = "Win32_OperatingSystem",
                                 .properties = {},
                                 .methods = {},
                                 .superclasses = {"CIM_OperatingSystem", "CIM_LogicalElement"}};
    for (int i = 0; i < 60; ++i) {
      system.properties.push_back({"Property" + std::to_string(i), CimType::uint64});
    }
    system.properties.push_back({"FreePhysicalMemory", CimType::uint64});
    const auto provider = std::make_shared<embedded::MemoryProvider>(system);
    provider->add({{"FreePhysicalMemory", std::uint64_t{123456}}});
    service_.add(provider);
    for (int i = 0; i < 60; ++i) {
      embedded::MemoryClass other{.name = "Win32_Other" + std::to_string(i), .properties = {{"Name"}}};
      other.superclasses = {"CIM_LogicalElement"};
      service_.add(std::make_shared<embedded::MemoryProvider>(other));
    }
    services_ = service_.create_locator()->connect_server({});
  }
  void ask() const {
    const auto set = services_->exec_query("SELECT * FROM Win32_OperatingSystem");
    require(set->count() == 1, "count");
    require(wmi::first_of(*set)->get("FreePhysicalMemory") == wmi::Value("123456"), "value");
  }

 private:
  embedded::Service service_;
  std::shared_ptr<wmi::Services> services_;
};

int run(std::vector<char*> arguments) {
  const Rows rows;
  const SmallService service;
  Works works;
  for (const ParsedQuery& query : kParsed) {
    works.add("parse and check the " + query.name, [&query] { parse(query); });
    works.add("pass over the " + query.name, [&query] { pass_over(query.text); });
  }
  works.add("condition", [&] { rows.evaluate(); });
  works.add("condition by hand", [&] { rows.compare_by_hand(); });
  works.add("query", [&] { service.ask(); });
  works.run(std::move(arguments));

  Claims claims;
  for (const ParsedQuery& query : kParsed) {
    const double parsed = works.nanoseconds("parse and check the " + query.name);
    claims.at_most("parse and check, microseconds: " + query.name, parsed / 1000, 5);
    claims.note("times one pass over its bytes: " + query.name,
                parsed / works.nanoseconds("pass over the " + query.name));
  }
  const double condition = works.nanoseconds("condition");
  claims.at_most("two-term condition, nanoseconds a row", condition / Rows::kCount, 100);
  claims.at_most("times the same comparison written by hand",
                 condition / works.nanoseconds("condition by hand"), 8);
  claims.at_most("one value of a class with one row, query to value, microseconds",
                 works.nanoseconds("query") / 1000, 10);
  return claims.exit_code();
}

}  // namespace
}  // namespace kvwmi::bench

int main(int count, char** arguments) {
  return kvwmi::bench::run({arguments, arguments + count});
}
