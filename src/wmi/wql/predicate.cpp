#include "wmi/wql/predicate.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "wmi/wql/nodes.h"
#include "wmi/wql/terms.h"

namespace kvwmi::wql {
namespace {

using namespace nodes;

NodePtr compile(const Expression& e, const Scope& scope);

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
  return compile_term(e, scope);
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
