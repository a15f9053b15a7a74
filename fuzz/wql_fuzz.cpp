// Any text as a data query and as an event query: it is refused with a place inside the text, or it is
// answered, and the answer keeps to the rules that hold for every condition.

#include <cstddef>
#include <cstdint>
#include <string>

#include "frame/text.h"
#include "require.h"
#include "wmi/wql/class_scope.h"
#include "wmi/wql/predicate.h"
#include "wmi/wql/query_error.h"

namespace {

using namespace kvwmi;
using cim::CimType;
using cim::Cost;
using fuzz::require;

constexpr std::string_view kBases[] = {"CIM_Process"};
constexpr cim::Property kProperties[] = {
    {"Name", CimType::string, cim::kNarrows, Cost::free, "", nullptr},
    {"Id", CimType::uint32, cim::kKey | cim::kNarrows, Cost::free, "", nullptr},
    {"Size", CimType::uint64, cim::kPlain, Cost::read, "", nullptr},
    {"Delta", CimType::sint64, cim::kPlain, Cost::free, "", nullptr},
    {"Load", CimType::real64, cim::kPlain, Cost::free, "", nullptr},
    {"Primary", CimType::boolean, cim::kPlain, Cost::free, "", nullptr},
    {"Started", CimType::datetime, cim::kPlain, Cost::free, "", nullptr},
    {"Path", CimType::reference, cim::kPlain, Cost::free, "", nullptr},
    {"Roles", CimType::string, cim::kArray, Cost::free, "", nullptr},
    {"Parent", CimType::object, cim::kPlain, Cost::slow, "", nullptr},
    {"Nothing", CimType::string, cim::kPlain, Cost::free, "", nullptr},
};
constexpr cim::Class kClass{
    .name = "C", .superclasses = kBases, .description = "", .properties = kProperties, .methods = {}};

class OneClass final : public wql::Classes {
 public:
  std::vector<std::string_view> names() const override { return {"C", "CIM_Process"}; }
  bool knows(std::string_view name) const override { return kClass.is_a(name); }
  std::vector<std::string> family(std::string_view name) const override { return {std::string(name)}; }
};

void fill(cim::Instance& row) {
  row.set(0, "bash");
  row.set(1, std::uint64_t{42});
  row.set(2, std::uint64_t{5'000'000'000});
  row.set(3, std::int64_t{-7});
  row.set(4, 2.5);
  row.set(5, true);
  row.set(6, "20261120105237.000000+060");
  row.set(7, R"(\\BOX\root\cimv2:C.Name="a\\b")");
  row.set(8, cim::Value::Array{cim::Value("a")});
}

wql::Truth opposite(wql::Truth truth) {
  return static_cast<wql::Truth>(2 - static_cast<int>(truth));
}

void check_condition(const wql::Query& query) {
  static const cim::Location kLocation{"BOX", R"(root\cimv2)"};
  const OneClass classes;
  const bool schema = query.kind == wql::Query::Kind::schema;
  const wql::ClassScope scope(kClass, kLocation, classes,
                              schema ? wql::Genus::class_object : wql::Genus::instance);
  const wql::Predicate predicate(*query.where, scope);

  cim::Instance row(kClass);
  fill(row);
  const auto parent = std::make_shared<cim::Instance>(kClass);
  fill(*parent);
  row.set(9, std::shared_ptr<cim::Instance>(parent));
  wql::InstanceRow view(row, kLocation);
  const wql::Truth answer = predicate.evaluate(view);
  if (const auto constant = predicate.constant())
    require(answer == *constant, "a constant answer is the answer");

  wql::Expression negated;
  negated.kind = wql::Expression::Kind::negation;
  negated.operands.push_back(*query.where);
  require(wql::Predicate(negated, scope).evaluate(view) == opposite(answer), "NOT gives the opposite");

  // Of the equalities that narrow a query, a row that matches satisfies one. Text and numbers of the row
  // suffice.
  const auto equalities = predicate.equalities([](std::size_t slot) { return slot < 2; });
  if (!equalities || answer != wql::Truth::yes) return;
  bool one = false;
  for (const auto& [slot, constant] : *equalities) {
    if (slot == 0) one = one || equals_ignoring_case(*constant.get_if<std::string>(), "bash");
    if (slot == 1) one = one || *constant.get_if<std::uint64_t>() == 42;
  }
  require(one, "a matching row satisfies one of the equalities");
}

void check(const std::string& text, wql::Query (*parse)(std::string, const wql::Limits&)) {
  try {
    const wql::Query query = parse(text, {});
    if (!query.where) return;
    require(!wql::to_text(*query.where).empty(), "a condition has a text");
    check_condition(query);
  } catch (const wql::QueryError& refused) {
    require(refused.offset() <= text.size(), "the refused place lies within the text");
    require(!refused.message().empty() && refused.message().find('\n') == std::string::npos,
            "one line says why");
    require(!wmi::status_text(static_cast<std::int32_t>(refused.status())).empty(), "the number has a text");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  check(text, wql::parse_query);
  check(text, wql::parse_event_query);
  return 0;
}
