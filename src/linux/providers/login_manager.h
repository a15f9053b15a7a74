#pragma once

#include <cstdint>
#include <optional>

#include "linux/providers/system_bus.h"

namespace kvwmi::ground::providers {

enum class Shutdown : std::uint8_t { halt, reboot, power_off };

/// The login manager on the system bus: who is logged in, and the way to end sessions and the machine's run.
class LoginManager {
 public:
  explicit LoginManager(const Machine& machine) : machine_(machine), bus_(machine) {}

  /// Number of login sessions; nullopt where no login manager answers.
  [[nodiscard]] std::optional<std::uint32_t> sessions();

  /// Asks for the end of the machine's run and gives 0. Only `forced` overrules those who hold it up. Where
  /// no login manager runs, the service manager is asked. Raises "Privilege not held " without the right to
  /// and where somebody holds it up, "Provider failure " where nobody answers.
  std::uint32_t shut_down(Shutdown kind, bool forced);

  /// Ends the session in front of the first seat, or else the one that the calling process belongs to. 0, or
  /// 1312 (no such logon session); raises as shut_down does.
  std::uint32_t log_off();

 private:
  const Machine& machine_;
  SystemBus bus_;
};

}  // namespace kvwmi::ground::providers
