#include <cerrno>
#include <system_error>

#include "frame/wmi_status.h"
#include "linux/parsers/process_stat.h"
#include "linux/providers/factories.h"
#include "linux/providers/failure.h"
#include "linux/providers/operating_system.h"
#include "linux/providers/row.h"
#include "linux/providers/service_manager.h"

namespace kvwmi::ground::providers {
namespace {

/// How long a start or stop is waited for. What takes longer was accepted and is under way, as the state
/// shows.
constexpr std::chrono::seconds kJobLimit{30};

/// Return codes of the methods.
enum Code : std::uint32_t {
  kAccepted = 0,
  kNotSupported = 1,
  kAccessDenied = 2,
  kDependentServicesRunning = 3,
  kInvalidServiceControl = 4,
  kRequestTimeout = 7,
  kUnknownFailure = 8,
  kPathNotFound = 9,
  kAlreadyThere = 10,  // started, or stopped
  kDependencyFailure = 13,
  kDisabled = 14,
  kLogonFailure = 15,
  kCircularDependency = 18,
  kInvalidParameter = 21,
};

/// The error that a query or a property read raises.
[[noreturn]] void raise(const BusError& error) {
  const bool denied = error.is_denied();
  const std::string cause =
      error.name().empty() ? std::generic_category().message(error.number()) : error.name();
  throw wmi::wmi_error(denied ? wmi::Status::access_denied : wmi::Status::provider_failure,
                       wmi::source::kObjectSet)
      .with_diagnostic({"", 0,
                        std::string("the service manager ") +
                            (denied ? "refuses the question" : "does not answer on the system bus") + " (" +
                            cause + ")"});
}

/// The code for a request that the manager refused; what is no answer of its own raises.
std::uint32_t refusal(const BusError& error, bool starting) {
  if (error.is_denied()) return kAccessDenied;
  if (error.is("org.freedesktop.systemd1.NoSuchUnit")) {
    throw wmi::wmi_error(wmi::Status::not_found, wmi::source::kObject);
  }
  if (error.is("org.freedesktop.systemd1.UnitMasked")) return kDisabled;
  if (error.is("org.freedesktop.systemd1.OnlyByDependency"))
    return starting ? kNotSupported : kInvalidServiceControl;
  if (error.is("org.freedesktop.systemd1.JobTypeNotApplicable")) return kNotSupported;
  if (error.is("org.freedesktop.systemd1.BadUnitSetting")) return kInvalidParameter;
  if (error.is("org.freedesktop.systemd1.TransactionOrderIsCyclic")) return kCircularDependency;
  if (error.number() == ETIMEDOUT) return kRequestTimeout;
  if (error.is_absent() || error.name().empty()) {
    throw wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kObject);
  }
  return kUnknownFailure;
}

/// The code for a job that ended otherwise than done, or a service that did not survive its start.
std::uint32_t failure(const ServiceManager::JobEnd& end) {
  constexpr std::int32_t kExited = 1;  // CLD_EXITED
  constexpr std::int32_t kCannotExecute = 203;
  constexpr std::int32_t kNoSuchUser = 217;
  if (end.result == "dependency") return kDependencyFailure;
  if (end.result == "timeout" || end.details.result == "timeout") return kRequestTimeout;
  if (end.details.exit_code == kExited && end.details.exit_status == kCannotExecute) return kPathNotFound;
  if (end.details.exit_code == kExited && end.details.exit_status == kNoSuchUser) return kLogonFailure;
  return kUnknownFailure;
}

class Row final : public cim::Instance {
 public:
  Row(const cim::Class& schema, const Machine& machine, std::shared_ptr<ServiceManager> manager, Unit unit)
      : Instance(schema), machine_(machine), manager_(std::move(manager)), unit_(std::move(unit)) {}

  // NOLINTBEGIN(readability-make-member-function-const): readers of properties are not const
  Value name() {
    return Value(unit_.unit.substr(0, unit_.unit.size() - std::string_view(".service").size()));
  }
  Value display_name() { return Value(unit_.description); }
  Value state() {
    if (is_running(unit_.active_state)) return Value("Running");
    if (is_starting(unit_.active_state)) return Value("Start Pending");
    if (unit_.active_state == "deactivating") return Value("Stop Pending");
    if (is_idle()) return Value("Stopped");
    return Value("Unknown");
  }
  Value started() { return Value(is_running(unit_.active_state)); }
  // NOLINTEND(readability-make-member-function-const)
  Value start_mode() {
    if (unit_.load_state == "masked") return Value("Disabled");
    const std::string state = unit_file_state();
    if (state == "masked" || state == "masked-runtime") return Value("Disabled");
    if (state == "enabled" || state == "enabled-runtime" || state == "alias") return Value("Auto");
    // A unit that nothing starts by itself can still be started.
    return Value("Manual");
  }
  Value path() {
    const std::vector<std::string>& command = details().command;
    if (command.empty()) return {};
    return Value(parsers::command_line({command.begin(), command.end()}));
  }
  Value process_id() { return number(is_idle() ? 0 : details().main_process); }
  Value exit_code() {
    // A unit that is not loaded has not ended, or that is forgotten.
    return number(is_loaded() ? static_cast<std::uint32_t>(details().exit_status) : 0);
  }
  Value user() { return Value(details().user.empty() ? "root" : details().user); }
  Value accepts_stop() { return Value(!is_idle() && details().can_stop); }
  Value computer() { return Value(computer_name(machine_)); }

