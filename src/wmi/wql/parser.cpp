#include <algorithm>
#include <limits>
#include <utility>

#include "frame/text.h"
#include "wmi/wql/lexer.h"
#include "wmi/wql/query.h"
#include "wmi/wql/query_error.h"

namespace kvwmi::wql {
namespace {

using Kind = Token::Kind;

std::string describe(const Token& token) {
  return token.kind == Kind::end ? "the end of the query" : "'" + excerpt(token.text) + "'";
}

/// Recursive descent with one token of look-ahead. One function per rule of the grammar.
class Parser {
 public:
  Parser(std::string_view text, Query::Kind kind, const Limits& limits)
      : kind_(kind),
        refusal_(kind == Query::Kind::event ? wmi::Status::unparsable_query : wmi::Status::invalid_query),
        limits_(limits),
        lexer_(text, refusal_) {
    if (text.size() > limits.text_size)
      exceed(0, "the query is longer than " + std::to_string(limits.text_size) + " bytes");
    advance();
  }

  void parse(Query& query) {
    if (at(Kind::key_associators) || at(Kind::key_references)) {
      throw QueryError(wmi::Status::not_supported, token_.offset, "only SELECT queries are answered");
    }
    expect(Kind::key_select, "SELECT");
    select_list(query);
    expect(Kind::key_from, "FROM");
    query.class_name = class_name();
    query.kind = kind_;
    if (kind_ == Query::Kind::data && equals_ignoring_case(query.class_name.text, "meta_class")) {
      query.kind = Query::Kind::schema;
      if (!query.columns.empty()) refuse(query.columns.front().offset, "a query of meta_class selects *");
    }
    if (kind_ == Query::Kind::event) within(query);
    if (take(Kind::key_where)) query.where = disjunction();
    if (kind_ == Query::Kind::event) group(query);
    static_cast<void>(take(Kind::semicolon));
    end();
  }

 private:
  [[noreturn]] void refuse(std::size_t offset, std::string message) const {
    throw QueryError(refusal_, offset, std::move(message));
  }
  [[noreturn]] void exceed(std::size_t offset, std::string message) const {
    throw QueryError(wmi::Status::quota_violation, offset, std::move(message));
  }
  [[noreturn]] void expected(const char* wanted) const {
    // What stands right behind a closing quote was probably meant to be part of the text.
    const bool in_text = text_end_ != 0 && text_end_ == token_.offset && !at(Kind::end);
    refuse(token_.offset, std::string("expected ") + wanted + ", found " + describe(token_) +
                              (in_text ? R"(; inside of a text a quote is written \')" : ""));
  }

  void advance() { static_cast<void>(taken()); }
  [[nodiscard]] bool at(Kind kind) const { return token_.kind == kind; }
  bool take(Kind kind) {
    if (!at(kind)) return false;
    advance();
    return true;
  }
  void expect(Kind kind, const char* wanted) {
    if (!take(kind)) expected(wanted);
  }
  Token taken() {
    if (at(Kind::string)) text_end_ = token_.offset + token_.text.size();
    return std::exchange(token_, lexer_.next());
  }

  void count_term() {
    if (++terms_ > limits_.terms) {
      exceed(token_.offset, "the query has more than " + std::to_string(limits_.terms) + " terms");
    }
  }

  /// The keywords of event and association queries are names where a name must stand.
  [[nodiscard]] bool at_name() const {
    switch (token_.kind) {
      case Kind::name:
      case Kind::key_associators:
      case Kind::key_by:
      case Kind::key_group:
      case Kind::key_having:
      case Kind::key_references:
      case Kind::key_within:
        return true;
      default:
        return false;
    }
  }
  Name name(const char* wanted) {
    if (!at_name()) expected(wanted);
    const Token word = taken();
    return {word.text, word.offset};
  }
  Name property_name() {
    count_term();
    return name("the name of a property");
  }
  Name class_name() {
    const Name result = name("the name of a class");
    if (!result.rest().empty()) refuse(result.offset, "a class has no full stop in its name");
    return result;
  }

  void select_list(Query& query) {
    if (take(Kind::star)) return;
    do {
      query.columns.push_back(property_name());
    } while (take(Kind::comma));
  }

