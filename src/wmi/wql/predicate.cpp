#include "wmi/wql/predicate.h"

#include <algorithm>
#include <cmath>
#include <compare>
#include <stdexcept>
#include <string>
#include <string_view>

#include "frame/text.h"
#include "kvwmi/nearest.h"
#include "wmi/cim/datetime.h"
#include "wmi/cim/instance.h"
#include "wmi/cim/object_path.h"
#include "wmi/wql/lexer.h"
#include "wmi/wql/pattern.h"
#include "wmi/wql/query_error.h"

namespace kvwmi::wql {

using Equalities = std::vector<SlotEquality>;
using AcceptsSlot = std::function<bool(std::size_t)>;

class Predicate::Node {
 public:
  Node() = default;
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  virtual ~Node() = default;

  [[nodiscard]] virtual Truth evaluate(Row& row) const = 0;
  [[nodiscard]] virtual std::optional<Truth> constant() const { return std::nullopt; }
  [[nodiscard]] virtual std::optional<Equalities> equalities(const AcceptsSlot& /*accepts*/) const {
    return std::nullopt;
  }
  virtual void collect_slots(std::vector<std::size_t>& slots) const = 0;
  [[nodiscard]] virtual cim::Cost cost() const = 0;
};

namespace {

using cim::CimType;
using Node = Predicate::Node;
using NodePtr = std::unique_ptr<const Node>;

constexpr Truth truth(bool yes) {
  return yes ? Truth::yes : Truth::no;
}

// ---- what one value is asked. A test gets no NULL; a value of another kind than declared is unknown to it.

/// An integer of either sign in the order of its value.
struct Integer {
  bool natural = true;  // not negative
  std::uint64_t bits = 0;
  friend constexpr auto operator<=>(const Integer&, const Integer&) = default;
};

std::optional<Integer> integer_of(const cim::Value& value) {
  if (const auto* number = value.get_if<std::int64_t>())
    return Integer{*number >= 0, static_cast<std::uint64_t>(*number)};
  if (const auto* number = value.get_if<std::uint64_t>()) return Integer{true, *number};
  return std::nullopt;
}

/// Exact, also where a double cannot hold the integer.
std::partial_ordering compare(Integer integer, double real) {
  constexpr double kTwoTo64 = 18'446'744'073'709'551'616.0;
  constexpr double kTwoTo63 = kTwoTo64 / 2;
  if (real >= kTwoTo64) return std::partial_ordering::less;
  if (real < -kTwoTo63) return std::partial_ordering::greater;
  const double floor = std::floor(real);
  const Integer whole = floor >= 0
                            ? Integer{true, static_cast<std::uint64_t>(floor)}
                            : Integer{false, static_cast<std::uint64_t>(static_cast<std::int64_t>(floor))};
  if (integer != whole) return integer <=> whole;
  return floor < real ? std::partial_ordering::less : std::partial_ordering::equivalent;
}

bool is_signed(CimType type) {
  return type == CimType::sint8 || type == CimType::sint16 || type == CimType::sint32 ||
         type == CimType::sint64;
}

struct TextTest {
  Operator op;
  std::string literal;

  Truth operator()(const cim::Value& value) const {
    const auto* text = value.get_if<std::string>();
    if (text == nullptr) return Truth::unknown;
    return truth(holds(op, compare_ignoring_case(*text, literal) <=> 0));
  }
  std::optional<std::vector<cim::Value>> equals() const {
    if (op != Operator::equal) return std::nullopt;
    return std::vector<cim::Value>{cim::Value(literal)};
  }
};

struct IntegerTest {
  Operator op;
  Integer literal;
  CimType type;

  Truth operator()(const cim::Value& value) const {
    const auto number = integer_of(value);
    if (!number) return Truth::unknown;
    return truth(holds(op, *number <=> literal));
  }
  std::optional<std::vector<cim::Value>> equals() const {
    if (op != Operator::equal) return std::nullopt;
    if (auto constant = of_type(literal, type)) return std::vector<cim::Value>{*std::move(constant)};
    return std::nullopt;
  }
  /// The constant as rows hold it; nullopt where the type has no such number.
  static std::optional<cim::Value> of_type(Integer number, CimType type) {
    if (!is_signed(type)) return number.natural ? std::optional(cim::Value(number.bits)) : std::nullopt;
    const auto value = static_cast<std::int64_t>(number.bits);
    return number.natural == (value >= 0) ? std::optional(cim::Value(value)) : std::nullopt;
  }
};

/// `P = 1 OR P = 2 OR ...`: what many equalities with one integer property come to.
struct IntegerSetTest {
  std::vector<Integer> members;  // in ascending order
  CimType type;