  std::uint32_t start(std::span<const Value>);
  std::uint32_t stop(std::span<const Value>);
  /// Services of this system cannot be held.
  std::uint32_t not_supported(std::span<const Value>) { return kNotSupported; }

 private:
  [[nodiscard]] bool is_idle() const { return is_stopped(unit_.active_state); }

  [[nodiscard]] bool is_loaded() const { return !unit_.path.empty(); }

  const UnitDetails& details() {
    if (!details_) {
      try {
        details_ = manager_->details(unit_);
      } catch (const BusError& error) {
        raise(error);
      }
    }
    return *details_;
  }
  std::string unit_file_state() {
    // To load a unit makes signals, which count as changes.
    if (!details_ && !is_loaded()) {
      if (auto state = manager_->unit_file_state(unit_.unit)) return *std::move(state);
    }
    return details().unit_file_state;
  }

  const Machine& machine_;
  std::shared_ptr<ServiceManager> manager_;
  Unit unit_;
  std::optional<UnitDetails> details_;
};

std::uint32_t Row::start(std::span<const Value>) {
  try {
    // As it is now, and not when the query was made.
    const UnitDetails now = manager_->details({unit_.unit, "", "", "", ""});
    if (is_running(now.active_state) || is_starting(now.active_state)) return kAlreadyThere;
    if (now.load_state == "masked") return kDisabled;
    const ServiceManager::JobEnd end = manager_->start(unit_, kJobLimit);
    if (end.result.empty()) return kAccepted;  // still starting
    if (end.result != "done" || end.details.result != "success") return failure(end);
    return end.details.conditions_met ? kAccepted : kUnknownFailure;
  } catch (const BusError& error) {
    return refusal(error, true);
  }
}

std::uint32_t Row::stop(std::span<const Value>) {
  try {
    const UnitDetails now = manager_->details({unit_.unit, "", "", "", ""});
    if (is_stopped(now.active_state)) return kAlreadyThere;
    std::vector<std::string> dependents = now.needed_by;
    std::erase_if(dependents, [](const std::string& unit) { return !unit.ends_with(".service"); });
    // The manager would stop them too, without a word.
    if (!manager_->running_of(dependents).empty()) return kDependentServicesRunning;
    const ServiceManager::JobEnd end = manager_->stop(unit_, kJobLimit);
    return end.result.empty() || end.result == "done" ? kAccepted : failure(end);
  } catch (const BusError& error) {
    return refusal(error, false);
  }
}

using enum CimType;

constexpr Property kProperties[]{
    {"AcceptPause", boolean, cim::kPlain, Cost::free, "False: services here cannot be held.", always_false},
    {"AcceptStop", boolean, cim::kPlain, Cost::slow, "Whether the service runs and may be stopped by hand.",
     cim::reader<&Row::accepts_stop>},
    {"Caption", string, cim::kPlain, Cost::free, "Description of the unit, the same as DisplayName.",
     cim::reader<&Row::display_name>},
    {"CheckPoint", uint32, cim::kPlain, Cost::free, "Always 0.", always_number<0>},
    {"CreationClassName", string, cim::kPlain, Cost::free, "Name of this class.", always<"Win32_Service">},
    {"DelayedAutoStart", boolean, cim::kPlain, Cost::free, "Always false.", always_false},
    {"Description", string, cim::kPlain, Cost::free, "Description of the unit.",
     cim::reader<&Row::display_name>},
    {"DesktopInteract", boolean, cim::kPlain, Cost::free, "Always false.", always_false},
    {"DisplayName", string, cim::kNarrows, Cost::free,
     "Description of the unit; its name with .service where it has none.", cim::reader<&Row::display_name>},
    {"ErrorControl", string, cim::kPlain, Cost::free, "\"Normal\".", always<"Normal">},
    {"ExitCode", uint32, cim::kPlain, Cost::slow, "Exit status, or signal, of the last main process.",
     cim::reader<&Row::exit_code>},
    not_kept("InstallDate", datetime),
    {"Name", string, cim::kKey | cim::kNarrows, Cost::free, "Name of the unit without .service.",
     cim::reader<&Row::name>},
    {"PathName", string, cim::kPlain, Cost::slow, "Command that starts the service, quoted where needed.",
     cim::reader<&Row::path>},
    {"ProcessId", uint32, cim::kPlain, Cost::slow, "Number of the main process; 0 while there is none.",
     cim::reader<&Row::process_id>},
    {"ServiceSpecificExitCode", uint32, cim::kPlain, Cost::free, "Always 0.", always_number<0>},
    {"ServiceType", string, cim::kPlain, Cost::free, "\"Own Process\".", always<"Own Process">},
    {"Started", boolean, cim::kPlain, Cost::free, "Whether the service runs.", cim::reader<&Row::started>},
    {"StartMode", string, cim::kPlain, Cost::slow,
     R"("Auto" for enabled units, "Disabled" for masked ones, "Manual" for all others.)",
     cim::reader<&Row::start_mode>},
    {"StartName", string, cim::kPlain, Cost::slow, "Account that the service runs under.",
     cim::reader<&Row::user>},
    {"State", string, cim::kPlain, Cost::free,
     R"("Running", "Stopped", "Start Pending" or "Stop Pending"; "Unknown" for what is none of them.)",
     cim::reader<&Row::state>},
    {"Status", string, cim::kPlain, Cost::free, "\"OK\"; ExitCode tells how a service ended.", always<"OK">},
    {"SystemCreationClassName", string, cim::kPlain, Cost::free, "Class of the computer.",
     always<"Win32_ComputerSystem">},
    {"SystemName", string, cim::kPlain, Cost::read, "Host name of the computer.",
     cim::reader<&Row::computer>},
    {"TagId", uint32, cim::kPlain, Cost::free, "Always 0.", always_number<0>},
    {"WaitHint", uint32, cim::kPlain, Cost::free, "Always 0.", always_number<0>},
};
constexpr std::size_t kName = column(kProperties, "Name");
constexpr std::size_t kDisplayName = column(kProperties, "DisplayName");

constexpr cim::Method kMethods[]{
    {"StartService",
     {},
     "0 started or still starting, 1 must not be started by hand, 2 access denied, 7 timeout, 8 it failed, "
     "9 its program cannot be executed, 10 already started, 13 a service that it needs failed, 14 masked, "
     "15 its user does not exist, 18 it waits for itself, 21 faulty unit.",
     cim::caller<&Row::start>},
    {"StopService",
     {},
     "0 stopped or still stopping, 1 cannot be stopped, 2 access denied, 3 services that need it run, "
     "4 must not be stopped by hand, 7 timeout, 8 it failed, 10 already stopped.",
     cim::caller<&Row::stop>},
    {"PauseService", {}, "Always 1, not supported.", cim::caller<&Row::not_supported>},
    {"ResumeService", {}, "Always 1, not supported.", cim::caller<&Row::not_supported>},
};
constexpr std::string_view kSuperclasses[]{"Win32_BaseService", "CIM_Service", "CIM_LogicalElement",
                                           "CIM_ManagedSystemElement"};
constexpr cim::Class kSchema{
    .name = "Win32_Service",
    .superclasses = kSuperclasses,
    .description = "The services of the system's service manager, loaded or not.",
    .properties = kProperties,
    .methods = kMethods,
};

class Win32Service final : public embedded::Provider {
 public:
  explicit Win32Service(const Machine& machine)
      : machine_(machine), manager_(std::make_shared<ServiceManager>(machine)) {}

