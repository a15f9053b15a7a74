#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>

namespace kvwmi::wql {

/// Comparison operators; `!=` and `<>` are one.
enum class Operator : std::uint8_t {
  equal,
  not_equal,
  less,
  less_or_equal,
  greater,
  greater_or_equal,
};

/// Whether `op` holds between two things that stand in that order. Nothing holds between unordered ones.
[[nodiscard]] constexpr bool holds(Operator op, std::partial_ordering order) {
  switch (op) {
    case Operator::equal:
      return order == 0;
    case Operator::not_equal:
      return order < 0 || order > 0;
    case Operator::less:
      return order < 0;
    case Operator::less_or_equal:
      return order <= 0;
    case Operator::greater:
      return order > 0;
    case Operator::greater_or_equal:
      return order >= 0;
  }
  return false;
}

/// The operator that says the same with the sides exchanged.
[[nodiscard]] constexpr Operator mirrored(Operator op) {
  switch (op) {
    case Operator::less:
      return Operator::greater;
    case Operator::less_or_equal:
      return Operator::greater_or_equal;
    case Operator::greater:
      return Operator::less;
    case Operator::greater_or_equal:
      return Operator::less_or_equal;
    case Operator::equal:
    case Operator::not_equal:
      break;
  }
  return op;
}

[[nodiscard]] constexpr bool is_equality(Operator op) {
  return op == Operator::equal || op == Operator::not_equal;
}

[[nodiscard]] constexpr const char* spelling(Operator op) {
  constexpr const char* kSpellings[] = {"=", "<>", "<", "<=", ">", ">="};
  return kSpellings[static_cast<std::size_t>(op)];
}

}  // namespace kvwmi::wql