  Truth operator()(const cim::Value& value) const {
    const auto number = integer_of(value);
    if (!number) return Truth::unknown;
    return truth(std::binary_search(members.begin(), members.end(), *number));
  }
  std::optional<std::vector<cim::Value>> equals() const {
    std::vector<cim::Value> constants;
    for (const Integer member : members) {
      auto constant = IntegerTest::of_type(member, type);
      if (!constant) return std::nullopt;
      constants.push_back(*std::move(constant));
    }
    return constants;
  }
};

struct RealTest {
  Operator op;
  double literal;

  Truth operator()(const cim::Value& value) const {
    if (const auto* real = value.get_if<double>()) return truth(holds(op, *real <=> literal));
    const auto number = integer_of(value);
    if (!number) return Truth::unknown;
    return truth(holds(op, compare(*number, literal)));
  }
  static std::optional<std::vector<cim::Value>> equals() { return std::nullopt; }
};

struct BooleanTest {
  Operator op;
  bool literal;

  Truth operator()(const cim::Value& value) const {
    const auto* flag = value.get_if<bool>();
    if (flag == nullptr) return Truth::unknown;
    return truth((*flag == literal) == (op == Operator::equal));
  }
  std::optional<std::vector<cim::Value>> equals() const {
    return std::vector<cim::Value>{cim::Value(literal == (op == Operator::equal))};
  }
};

struct DateTimeTest {
  Operator op;
  cim::DateTime literal;
  std::string spelling;

  Truth operator()(const cim::Value& value) const {
    const auto* text = value.get_if<std::string>();
    if (text == nullptr) return Truth::unknown;
    if (const auto time = cim::DateTime::parse(*text)) {
      const std::partial_ordering order = cim::compare(*time, literal);
      return order == std::partial_ordering::unordered ? Truth::unknown : truth(holds(op, order));
    }
    // Asterisks in the value leave nothing but its characters.
    if (!is_equality(op)) return Truth::unknown;
    return truth(equals_ignoring_case(*text, spelling) == (op == Operator::equal));
  }
  static std::optional<std::vector<cim::Value>> equals() { return std::nullopt; }
};

struct ReferenceTest {
  Operator op;
  std::string literal;
  std::string keys;
  std::vector<std::string> family;  // folded class names that may stand for one another

  Truth operator()(const cim::Value& value) const {
    const auto* text = value.get_if<std::string>();
    if (text == nullptr) return Truth::unknown;
    const auto path = cim::parse_object_path(*text);
    const bool same = path && cim::normalised_keys(*path) == keys &&
                      std::find(family.begin(), family.end(), fold_case(path->class_name)) != family.end();
    return truth(same == (op == Operator::equal));
  }
  std::optional<std::vector<cim::Value>> equals() const {
    if (op != Operator::equal) return std::nullopt;
    return std::vector<cim::Value>{cim::Value(literal)};
  }
};

struct PatternTest {
  Pattern pattern;

  Truth operator()(const cim::Value& value) const {
    const auto* text = value.get_if<std::string>();
    return text == nullptr ? Truth::unknown : truth(pattern.matches(*text));
  }
  static std::optional<std::vector<cim::Value>> equals() { return std::nullopt; }
};

struct IsaTest {
  std::string class_name;

  Truth operator()(const cim::Value& value) const {
    const auto* object = value.get_if<std::shared_ptr<cim::Instance>>();
    if (object == nullptr || *object == nullptr) return Truth::unknown;
    return truth((*object)->schema().is_a(class_name));
  }
  static std::optional<std::vector<cim::Value>> equals() { return std::nullopt; }
};

// ---- nodes

class Always final : public Node {
 public:
  explicit Always(Truth truth) : truth_(truth) {}
  Truth evaluate(Row& /*row*/) const override { return truth_; }
  std::optional<Truth> constant() const override { return truth_; }
  void collect_slots(std::vector<std::size_t>& /*slots*/) const override {}
  cim::Cost cost() const override { return cim::Cost::free; }

 private:
  Truth truth_;
};

template <typename Test>
class Leaf final : public Node {
 public:
  Leaf(std::size_t slot, cim::Cost cost, Test test) : slot_(slot), cost_(cost), test_(std::move(test)) {}

