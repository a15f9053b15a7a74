#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "wmi/wql/predicate.h"
#include "wmi/wql/scope.h"
#include "wmi/wql/value_tests.h"

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

/// What a condition is made of.
namespace nodes {

using Node = Predicate::Node;
using NodePtr = std::unique_ptr<const Node>;

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

}  // namespace nodes
}  // namespace kvwmi::wql