  void end() {
    if (at(Kind::end)) return;
    switch (token_.kind) {
      case Kind::key_within:
        refuse(token_.offset, kind_ == Query::Kind::event
                                  ? "WITHIN stands between the class and WHERE, or directly behind GROUP"
                                  : "WITHIN is for event queries");
      case Kind::key_group:
      case Kind::key_having:
        refuse(token_.offset, kind_ == Query::Kind::event
                                  ? "the order of clauses is WHERE, GROUP WITHIN, BY, HAVING"
                                  : std::string(token_.text) + " is for event queries");
      case Kind::key_where:
        refuse(token_.offset, "only one WHERE, and before GROUP");
      default:
        expected("the end of the query");
    }
  }

  // ---- conditions

  /// Reads `operand` as often as `separator` joins it; a single one stays as it is.
  template <typename Operand>
  Expression joined(Expression::Kind kind, Kind separator, Operand operand) {
    Expression first = operand();
    if (!at(separator)) return first;
    Expression all;
    all.kind = kind;
    all.operands.reserve(4);
    all.operands.push_back(std::move(first));
    while (take(separator)) all.operands.push_back(operand());
    return all;
  }

  Expression disjunction() {
    return joined(Expression::Kind::disjunction, Kind::key_or, [this] { return conjunction(); });
  }
  Expression conjunction() {
    return joined(Expression::Kind::conjunction, Kind::key_and, [this] { return negation(); });
  }

  Expression negation() {
    if (!at(Kind::key_not)) return primary();
    enter();
    advance();
    Expression result;
    result.kind = Expression::Kind::negation;
    result.operands.push_back(negation());
    --depth_;
    return result;
  }

  Expression primary() {
    if (!at(Kind::open)) return comparison();
    enter();
    advance();
    Expression inner = disjunction();
    expect(Kind::close, "')'");
    --depth_;
    return inner;
  }

  void enter() {
    if (++depth_ > limits_.depth) {
      exceed(token_.offset, "conditions are nested deeper than " + std::to_string(limits_.depth));
    }
  }

  Expression comparison() {
    if (at_constant()) return mirrored_comparison();
    Expression result;
    result.property = property_name();
    switch (token_.kind) {
      case Kind::key_is:
        advance();
        result.op = take(Kind::key_not) ? Operator::not_equal : Operator::equal;
        expect(Kind::key_null, "NULL");
        result.kind = Expression::Kind::null_test;
        return result;
      case Kind::key_isa:
        advance();
        result.kind = Expression::Kind::isa;
        result.literal = isa_class();
        return result;
      case Kind::key_like:
        advance();
        if (!at(Kind::string)) expected("a pattern in quotes");
        result.kind = Expression::Kind::like;
        result.literal = constant();
        return result;
      case Kind::key_not:
        refuse(token_.offset, "NOT stands before the property");
      case Kind::comparison:
        break;
      default:
        expected("an operator");
    }
    const Token op = taken();
    result.op = op.op;
    if (at(Kind::key_null)) return null_comparison(result.property, op);
    if (at_name()) refuse(token_.offset, "a property compares with a constant only; text stands in quotes");
    result.kind = Expression::Kind::comparison;
    result.literal = constant();
    return result;
  }

  /// A constant on the left.
  Expression mirrored_comparison() {
    const bool null = at(Kind::key_null);
    Expression result;
    if (null) {
      advance();
    } else {
      result.literal = constant();
    }
    if (!at(Kind::comparison)) expected("a comparison operator");
    const Token op = taken();
    if (at_constant()) refuse(token_.offset, "one side of a comparison is a property");
    result.property = property_name();
    if (null) return null_comparison(result.property, op);
    result.kind = Expression::Kind::comparison;
    result.op = mirrored(op.op);
    return result;
  }

  /// `= NULL` and `<> NULL` say the same as IS [NOT] NULL.
  Expression null_comparison(Name property, const Token& op) {
    if (!is_equality(op.op)) refuse(op.offset, "NULL compares with = and <> only");
    static_cast<void>(take(Kind::key_null));
    Expression result;
    result.kind = Expression::Kind::null_test;
    result.op = op.op;
    result.property = property;
    return result;
  }

  [[nodiscard]] bool at_constant() const {
    return at(Kind::string) || at(Kind::number) || at(Kind::key_true) || at(Kind::key_false) ||
           at(Kind::key_null);
  }

  Literal constant() {
    Literal result;
    result.spelling = token_.text;
    result.offset = token_.offset;
    switch (token_.kind) {
      case Kind::string:
        result.value = unescape(token_, refusal_);
        break;
      case Kind::number:
        result.value = number_value(token_, refusal_);
        break;
      case Kind::key_true:
      case Kind::key_false:
        result.value = at(Kind::key_true);
        break;
      default:
        expected("a constant");
    }
    advance();
    return result;
  }

