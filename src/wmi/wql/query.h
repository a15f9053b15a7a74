#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wmi/cim/value.h"
#include "wmi/wql/operator.h"

namespace kvwmi::wql {

/// A name as the query spells it; `TargetInstance.Name` has the head `TargetInstance` and the rest `Name`.
struct Name {
  std::string_view text;
  std::size_t offset = 0;

  [[nodiscard]] std::string_view head() const { return text.substr(0, text.find('.')); }
  [[nodiscard]] std::string_view rest() const {
    const auto dot = text.find('.');
    return dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
  }
};

/// A boolean, an int64, a uint64 beyond that, a double, or text without quotes and escapes.
struct Literal {
  cim::Value value;
  std::string_view spelling;  ///< as written
  std::size_t offset = 0;
};

/// A node of a condition. A comparison has its property on the left, whichever side the query wrote it on.
struct Expression {
  enum class Kind : std::uint8_t {
    conjunction,  ///< AND of two or more operands
    disjunction,  ///< OR of two or more operands
    negation,     ///< NOT of one operand
    comparison,   ///< property, op, literal
    like,         ///< property, literal
    null_test,    ///< property; op is equal for IS NULL and not_equal for IS NOT NULL
    isa,          ///< property (or __this), literal: the class name
  };

  Kind kind = Kind::conjunction;
  Operator op = Operator::equal;
  Name property;
  Literal literal;
  std::vector<Expression> operands;
};

/// GROUP WITHIN seconds [BY by] [HAVING NumberOfEvents op threshold]
struct Grouping {
  struct Having {
    Operator op;
    std::uint32_t threshold;
  };
  double seconds = 0;
  std::size_t offset = 0;  ///< of the number
  std::vector<Name> by;
  std::optional<Having> having;
};

/// A parsed SELECT. Names and spellings are views into `text`.
struct Query {
  enum class Kind : std::uint8_t { data, schema, event };

  std::shared_ptr<const std::string> text;
  Kind kind = Kind::data;
  std::vector<Name> columns;  ///< empty for *
  Name class_name;
  std::optional<double> within;  ///< seconds, of an event query
  std::size_t within_offset = 0;
  std::optional<Expression> where;
  std::optional<Grouping> group;
};

/// What a query may ask of the parser. Beyond it the query is refused with "Quota violation ".
struct Limits {
  std::size_t text_size = std::size_t{1} << 20;  ///< bytes
  std::size_t terms = 50'000;                    ///< comparisons, selected and grouped names together
  std::size_t depth = 100;                       ///< nested parentheses and NOTs
};

/// Reads a data or schema query. A refused one raises QueryError: "Invalid query " for what is no query.
[[nodiscard]] Query parse_query(std::string text, const Limits& limits = {});
/// Reads an event query; what is none is refused with "Unparsable query. ".
[[nodiscard]] Query parse_event_query(std::string text, const Limits& limits = {});

/// The condition in prefix form, for tests and diagnostics: `(or (= A 1) (and (like B "x%") (not (isnull
/// C))))`.
[[nodiscard]] std::string to_text(const Expression& expression);

}  // namespace kvwmi::wql
