#include "wmi/wql/terms.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "frame/text.h"
#include "kvwmi/nearest.h"
#include "wmi/cim/object_path.h"
#include "wmi/wql/lexer.h"
#include "wmi/wql/pattern.h"
#include "wmi/wql/query_error.h"

namespace kvwmi::wql::nodes {
namespace {

[[noreturn]] void refuse(std::size_t offset, std::string message) {
  throw QueryError(wmi::Status::invalid_query, offset, std::move(message));
}

[[noreturn]] void refuse_literal(const Expression& e, CimType type) {
  refuse(e.literal.offset, excerpt(e.literal.spelling) + " is no value for " + excerpt(e.property.text) +
                               " (" + std::string(type_name(type)) + ")");
}

/// The number that a literal stands for, quoted or not: int64, uint64 or double; Null for what is none.
cim::Value number_of(const Literal& literal) {
  const auto* text = literal.value.get_if<std::string>();
  if (text == nullptr) return literal.value.get_if<bool>() == nullptr ? literal.value : cim::Value();
  try {
    Lexer lexer(*text, wmi::Status::invalid_query);
    const Token number = lexer.next();
    if (number.kind != Token::Kind::number || lexer.next().kind != Token::Kind::end) return {};
    return number_value(number, wmi::Status::invalid_query);
  } catch (const QueryError&) {
    return {};
  }
}

double as_real(const cim::Value& number) {
  if (const auto* real = number.get_if<double>()) return *real;
  if (const auto* whole = number.get_if<std::int64_t>()) return static_cast<double>(*whole);
  return static_cast<double>(*number.get_if<std::uint64_t>());
}

NodePtr integer_comparison(const Expression& e, const Binding& binding) {
  const cim::Value number = number_of(e.literal);
  if (const auto whole = integer_of(number)) return leaf(binding, IntegerTest{e.op, *whole, binding.type});
  if (number.is_null()) refuse_literal(e, binding.type);
  return leaf(binding, RealTest{e.op, as_real(number)});
}

NodePtr real_comparison(const Expression& e, const Binding& binding) {
  const cim::Value number = number_of(e.literal);
  if (number.is_null()) refuse_literal(e, binding.type);
  const double real = as_real(number);
  // A real32 equals the constant that it was written as, not that constant's longer double.
  const bool narrow = binding.type == CimType::real32;
  return leaf(binding, RealTest{e.op, narrow ? double{static_cast<float>(real)} : real});
}

NodePtr boolean_comparison(const Expression& e, const Binding& binding) {
  if (!is_equality(e.op))
    refuse(e.property.offset, excerpt(e.property.text) + " is a boolean, which compares with = and <> only");
  const auto of = [&]() -> std::optional<bool> {
    if (const auto* flag = e.literal.value.get_if<bool>()) return *flag;
    if (const auto* text = e.literal.value.get_if<std::string>()) {
      if (equals_ignoring_case(*text, "true")) return true;
      if (equals_ignoring_case(*text, "false")) return false;
    }
    const cim::Value number = number_of(e.literal);
    if (number == cim::Value(std::int64_t{0})) return false;
    if (number == cim::Value(std::int64_t{1}) || number == cim::Value(std::int64_t{-1})) return true;
    return std::nullopt;
  };
  const std::optional<bool> flag = of();
  if (!flag) refuse_literal(e, binding.type);
  return leaf(binding, BooleanTest{e.op, *flag});
}

NodePtr text_comparison(const Expression& e, const Binding& binding) {
  if (const auto* text = e.literal.value.get_if<std::string>()) return leaf(binding, TextTest{e.op, *text});
  if (e.literal.value.get_if<bool>() != nullptr) refuse_literal(e, binding.type);
  return leaf(binding, TextTest{e.op, std::string(e.literal.spelling)});
}

NodePtr datetime_comparison(const Expression& e, const Binding& binding) {
  const auto* text = e.literal.value.get_if<std::string>();
  if (text == nullptr) refuse_literal(e, binding.type);
  if (const auto time = cim::DateTime::parse_constant(*text))
    return leaf(binding, DateTimeTest{e.op, *time, *text});
  constexpr std::size_t kLength = 25;
  const bool starred = text->size() == kLength && text->find('*') != std::string::npos;
  if (!starred || !is_equality(e.op)) refuse_literal(e, binding.type);
  return leaf(binding, TextTest{e.op, *text});
}

NodePtr reference_comparison(const Expression& e, const Binding& binding, const Classes& classes) {
  if (!is_equality(e.op)) {
    refuse(e.property.offset,
           excerpt(e.property.text) + " is a reference, which compares with = and <> only");
  }
  const auto* text = e.literal.value.get_if<std::string>();
  const auto path = text == nullptr ? std::nullopt : cim::parse_object_path(*text);
  if (!path) refuse_literal(e, binding.type);
  std::vector<std::string> family = classes.family(path->class_name);
  for (std::string& name : family) name = fold_case(name);
  return leaf(binding, ReferenceTest{e.op, *text, cim::normalised_keys(*path), std::move(family)});
}

NodePtr like(const Expression& e, const Binding& binding) {
  if (binding.type != CimType::string && binding.type != CimType::datetime &&
      binding.type != CimType::reference) {
    refuse(e.property.offset, "LIKE is for text, " + excerpt(e.property.text) + " is of type " +
                                  std::string(type_name(binding.type)));
  }
  const std::string& text = *e.literal.value.get_if<std::string>();
  try {
    Pattern pattern(text);
    if (auto plain = pattern.plain_text()) return leaf(binding, TextTest{Operator::equal, *std::move(plain)});
    return leaf(binding, PatternTest{std::move(pattern)});
  } catch (const std::invalid_argument& why) {
    refuse(e.literal.offset, why.what());
  }
}

NodePtr comparison(const Expression& e, const Binding& binding, const Classes& classes) {
  switch (binding.type) {
    case CimType::sint8:
    case CimType::sint16:
    case CimType::sint32:
    case CimType::sint64:
    case CimType::uint8:
    case CimType::uint16:
    case CimType::uint32:
    case CimType::uint64:
    case CimType::char16:
      return integer_comparison(e, binding);
    case CimType::real32:
    case CimType::real64:
      return real_comparison(e, binding);
    case CimType::boolean:
      return boolean_comparison(e, binding);
    case CimType::string:
      return text_comparison(e, binding);
    case CimType::datetime:
      return datetime_comparison(e, binding);
    case CimType::reference:
      return reference_comparison(e, binding, classes);
    case CimType::object:
      break;
  }
  refuse(e.property.offset,
         excerpt(e.property.text) + " is an object, of which only ISA and IS NULL can be asked");
}

NodePtr isa(const Expression& e, const Binding& binding, const Classes& classes) {
  const std::string& name = *e.literal.value.get_if<std::string>();
  if (!classes.knows(name)) {
    throw unknown_name(wmi::Status::invalid_class, e.literal.offset,
                       "there is no class '" + excerpt(name) + "'" + nearest_hint(name, classes.names()));
  }
  if (binding.known_class != nullptr) return std::make_unique<Always>(truth(binding.known_class->is_a(name)));
  if (binding.type != CimType::object) {
    refuse(e.property.offset, "ISA is for objects, " + excerpt(e.property.text) + " is of type " +
                                  std::string(type_name(binding.type)));
  }
  return leaf(binding, IsaTest{name});
}

/// The test that `e` makes of what `binding` leads to.
NodePtr direct_test(const Expression& e, const Binding& binding, const Classes& classes) {
  if (e.kind == Expression::Kind::null_test) {
    const bool wants_null = e.op == Operator::equal;
    if (binding.constant) return std::make_unique<Always>(truth(binding.constant->is_null() == wants_null));
    return std::make_unique<NullTest>(binding.slot, binding.cost, wants_null);
  }
  if (binding.is_array) {
    refuse(e.property.offset, excerpt(e.property.text) + " is an array, of which only IS NULL can be asked");
  }
  if (e.kind == Expression::Kind::isa) return isa(e, binding, classes);
  return e.kind == Expression::Kind::like ? like(e, binding) : comparison(e, binding, classes);
}

/// For tests on embedded objects: their classes are not asked for again.
class AnyClasses final : public Classes {
 public:
  std::vector<std::string_view> names() const override { return {}; }
  bool knows(std::string_view /*name*/) const override { return true; }
  std::vector<std::string> family(std::string_view name) const override { return {std::string(name)}; }
};

/// A property of an embedded object, whose class, and so the property's type, differs from row to row. What
/// does not fit there is unknown instead of an error.
class EmbeddedTest final : public Node {
 public:
  EmbeddedTest(const Expression& e, const Binding& binding)
      : slot_(binding.slot),
        cost_(binding.cost),
        rest_(binding.rest),
        property_(e.property.text),
        spelling_(e.literal.spelling),
        expression_(e) {
    expression_.property.text = property_;
    expression_.literal.spelling = spelling_;
  }