  /// The class behind ISA, in quotes or not.
  Literal isa_class() {
    if (at(Kind::string)) return constant();
    const Name plain = class_name();
    Literal result;
    result.value = std::string(plain.text);
    result.spelling = plain.text;
    result.offset = plain.offset;
    return result;
  }

  // ---- event queries

  /// A number of seconds: no sign, fractions allowed.
  double seconds() {
    if (!at(Kind::number)) expected("a number of seconds");
    if (token_.text.front() == '-' || token_.text.front() == '+')
      refuse(token_.offset, "an interval has no sign");
    const cim::Value value = number_value(taken(), refusal_);
    if (const auto* whole = value.get_if<std::int64_t>()) return static_cast<double>(*whole);
    if (const auto* whole = value.get_if<std::uint64_t>()) return static_cast<double>(*whole);
    return *value.get_if<double>();
  }

  void within(Query& query) {
    if (!take(Kind::key_within)) return;
    query.within_offset = token_.offset;
    query.within = seconds();
  }

  void group(Query& query) {
    if (!take(Kind::key_group)) return;
    if (!take(Kind::key_within)) {
      throw QueryError(wmi::Status::missing_group_within, token_.offset,
                       "WITHIN and a number of seconds follow GROUP, found " + describe(token_));
    }
    Grouping group;
    group.offset = token_.offset;
    group.seconds = seconds();
    if (group.seconds > std::numeric_limits<std::uint32_t>::max())
      refuse(group.offset, "the interval is too long");
    if (take(Kind::key_by)) group_by(group);
    if (take(Kind::key_having)) having(group);
    query.group = std::move(group);
  }

  void group_by(Grouping& group) {
    if (at(Kind::star)) {
      throw QueryError(wmi::Status::missing_aggregation_list, token_.offset,
                       "BY names its properties, it takes no *");
    }
    do {
      group.by.push_back(property_name());
    } while (take(Kind::comma));
  }

  void having(Grouping& group) {
    if (!at(Kind::name) || !equals_ignoring_case(token_.text, "NumberOfEvents")) expected("NumberOfEvents");
    advance();
    if (!at(Kind::comparison)) expected("a comparison operator");
    const Operator op = taken().op;
    if (!at(Kind::number)) expected("a number of events");
    const Token number = taken();
    const cim::Value value = number_value(number, refusal_);
    const auto* threshold = value.get_if<std::int64_t>();
    if (number.text.front() == '-' || number.text.front() == '+' || threshold == nullptr ||
        *threshold > std::numeric_limits<std::uint32_t>::max()) {
      refuse(number.offset, "a number of events is whole, without sign, and of 32 bits");
    }
    group.having = {op, static_cast<std::uint32_t>(*threshold)};
  }

  Query::Kind kind_;
  wmi::Status refusal_;
  const Limits& limits_;
  Lexer lexer_;
  Token token_;
  std::size_t text_end_ = 0;  // behind the last text in quotes
  std::size_t terms_ = 0;
  std::size_t depth_ = 0;
};

Query parse(std::string text, Query::Kind kind, const Limits& limits) {
  Query query;
  query.text = std::make_shared<const std::string>(std::move(text));
  Parser(*query.text, kind, limits).parse(query);
  return query;
}

}  // namespace

Query parse_query(std::string text, const Limits& limits) {
  return parse(std::move(text), Query::Kind::data, limits);
}

Query parse_event_query(std::string text, const Limits& limits) {
  return parse(std::move(text), Query::Kind::event, limits);
}

std::string to_text(const Expression& expression) {
  const std::string property(expression.property.text);
  const std::string literal(expression.literal.spelling);
  const auto joined = [&](const char* head) {
    std::string text = std::string("(") + head;
    for (const Expression& operand : expression.operands) text += ' ' + to_text(operand);
    return text + ')';
  };
  switch (expression.kind) {
    case Expression::Kind::conjunction:
      return joined("and");
    case Expression::Kind::disjunction:
      return joined("or");
    case Expression::Kind::negation:
      return joined("not");
    case Expression::Kind::comparison:
      return std::string("(") + spelling(expression.op) + ' ' + property + ' ' + literal + ')';
    case Expression::Kind::like:
      return "(like " + property + ' ' + literal + ')';
    case Expression::Kind::null_test:
      return (expression.op == Operator::equal ? "(isnull " : "(notnull ") + property + ')';
    case Expression::Kind::isa:
      return "(isa " + property + ' ' + literal + ')';
  }
  return "";
}

}  // namespace kvwmi::wql
