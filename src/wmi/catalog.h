#pragma once

#include <deque>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "wmi/provider.h"
#include "wmi/wql/scope.h"

namespace kvwmi::embedded {

/// The classes of one namespace and the providers behind them. Never changes once it is made, so that a query
/// keeps the one that it began with.
class Catalog final : public wql::Classes {
 public:
  struct Entry {
    const cim::Class* schema;
    std::shared_ptr<Provider> provider;  ///< null for a class known only as another one's superclass
  };

  explicit Catalog(const std::vector<std::shared_ptr<Provider>>& providers);

  /// All classes, by name.
  [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }
  /// The class of that name in any case, or null.
  [[nodiscard]] const Entry* find(std::string_view name) const;
  /// The class and those derived from it, itself first, the others by name; empty for an unknown one.
  [[nodiscard]] std::span<const Entry* const> derived(std::string_view name) const;

  [[nodiscard]] std::vector<std::string_view> names() const override;
  [[nodiscard]] bool knows(std::string_view name) const override { return find(name) != nullptr; }
  [[nodiscard]] std::vector<std::string> family(std::string_view name) const override;

 private:
  std::deque<cim::Class> implied_;
  std::vector<Entry> entries_;
  std::unordered_map<std::string, std::vector<const Entry*>> derived_;  // by folded name
};

}  // namespace kvwmi::embedded
