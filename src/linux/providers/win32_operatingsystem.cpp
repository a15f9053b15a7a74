#include <unistd.h>

#include "linux/parsers/field_file.h"
#include "linux/parsers/scan.h"
#include "linux/parsers/system_stat.h"
#include "linux/providers/factories.h"
#include "linux/providers/failure.h"
#include "linux/providers/login_manager.h"
#include "linux/providers/operating_system.h"
#include "linux/providers/process_source.h"
#include "linux/providers/row.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

/// What the rows read from, open from the first query to the last.
struct Source {
  explicit Source(const Machine& of)
      : machine(of), memory(of.proc + "/meminfo"), stat(of.proc + "/stat"), processes(of), logins(of) {}

  const Machine& machine;
  KeptFile memory;
  KeptFile stat;
  ProcessSource processes;
  LoginManager logins;
};

class Row final : public cim::Instance {
 public:
  Row(const cim::Class& schema, std::shared_ptr<Source> source)
      : Instance(schema), source_(std::move(source)) {}

  /// Kilobytes of one or the sum of two lines of /proc/meminfo.
  template <Constant field>
  Value memory() {
    return or_null(parsers::number_field(memory_text(), field.characters));
  }
  template <Constant first, Constant second>
  Value memory_sum() {
    const auto a = parsers::number_field(memory_text(), first.characters);
    const auto b = parsers::number_field(memory_text(), second.characters);
    return a && b ? number(*a + *b) : Value();
  }

  Value last_boot() {
    const std::uint64_t boot = parsers::parse_system_stat(source_->stat.read()).boot_time;
    return datetime(source_->machine, std::chrono::seconds(boot));
  }
  Value local_time() { return datetime(source_->machine, source_->machine.wall_time()); }
  Value time_zone() {
    const auto now = std::chrono::floor<std::chrono::seconds>(source_->machine.wall_time());
    return Value(std::int64_t{source_->machine.utc_offset(now.count()).count()});
  }
  Value name() { return Value(system_name(source_->machine)); }
  Value version() { return Value(system_version(source_->machine)); }
  Value build() { return Value(kernel_release(source_->machine)); }
  Value computer() { return Value(computer_name(source_->machine)); }
  Value architecture() { return Value(sizeof(void*) == 8 ? "64-bit" : "32-bit"); }
  Value processes() { return number(source_->processes.all().size()); }
  Value users() { return or_null(source_->logins.sessions()); }
  Value process_limit() {
    const auto text = read_line(source_->machine.proc + "/sys/kernel/pid_max");
    return text ? or_null(parsers::to_number(*text)) : Value();
  }

  std::uint32_t reboot(std::span<const Value>) { return source_->logins.shut_down(Shutdown::reboot, false); }
  std::uint32_t win32_shutdown(std::span<const Value> arguments);

 private:
  const std::string& memory_text() {
    if (memory_text_.empty()) memory_text_ = source_->memory.read();
    return memory_text_;
  }

  std::shared_ptr<Source> source_;
  std::string memory_text_;
};

std::uint32_t Row::win32_shutdown(std::span<const Value> arguments) {
  constexpr std::int64_t kForced = 4;
  constexpr std::uint32_t kInvalidParameter = 87;
  // What was left out is no wish to be logged off.
  const auto* flags = arguments.empty() ? nullptr : arguments.front().get_if<std::int64_t>();
  if (flags == nullptr) return kInvalidParameter;
  const bool forced = (*flags & kForced) != 0;
  switch (*flags & ~kForced) {
    case 0:
      return source_->logins.log_off();
    case 1:
      return source_->logins.shut_down(Shutdown::halt, forced);
    case 2:
      return source_->logins.shut_down(Shutdown::reboot, forced);
    case 8:
      return source_->logins.shut_down(Shutdown::power_off, forced);
    default:
      return kInvalidParameter;
  }
}

using enum CimType;

