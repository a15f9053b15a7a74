#pragma once

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "frame/text.h"
#include "wmi/cim/datetime.h"
#include "wmi/cim/instance.h"
#include "wmi/cim/object_path.h"
#include "wmi/wql/pattern.h"
#include "wmi/wql/predicate.h"

/// What one value is asked. A test gets no NULL; a value of another kind than declared is unknown to it.
namespace kvwmi::wql::nodes {

using cim::CimType;

constexpr Truth truth(bool yes) {
  return yes ? Truth::yes : Truth::no;
}

/// An integer of either sign in the order of its value.
struct Integer {
  bool natural = true;  // not negative
  std::uint64_t bits = 0;
  friend constexpr auto operator<=>(const Integer&, const Integer&) = default;
};

inline std::optional<Integer> integer_of(const cim::Value& value) {
  if (const auto* number = value.get_if<std::int64_t>())
    return Integer{*number >= 0, static_cast<std::uint64_t>(*number)};
  if (const auto* number = value.get_if<std::uint64_t>()) return Integer{true, *number};
  return std::nullopt;
}

/// Exact, also where a double cannot hold the integer.
inline std::partial_ordering compare(Integer integer, double real) {
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

inline bool is_signed(CimType type) {
  return type == CimType::sint8 || type == CimType::sint16 || type == CimType::sint32 ||
         type == CimType::sint64;
}

struct TextTest {
  Operator op = Operator::equal;
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
  Operator op = Operator::equal;
  Integer literal;
  CimType type = CimType::uint64;

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
  CimType type = CimType::uint64;

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
  Operator op = Operator::equal;
  double literal = 0;

  Truth operator()(const cim::Value& value) const {
    if (const auto* real = value.get_if<double>()) return truth(holds(op, *real <=> literal));
    const auto number = integer_of(value);
    if (!number) return Truth::unknown;
    return truth(holds(op, compare(*number, literal)));
  }
  static std::optional<std::vector<cim::Value>> equals() { return std::nullopt; }
};

struct BooleanTest {
  Operator op = Operator::equal;
  bool literal = false;

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
  Operator op = Operator::equal;
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
  Operator op = Operator::equal;
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

}  // namespace kvwmi::wql::nodes