  Truth evaluate(Row& row) const override {
    const cim::Value* value = &row.value(slot_);
    std::string_view path = rest_;
    for (;;) {
      const auto* object = value->get_if<std::shared_ptr<cim::Instance>>();
      if (object == nullptr || *object == nullptr) return Truth::unknown;
      const cim::Class& schema = (*object)->schema();
      const auto dot = path.find('.');
      const auto column = schema.find_property(path.substr(0, dot));
      if (!column) return Truth::unknown;
      value = &(*object)->get(*column);
      if (dot == std::string_view::npos) return test(schema.properties[*column], *value, row);
      path.remove_prefix(dot + 1);
    }
  }
  void collect_slots(std::vector<std::size_t>& slots) const override { slots.push_back(slot_); }
  cim::Cost cost() const override { return cost_; }

 private:
  Truth test(const cim::Property& property, const cim::Value& value, Row& row) const {
    Binding binding;
    binding.type = property.type;
    binding.is_array = property.is_array();
    binding.constant = value;
    try {
      return direct_test(expression_, binding, AnyClasses())->evaluate(row);
    } catch (const QueryError&) {
      return Truth::unknown;
    }
  }

  std::size_t slot_;
  cim::Cost cost_;
  std::string rest_;
  std::string property_;
  std::string spelling_;
  Expression expression_;
};

}  // namespace

NodePtr compile_term(const Expression& e, const Scope& scope) {
  const auto binding = scope.find(e.property.text);
  if (!binding) {
    const std::string name(e.property.text);
    throw unknown_name(
        wmi::Status::invalid_query, e.property.offset,
        std::string(scope.title()) + " has no property '" + excerpt(name) + "'" + scope.nearest(name));
  }
  if (e.kind == Expression::Kind::isa && (binding->leads_nowhere || !binding->rest.empty())) {
    static_cast<void>(isa(e, {.type = CimType::object, .constant = cim::Value()}, scope.classes()));
  }
  if (binding->leads_nowhere) return std::make_unique<Always>(Truth::unknown);
  if (!binding->rest.empty()) return std::make_unique<EmbeddedTest>(e, *binding);
  return direct_test(e, *binding, scope.classes());
}

}  // namespace kvwmi::wql::nodes
