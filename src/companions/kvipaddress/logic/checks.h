#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "companions/kvipaddress/logic/findings.h"
#include "companions/kvipaddress/logic/interface_record.h"

namespace kvipaddress {

/// A file as it was found.
struct FileContent {
  enum class State { missing, read, unusable };
  State state = State::unusable;
  std::string text;
};

/// What the checks need of the machine. nullopt is "could not be told", never "none".
class System {
 public:
  virtual ~System() = default;
  /// A regular file of at most `limit` bytes; anything else is unusable.
  [[nodiscard]] virtual FileContent read_file(const std::string& path, std::size_t limit) = 0;
  /// Puts a regular file in the place of an old one or of none, whole or not at all, safe on the disk.
  [[nodiscard]] virtual bool replace_file(const std::string& path, const std::string& text) = 0;
  /// The addresses in use; those still being tested for duplicates are not.
  [[nodiscard]] virtual std::optional<std::vector<InterfaceAddress>> addresses() = 0;
  /// Interfaces that are switched on and connected, loopback aside.
  [[nodiscard]] virtual std::optional<ActiveInterfaces> active_interfaces() = 0;
};

[[nodiscard]] std::int32_t check_ip_address(System& system, Reports& reports,
                                            const std::string& definition_file, const std::string& filter,
                                            Reports::Clock::time_point now);

[[nodiscard]] std::int32_t check_network_interfaces(System& system, const std::string& record_file);

}  // namespace kvipaddress
