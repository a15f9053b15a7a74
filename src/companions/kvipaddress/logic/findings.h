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

/// What each watch has been told: one check has one verdict, so what does not fit into it is left for the
/// next.
class Reports {
 public:
  using Clock = std::chrono::steady_clock;
  /// A watch that has not asked for this long has ended; whoever asks next is told everything again.
  static constexpr std::chrono::hours kForgottenAfter{24};
  /// Of more than these the one that has not asked for longest is forgotten.
  static constexpr std::size_t kMaxWatches = 4'096;

  /// The verdict on those differences that `watch` has not been told yet, a modification before an absence.
  [[nodiscard]] std::int32_t news(const std::string& watch, const Findings& findings, Clock::time_point now);

  /// The verdict on all differences, told or not: a modification and an absence in turn while both last.
  [[nodiscard]] std::int32_t repeated(const std::string& watch, const Findings& findings,
                                      Clock::time_point now);

 private:
  struct Watch {
    Findings told;
    std::int32_t last = kNothing;  ///< what repeated() gave
    Clock::time_point asked;
  };

  Watch& asking(const std::string& watch, Clock::time_point now);

  std::map<std::string, Watch> watches_;
};

}  // namespace kvipaddress