  Truth evaluate(Row& row) const override {
    const cim::Value& value = row.value(slot_);
    return value.is_null() ? Truth::unknown : test_(value);
  }
  std::optional<Equalities> equalities(const AcceptsSlot& accepts) const override {
    auto constants = accepts(slot_) ? test_.equals() : std::nullopt;
    if (!constants) return std::nullopt;
    Equalities result;
    for (cim::Value& constant : *constants) result.push_back({slot_, std::move(constant)});
    return result;
  }
  void collect_slots(std::vector<std::size_t>& slots) const override { slots.push_back(slot_); }
  cim::Cost cost() const override { return cost_; }

  [[nodiscard]] std::size_t slot() const { return slot_; }
  [[nodiscard]] const Test& test() const { return test_; }

 private:
  std::size_t slot_;
  cim::Cost cost_;
  Test test_;
};

class NullTest final : public Node {
 public:
  NullTest(std::size_t slot, cim::Cost cost, bool wants_null)
      : slot_(slot), cost_(cost), wants_null_(wants_null) {}
  Truth evaluate(Row& row) const override { return truth(row.value(slot_).is_null() == wants_null_); }
  void collect_slots(std::vector<std::size_t>& slots) const override { slots.push_back(slot_); }
  cim::Cost cost() const override { return cost_; }

 private:
  std::size_t slot_;
  cim::Cost cost_;
  bool wants_null_;
};

class Negation final : public Node {
 public:
  explicit Negation(NodePtr operand) : operand_(std::move(operand)) {}
  Truth evaluate(Row& row) const override { return opposite(operand_->evaluate(row)); }
  void collect_slots(std::vector<std::size_t>& slots) const override { operand_->collect_slots(slots); }
  cim::Cost cost() const override { return operand_->cost(); }

  static Truth opposite(Truth truth) { return static_cast<Truth>(2 - static_cast<int>(truth)); }

 private:
  NodePtr operand_;
};

/// AND where `decisive` is `no`, OR where it is `yes`: the first operand with that value settles the answer.
template <Truth decisive>
class Junction final : public Node {
 public:
  static constexpr Truth kNeutral = decisive == Truth::no ? Truth::yes : Truth::no;

  explicit Junction(std::vector<NodePtr> operands) : operands_(std::move(operands)) {}

  Truth evaluate(Row& row) const override {
    Truth result = kNeutral;
    for (const NodePtr& operand : operands_) {
      const Truth one = operand->evaluate(row);
      if (one == decisive) return one;
      if (one == Truth::unknown) result = one;
    }
    return result;
  }
  std::optional<Equalities> equalities(const AcceptsSlot& accepts) const override {
    std::optional<Equalities> result;
    for (const NodePtr& operand : operands_) {
      auto one = operand->equalities(accepts);
      if constexpr (decisive == Truth::no) {
        if (one && (!result || one->size() < result->size())) result = std::move(one);
      } else {
        if (!one) return std::nullopt;
        if (!result) result.emplace();
        std::move(one->begin(), one->end(), std::back_inserter(*result));
      }
    }
    return result;
  }
  void collect_slots(std::vector<std::size_t>& slots) const override {
    for (const NodePtr& operand : operands_) operand->collect_slots(slots);
  }
  cim::Cost cost() const override { return operands_.back()->cost(); }

