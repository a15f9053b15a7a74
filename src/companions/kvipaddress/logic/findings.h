#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "companions/kvipaddress/logic/definition.h"
#include "companions/kvipaddress/logic/pattern.h"

namespace kvipaddress {

/// An address of this machine with the name of its interface.
struct InterfaceAddress {
  std::string interface;
  Address address;
};

/// How the machine differs from a definition, one text for each difference.
struct Findings {
  std::set<std::string> unexpected;  ///< addresses that the definition does not know
  std::set<std::string> missing;     ///< entries of the definition that no address answers to
};

[[nodiscard]] Findings find_differences(const Definition& definition, const Filter& filter,
                                        const std::vector<InterfaceAddress>& addresses);

inline constexpr std::int32_t kNothing = 0;
inline constexpr std::int32_t kModification = 1;
inline constexpr std::int32_t kAbsence = 2;

/// The result while the differences last: a modification before an absence.
[[nodiscard]] std::int32_t verdict(const Findings& findings);

/// What has been reported already, so that each difference is reported once.
class Reports {
 public:
  using Clock = std::chrono::steady_clock;
  /// A watch that has not asked for this long has ended; whoever asks next is told everything again.
  static constexpr std::chrono::minutes kForgottenAfter{5};
  static constexpr std::size_t kMaxWatches = 256;

  /// The verdict on those differences that `watch` has not been told yet. Differences that do not fit into
  /// one verdict are left for the next call.
  [[nodiscard]] std::int32_t answer(const std::string& watch, const Findings& findings,
                                    Clock::time_point now);

 private:
  struct Watch {
    Findings told;
    Clock::time_point asked;
  };

  void make_room_for(const std::string& watch, Clock::time_point now);

  std::map<std::string, Watch> watches_;
};

}  // namespace kvipaddress
