#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "wmi/cim/schema.h"
#include "wmi/events/snapshot.h"
#include "wmi/events/subscription.h"

namespace kvwmi::embedded {

/// The parts that share a poll. Equalities on the target instance are looked up in a hash table, so that an
/// instance costs the parts that it may concern, not all of them.
class PartIndex {
 public:
  struct Part : SubscriptionPart {
    /// Constants of which the target instance must have one; nullopt where no look-up finds it.
    std::optional<std::vector<wql::SlotEquality>> equalities;

   private:
    friend class PartIndex;
    explicit Part(SubscriptionPart part) : SubscriptionPart(std::move(part)) {}
    std::uint64_t mark_ = 0;  // of the last look-up that found it
  };

  explicit PartIndex(const cim::Class& schema) : schema_(schema) {}

  /// The part as it is kept, at its place until it is taken away.
  const Part& add(SubscriptionPart part);
  /// Takes away what `gone` tells; tells whether there was any.
  bool erase_if(const std::function<bool(const Part&)>& gone);
  /// Takes away the last ones added, also those that failed to be, until `size` are left.
  void shrink(std::size_t size);

  /// In the order in which they were added.
  [[nodiscard]] const std::vector<std::unique_ptr<Part>>& all() const noexcept { return parts_; }
  /// Those with GROUP.
  [[nodiscard]] const std::vector<const Part*>& grouped() const noexcept { return grouped_; }
  /// Those that ask for one of `changes` and may concern `target`, each once. Valid until the next look-up.
  [[nodiscard]] const std::vector<const Part*>& find(Side& target, std::uint8_t changes);

 private:
  struct Index {
    std::size_t column;
    std::unordered_map<std::string, std::vector<Part*>> parts;  // by key_text of the constant
  };

  void insert(Part& part);
  void clear_tables();
  void fill_tables();

  const cim::Class& schema_;
  std::vector<std::unique_ptr<Part>> parts_;
  std::vector<Index> indexes_;
  std::vector<Part*> unindexed_;
  std::vector<const Part*> grouped_;
  std::uint64_t mark_ = 0;
  std::vector<const Part*> found_;  // by the last look-up
};

}  // namespace kvwmi::embedded
