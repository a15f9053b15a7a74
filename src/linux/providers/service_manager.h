#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "linux/providers/service_signals.h"
#include "linux/providers/system_bus.h"
#include "linux/providers/unit_files.h"

namespace kvwmi::ground::providers {

/// A service as the manager lists it, or one that it has not loaded yet.
struct Unit {
  std::string unit;  ///< "cron.service"
  std::string description;
  std::string load_state;
  std::string active_state;
  std::string path;  ///< of its object on the bus; empty for one that is not loaded
};

/// What the manager's word for the state of a service says.
[[nodiscard]] bool is_running(std::string_view active_state);
[[nodiscard]] bool is_starting(std::string_view active_state);
[[nodiscard]] bool is_stopped(std::string_view active_state);

/// What a service tells of itself beyond the list.
struct UnitDetails {
  std::string unit_file_state;
  std::string load_state;
  std::string active_state;
  std::vector<std::string> needed_by;  ///< units that are stopped with it
  bool can_stop = false;
  bool conditions_met = true;

  std::vector<std::string> command;  ///< of its main process
  std::string user;
  std::string type;
  std::string result;  ///< "success", "exit-code", "timeout", ...
  std::uint32_t main_process = 0;
  std::int32_t exit_code = 0;    ///< CLD_EXITED and the like; 0 before the first end
  std::int32_t exit_status = 0;  ///< exit status or signal of the main process
};

/// The service manager on the system bus. Any thread may use it; every call is bounded in time. Failing
/// raises BusError.
class ServiceManager {
 public:
  explicit ServiceManager(const Machine& machine)
      : machine_(machine), bus_(machine), files_(machine), signals_(machine) {}

  /// All services that are loaded or have a unit file, by name.
  [[nodiscard]] std::vector<Unit> services();
  /// A number that grows when services() or details() may tell something else; nullopt where that is not
  /// known, as without a bus. Never waits for the bus.
  [[nodiscard]] std::optional<std::uint64_t> changes();
  [[nodiscard]] UnitDetails details(const Unit& unit);
  /// That of the details, without loading the unit for it; nullopt where that is not possible.
  [[nodiscard]] std::optional<std::string> unit_file_state(const std::string& unit);

  /// What became of a request to start or stop.
  struct JobEnd {
    std::string result;  ///< "done", "failed", "timeout", "dependency", ...; empty while it still runs
    UnitDetails details;
  };
  /// Asks for the start or stop and waits for it at most `limit`. Not repeated when the connection breaks.
  [[nodiscard]] JobEnd start(const Unit& unit, std::chrono::milliseconds limit);
  [[nodiscard]] JobEnd stop(const Unit& unit, std::chrono::milliseconds limit);
  /// Those of `units` that run or are about to.
  [[nodiscard]] std::vector<std::string> running_of(const std::vector<std::string>& units);

 private:
  [[nodiscard]] JobEnd run_job(const char* method, const Unit& unit, std::chrono::milliseconds limit);

  /// What the manager said of a unit whose files this process cannot read. It is asked again when they have
  /// changed, and once a minute: loading a unit makes signals, which count as changes.
  struct Told {
    std::chrono::minutes at{};
    std::vector<FileStamp> files;
    std::string description;
  };

  const Machine& machine_;
  SystemBus bus_;
  std::map<std::string, Told> told_;  ///< by unit; whoever has the bus may use it
  UnitFiles files_;
  ServiceSignals signals_;
};

}  // namespace kvwmi::ground::providers
