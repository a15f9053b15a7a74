#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "companions/kvipaddress/logic/address.h"

namespace kvipaddress {

/// One line of a definition: an address that an interface is to have.
struct Entry {
  std::string interface;  ///< a name or a pattern
  Subnet subnet;
};

/// What a definition file says.
struct Definition {
  static constexpr std::size_t kMaxSize = 65'536;
  static constexpr std::size_t kMaxEntries = 1'024;
  static constexpr std::size_t kMaxName = 256;

  std::vector<Entry> entries;
  /// Report a difference at every check while it lasts, not once only.
  bool repeat = false;
};

/// nullopt for anything but a whole definition of the known version within the limits.
[[nodiscard]] std::optional<Definition> parse_definition(std::string_view text);

}  // namespace kvipaddress