constexpr Property kProperties[]{
    not_kept("BootDevice", string),
    {"BuildNumber", string, cim::kPlain, Cost::read, "Release of the running kernel.",
     cim::reader<&Row::build>},
    not_kept("BuildType", string),
    {"Caption", string, cim::kPlain, Cost::read, "Name of the distribution with its version.",
     cim::reader<&Row::name>},
    not_kept("CodeSet", string),
    not_kept("CountryCode", string),
    {"CreationClassName", string, cim::kPlain, Cost::free, "Name of this class.",
     always<"Win32_OperatingSystem">},
    {"CSCreationClassName", string, cim::kPlain, Cost::free, "Class of the computer.",
     always<"Win32_ComputerSystem">},
    not_kept("CSDVersion", string),
    {"CSName", string, cim::kPlain, Cost::read, "Host name of the computer.", cim::reader<&Row::computer>},
    {"CurrentTimeZone", sint16, cim::kPlain, Cost::free, "Minutes by which local time is ahead of UTC.",
     cim::reader<&Row::time_zone>},
    not_kept("Debug", boolean),
    {"Description", string, cim::kPlain, Cost::free, "Empty: nobody described the computer.", always<"">},
    {"Distributed", boolean, cim::kPlain, Cost::free, "False: the system runs on one computer.",
     always_false},
    {"FreePhysicalMemory", uint64, cim::kPlain, Cost::read,
     "Memory that programs can have without swapping, caches that would be given up included, in kilobytes.",
     cim::reader<&Row::memory<"MemAvailable">>},
    {"FreeSpaceInPagingFiles", uint64, cim::kPlain, Cost::read, "Free swap space in kilobytes.",
     cim::reader<&Row::memory<"SwapFree">>},
    {"FreeVirtualMemory", uint64, cim::kPlain, Cost::read,
     "Free physical memory and free swap space together, in kilobytes.",
     cim::reader<&Row::memory_sum<"MemAvailable", "SwapFree">>},
    not_kept("InstallDate", datetime),
    {"LastBootUpTime", datetime, cim::kPlain, Cost::read,
     "Moment the machine was started, to the second; in a container that of its host.",
     cim::reader<&Row::last_boot>},
    {"LocalDateTime", datetime, cim::kPlain, Cost::free, "Date and time of the machine's clock.",
     cim::reader<&Row::local_time>},
    not_kept("Locale", string),
    {"Manufacturer", string, cim::kPlain, Cost::free, "Always NULL: a distribution has no single maker.",
     nullptr},
    {"MaxNumberOfProcesses", uint32, cim::kPlain, Cost::read, "Greatest number that a process can get.",
     cim::reader<&Row::process_limit>},
    not_kept("MaxProcessMemorySize", uint64),
    {"Name", string, cim::kKey, Cost::read, "Name of the distribution with its version, the same as Caption.",
     cim::reader<&Row::name>},
    not_kept("NumberOfLicensedUsers", uint32),
    {"NumberOfProcesses", uint32, cim::kPlain, Cost::slow, "Number of processes.",
     cim::reader<&Row::processes>},
    {"NumberOfUsers", uint32, cim::kPlain, Cost::slow,
     "Number of login sessions; NULL where no login manager runs.", cim::reader<&Row::users>},
    {"OSArchitecture", string, cim::kPlain, Cost::free, R"("64-bit" or "32-bit".)",
     cim::reader<&Row::architecture>},
    {"OSType", uint16, cim::kPlain, Cost::free, "Kind of system: 36, Linux.", always_number<36>},
    not_kept("OtherTypeDescription", string),
    {"Primary", boolean, cim::kPlain, Cost::free, "True: this is the system that runs.",
     +[](cim::Instance&) -> Value { return Value(true); }},
    not_kept("RegisteredUser", string),
    not_kept("SerialNumber", string),
    {"SizeStoredInPagingFiles", uint64, cim::kPlain, Cost::read, "Swap space in kilobytes.",
     cim::reader<&Row::memory<"SwapTotal">>},
    {"Status", string, cim::kPlain, Cost::free, "\"OK\" while the system runs.", always<"OK">},
    {"SystemDirectory", string, cim::kPlain, Cost::free, "Folder of the system's own programs.",
     always<R"(C:\usr\bin)">},
    {"SystemDrive", string, cim::kPlain, Cost::free, "Drive that the root file system is found under.",
     always<"C:">},
    {"TotalVirtualMemorySize", uint64, cim::kPlain, Cost::read,
     "Physical memory and swap space together, in kilobytes.",
     cim::reader<&Row::memory_sum<"MemTotal", "SwapTotal">>},
    {"TotalVisibleMemorySize", uint64, cim::kPlain, Cost::read,
     "Physical memory that the system can use, in kilobytes.", cim::reader<&Row::memory<"MemTotal">>},
    {"Version", string, cim::kPlain, Cost::read, "Version of the distribution.", cim::reader<&Row::version>},
    {"WindowsDirectory", string, cim::kPlain, Cost::free, "Root folder of the system.", always<R"(C:\)">},
};

constexpr cim::Parameter kShutdownIn[]{{"Flags", sint32}, {"Reserved", sint32}};
constexpr cim::Method kMethods[]{
    {"Reboot",
     {},
     "Restarts the machine. 0 accepted; \"Privilege not held \" without the right to and where somebody asks "
     "to wait.",
     cim::caller<&Row::reboot>},
    {"Win32Shutdown", kShutdownIn,
     "Flags 0 logs the interactive user off, 1 halts, 2 restarts, 8 powers off; "
     "4 more forces it against those who ask to wait, which else is \"Privilege not held \". "
     "0 accepted, 87 for other flags or none, 1312 when nobody is logged on.",
     cim::caller<&Row::win32_shutdown>},
};
constexpr std::string_view kSuperclasses[]{"CIM_OperatingSystem", "CIM_LogicalElement",
                                           "CIM_ManagedSystemElement"};
constexpr cim::Class kSchema{
    .name = "Win32_OperatingSystem",
    .superclasses = kSuperclasses,
    .description = "The operating system that runs on this machine: one row.",
    .properties = kProperties,
    .methods = kMethods,
};

class Win32OperatingSystem final : public embedded::Provider {
 public:
  explicit Win32OperatingSystem(const Machine& machine) : source_(std::make_shared<Source>(machine)) {}

  const cim::Class& schema() const override { return kSchema; }
  void enumerate(const embedded::Request&, const embedded::RowSink& sink) override {
    sink(std::make_shared<Row>(kSchema, source_));
  }

 private:
  std::shared_ptr<Source> source_;
};

}  // namespace

std::unique_ptr<embedded::Provider> make_win32_operatingsystem(const Machine& machine) {
  return std::make_unique<Win32OperatingSystem>(machine);
}

}  // namespace kvwmi::ground::providers
