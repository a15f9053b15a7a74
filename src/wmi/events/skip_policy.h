#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "wmi/events/snapshot.h"
#include "wmi/provider.h"

namespace kvwmi::embedded {

/// Whether a poll may do without the rows of its class, by the provider's change tokens.
class SkipPolicy {
 public:
  /// What a provider vouches for: that nothing that is kept of the rows has changed, or that none came or
  /// went.
  enum class Vouched : std::uint8_t { nothing, rows, everything };

  /// What the provider vouches for since it was last asked. `kept` are the columns that are kept of the rows,
  /// `keys` those that tell the rows apart.
  [[nodiscard]] Vouched ask(Provider& provider, const std::shared_ptr<const Columns>& kept,
                            const std::vector<std::size_t>& keys);

  /// Whether the poll of that answer may do without the rows; how often that may go on is counted here.
  /// `rows_suffice` says that coming and going is all that anybody asks for.
  [[nodiscard]] bool may_skip(Vouched vouched, bool rows_suffice);

  /// The rows are being read.
  void rows_are_read() noexcept { skipped_polls_ = 0; }
  /// A row has appeared of which what belongs to its identity may still change.
  void row_appeared() noexcept;

  /// What the provider says now is not to be compared with what it said before.
  void forget() noexcept;
  /// The same for what it says of the kept columns.
  void forget_kept() noexcept { kept_.forget(); }

 private:
  /// A provider's change token, as it was when it was last asked for.
  class Token {
   public:
    /// Whether the provider still says the same. What it says now is the last from here on.
    [[nodiscard]] bool same_as_last(std::optional<std::uint64_t> now) {
      return std::exchange(last_, now) == now && now.has_value();
    }
    void forget() noexcept { last_.reset(); }

   private:
    std::optional<std::uint64_t> last_;
  };

  Token kept_;
  std::shared_ptr<const Columns> kept_columns_;  // that the token speaks of
  Token rows_;
  unsigned restless_polls_ = 0;
  unsigned skipped_polls_ = 0;
};

}  // namespace kvwmi::embedded