  const cim::Class& schema() const override { return kSchema; }

  void enumerate(const embedded::Request& request, const embedded::RowSink& sink) override {
    std::vector<Unit> units;
    try {
      units = manager_->services();
    } catch (const BusError& error) {
      raise(error);
    }
    for (Unit& unit : units) {
      const std::string_view name = std::string_view(unit.unit).substr(0, unit.unit.rfind('.'));
      if (!admits_service(request, name, unit.description)) continue;
      if (!sink(std::make_shared<Row>(kSchema, machine_, manager_, std::move(unit)))) return;
    }
  }

  std::optional<std::uint64_t> change_token(std::span<const std::size_t>) override {
    return manager_->changes();
  }

 private:
  static bool admits_service(const embedded::Request& request, std::string_view name,
                             std::string_view display_name) {
    return request.any_of.empty() ||
           std::any_of(request.any_of.begin(), request.any_of.end(), [&](const embedded::Equality& equality) {
             const auto* text = equality.constant.get_if<std::string>();
             if (text == nullptr) return true;
             if (equality.column == kName) return equals_ignoring_case(*text, name);
             return equality.column != kDisplayName || equals_ignoring_case(*text, display_name);
           });
  }

  const Machine& machine_;
  std::shared_ptr<ServiceManager> manager_;
};

}  // namespace

std::unique_ptr<embedded::Provider> make_win32_service(const Machine& machine) {
  return std::make_unique<Win32Service>(machine);
}

}  // namespace kvwmi::ground::providers