 private:
  std::vector<NodePtr> operands_;  // cheapest first
};

template <typename Test>
NodePtr leaf(const Binding& binding, Test test) {
  if (!binding.constant) return std::make_unique<Leaf<Test>>(binding.slot, binding.cost, std::move(test));
  return std::make_unique<Always>(binding.constant->is_null() ? Truth::unknown : test(*binding.constant));
}

// ---- checking a comparison and choosing its test

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
    throw QueryError(wmi::Status::invalid_class, e.literal.offset,
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

// ---- compilation of a whole condition

NodePtr compile(const Expression& e, const Scope& scope);

NodePtr compile_leaf(const Expression& e, const Scope& scope) {
  const auto binding = scope.find(e.property.text);
  if (!binding) {
    const std::string name(e.property.text);
    refuse(e.property.offset,
           std::string(scope.title()) + " has no property '" + excerpt(name) + "'" + scope.nearest(name));
  }
  if (e.kind == Expression::Kind::isa && (binding->leads_nowhere || !binding->rest.empty())) {
    static_cast<void>(isa(e, {.type = CimType::object, .constant = cim::Value()}, scope.classes()));
  }
  if (binding->leads_nowhere) return std::make_unique<Always>(Truth::unknown);
  if (!binding->rest.empty()) return std::make_unique<EmbeddedTest>(e, *binding);
  return direct_test(e, *binding, scope.classes());
}

/// Replaces the equalities with one integer property among the operands of an OR by one look-up, where they
/// are so many that it pays.
void gather_integer_sets(std::vector<NodePtr>& operands) {
  constexpr std::size_t kWorthwhile = 4;
  using Equality = Leaf<IntegerTest>;
  const auto as_equality = [](const NodePtr& node) -> const Equality* {
    const auto* equality = dynamic_cast<const Equality*>(node.get());
    return equality != nullptr && equality->test().op == Operator::equal ? equality : nullptr;
  };
  if (operands.size() < kWorthwhile) return;
  std::vector<const Equality*> equalities;
  for (const NodePtr& operand : operands) {
    if (const Equality* equality = as_equality(operand)) equalities.push_back(equality);
  }
  std::stable_sort(equalities.begin(), equalities.end(),
                   [](const auto* a, const auto* b) { return a->slot() < b->slot(); });
  std::vector<NodePtr> sets;
  std::vector<std::size_t> gathered;
  for (auto first = equalities.begin(); first != equalities.end();) {
    const auto last = std::find_if(first, equalities.end(),
                                   [&](const auto* other) { return other->slot() != (*first)->slot(); });
    if (static_cast<std::size_t>(last - first) >= kWorthwhile) {
      IntegerSetTest set{{}, (*first)->test().type};
      for (auto it = first; it != last; ++it) set.members.push_back((*it)->test().literal);
      std::sort(set.members.begin(), set.members.end());
      set.members.erase(std::unique(set.members.begin(), set.members.end()), set.members.end());
      gathered.push_back((*first)->slot());
      sets.push_back(
          std::make_unique<Leaf<IntegerSetTest>>((*first)->slot(), (*first)->cost(), std::move(set)));
    }
    first = last;
  }
  std::erase_if(operands, [&](const NodePtr& operand) {
    const Equality* equality = as_equality(operand);
    return equality != nullptr &&
           std::find(gathered.begin(), gathered.end(), equality->slot()) != gathered.end();
  });
  std::move(sets.begin(), sets.end(), std::back_inserter(operands));
}

template <Truth decisive>
NodePtr compile_junction(const Expression& e, const Scope& scope) {
  std::vector<NodePtr> operands;
  bool decided = false;  // the other operands are checked all the same
  for (const Expression& operand : e.operands) {
    NodePtr node = compile(operand, scope);
    const auto constant = node->constant();
    decided = decided || constant == decisive;
    if (constant != Junction<decisive>::kNeutral) operands.push_back(std::move(node));
  }
  if (decided) return std::make_unique<Always>(decisive);
  if constexpr (decisive == Truth::yes) gather_integer_sets(operands);
  if (operands.empty()) return std::make_unique<Always>(Junction<decisive>::kNeutral);
  if (operands.size() == 1) return std::move(operands.front());
  std::stable_sort(operands.begin(), operands.end(),
                   [](const NodePtr& a, const NodePtr& b) { return a->cost() < b->cost(); });
  return std::make_unique<Junction<decisive>>(std::move(operands));
}

NodePtr compile(const Expression& e, const Scope& scope) {
  switch (e.kind) {
    case Expression::Kind::conjunction:
      return compile_junction<Truth::no>(e, scope);
    case Expression::Kind::disjunction:
      return compile_junction<Truth::yes>(e, scope);
    case Expression::Kind::negation: {
      NodePtr operand = compile(e.operands.front(), scope);
      if (const auto constant = operand->constant())
        return std::make_unique<Always>(Negation::opposite(*constant));
      return std::make_unique<Negation>(std::move(operand));
    }
    case Expression::Kind::comparison:
    case Expression::Kind::like:
    case Expression::Kind::null_test:
    case Expression::Kind::isa:
      break;
  }
  return compile_leaf(e, scope);
}

}  // namespace

Predicate::Predicate() : root_(std::make_shared<Always>(Truth::yes)) {}

Predicate::Predicate(const Expression& condition, const Scope& scope) : root_(compile(condition, scope)) {
  root_->collect_slots(slots_);
  std::sort(slots_.begin(), slots_.end());
  slots_.erase(std::unique(slots_.begin(), slots_.end()), slots_.end());
}

Truth Predicate::evaluate(Row& row) const {
  return root_->evaluate(row);
}

std::optional<Truth> Predicate::constant() const {
  return root_->constant();
}

std::optional<std::vector<SlotEquality>> Predicate::equalities(
    const std::function<bool(std::size_t slot)>& accepts) const {
  return root_->equalities(accepts);
}

}  // namespace kvwmi::wql
