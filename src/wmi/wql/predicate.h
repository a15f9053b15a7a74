#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "wmi/wql/query.h"
#include "wmi/wql/scope.h"

namespace kvwmi::wql {

/// Three-valued truth. A comparison with NULL, `<>` and LIKE included, is unknown; so is its NOT. Only `yes`
/// selects a row. In this order AND is the smallest, OR the largest of its operands.
enum class Truth : std::uint8_t { no, unknown, yes };

/// `slot = constant`, the constant in the form in which rows hold the slot's type.
struct SlotEquality {
  std::size_t slot = 0;
  cim::Value constant;
};

/// A condition checked against a scope and ready to be asked of many rows, by several threads at once.
class Predicate {
 public:
  /// Accepts every row.
  Predicate();
  /// Raises QueryError for a condition that does not fit the scope: an unknown name (with the nearest ones),
  /// a constant that is none of the property's type, an operator that the type lacks, an unknown class.
  Predicate(const Expression& condition, const Scope& scope);

  [[nodiscard]] Truth evaluate(Row& row) const;
  [[nodiscard]] bool matches(Row& row) const { return evaluate(row) == Truth::yes; }

  /// The answer that no row changes, where there is one.
  [[nodiscard]] std::optional<Truth> constant() const;

  /// Slots that an evaluation may read, each once, in ascending order.
  [[nodiscard]] const std::vector<std::size_t>& slots() const { return slots_; }

  /// Equalities of which every matching row satisfies at least one; `accepts` says which slots are of use.
  /// nullopt where there are no such: an AND needs one operand that gives them, an OR all.
  [[nodiscard]] std::optional<std::vector<SlotEquality>> equalities(
      const std::function<bool(std::size_t slot)>& accepts) const;

  class Node;

 private:
  std::shared_ptr<const Node> root_;
  std::vector<std::size_t> slots_;
};

}  // namespace kvwmi::wql
