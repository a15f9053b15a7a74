#include <cerrno>

#include "linux/drives.h"
#include "linux/parsers/scan.h"
#include "linux/parsers/system_stat.h"
#include "linux/providers/factories.h"
#include "linux/providers/operating_system.h"
#include "linux/providers/process_events.h"
#include "linux/providers/process_source.h"
#include "linux/providers/row.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

class Row final : public cim::Instance {
 public:
  Row(const cim::Class& schema, std::shared_ptr<const ProcessSource> source, pid_t pid,
      std::chrono::nanoseconds seen)
      : Instance(schema), files_(std::move(source), pid, seen) {}

  Value name() { return or_null(files_.name()); }
  Value handle() { return Value(std::to_string(files_.pid())); }
  Value process_id() { return number(static_cast<std::uint32_t>(files_.pid())); }
  Value executable_path() {
    const auto path = files_.executable();
    return path ? Value(machine().drives().table()->to_windows(*path)) : Value();
  }
  Value command_line() { return or_null(files_.command_line()); }
  Value creation_date() {
    const auto* stat = files_.stat();
    if (stat == nullptr) return {};
    const ProcessSource& source = files_.source();
    return datetime(source.machine(), source.since_1970(source.ticks_to_time(stat->start_ticks)));
  }

  Value execution_state() {
    const auto* stat = files_.stat();
    if (stat == nullptr) return {};
    switch (stat->state) {
      case 'R':
        return number(3U);
      case 'S':
      case 'D':
      case 'I':
        return number(4U);
      case 'T':
      case 't':
        return number(8U);
      case 'Z':
      case 'X':
        return number(7U);
      default:
        return number(1U);
    }
  }

  /// The base priorities of Windows' priority classes, which nice values are grouped into.
  Value priority() {
    const auto* stat = files_.stat();
    if (stat == nullptr) return {};
    if (stat->priority < 0) return number(24U);
    if (stat->nice <= -15) return number(13U);
    if (stat->nice < 0) return number(10U);
    if (stat->nice == 0) return number(8U);
    return number(stat->nice < 15 ? 6U : 4U);
  }

  Value page_faults() {
    const auto* stat = files_.stat();
    return stat == nullptr ? Value() : number((stat->minor_faults + stat->major_faults) & 0xFFFFFFFF);
  }
  Value private_bytes() {
    const auto resident = files_.status_number("RssAnon");
    const auto swapped = files_.status_number("VmSwap");
    return resident ? number((*resident + swapped.value_or(0)) * 1024) : Value();
  }
  Value working_set() { return or_null(files_.resident_bytes()); }
  Value virtual_size() {
    const auto* stat = files_.stat();
    return stat == nullptr || stat->has_ended() ? Value() : number(stat->virtual_size);
  }
  Value handle_count() { return or_null(files_.handles()); }
  Value session() { return or_null(files_.login_session()); }

  template <auto member>
  Value from_stat() {
    const auto* stat = files_.stat();
    return stat == nullptr ? Value() : number(stat->*member);
  }
  template <auto member>
  Value time_from_stat() {
    const auto* stat = files_.stat();
    return stat == nullptr ? Value() : number(files_.source().ticks_to_100ns(stat->*member));
  }
  /// Kilobytes, as the file has them, times `unit`.
  template <Constant field, std::uint64_t unit>
  Value from_status() {
    const auto kilobytes = files_.status_number(field.characters);
    return kilobytes ? number(*kilobytes * unit) : Value();
  }
  template <Constant field>
  Value from_io() {
    return or_null(files_.io_number(field.characters));
  }

  Value computer() { return Value(computer_name(machine())); }
  Value system() { return Value(system_name(machine())); }
  Value version() { return Value(system_version(machine())); }

  /// Win32_Process.Terminate(Reason): ended at once, whatever the reason.
  std::uint32_t terminate(std::span<const Value>) {
    constexpr std::uint32_t kAccessDenied = 2;
    constexpr std::uint32_t kUnknownFailure = 8;
    constexpr std::uint32_t kPathNotFound = 9;
    switch (files_.kill()) {
      case 0:
        return 0;
      case EPERM:
        return kAccessDenied;
      case ESRCH:
        return kPathNotFound;
      default:
        return kUnknownFailure;
    }
  }

 private:
  [[nodiscard]] const Machine& machine() const { return files_.source().machine(); }

  ProcessFiles files_;
};

using parsers::ProcessStat;
using enum CimType;

constexpr Property kProperties[]{
    {"Caption", string, cim::kPlain, Cost::read, "Name of the process, the same as Name.",
     cim::reader<&Row::name>},
    {"CommandLine", string, cim::kPlain, Cost::read,
     "Arguments the process was started with, quoted where needed; NULL for kernel threads and without the "
     "right to read them.",
     cim::reader<&Row::command_line>},
    {"CreationClassName", string, cim::kPlain, Cost::free, "Name of this class.", always<"Win32_Process">},
    {"CreationDate", datetime, cim::kPlain, Cost::read,
     "Moment the process started, in steps of 10 ms; never changes while it runs.",
     cim::reader<&Row::creation_date>},
    {"CSCreationClassName", string, cim::kPlain, Cost::free,
     "Class of the computer that the process runs on.", always<"Win32_ComputerSystem">},
    {"CSName", string, cim::kPlain, Cost::read, "Host name of the computer.", cim::reader<&Row::computer>},
    {"Description", string, cim::kPlain, Cost::read, "Name of the process, the same as Name.",
     cim::reader<&Row::name>},
    {"ExecutablePath", string, cim::kPlain, Cost::read,
     "Path of the program as the process itself sees it; NULL for kernel threads and without the right to "
     "read it.",
     cim::reader<&Row::executable_path>},
    {"ExecutionState", uint16, cim::kPlain, Cost::read,
     "What the process does: 1 other, 3 running, 4 waiting, 7 ended and not yet collected, 8 stopped.",
     cim::reader<&Row::execution_state>},
    {"Handle", string, cim::kKey | cim::kNarrows, Cost::free, "Number of the process as text.",
     cim::reader<&Row::handle>},
    {"HandleCount", uint32, cim::kPlain, Cost::slow,
     "Number of open file descriptors; NULL without the right to see them.", cim::reader<&Row::handle_count>},
    not_kept("InstallDate", datetime),
    {"KernelModeTime", uint64, cim::kPlain, Cost::read,
     "Processor time used in the kernel, in units of 100 ns.",
     cim::reader<&Row::time_from_stat<&ProcessStat::system_ticks>>},
    not_kept("MaximumWorkingSetSize", uint32),
    not_kept("MinimumWorkingSetSize", uint32),
    {"Name", string, cim::kNarrows | cim::kIdentifies, Cost::read,
     "Name the process runs under, as ps shows it, in full where the kernel keeps 15 bytes of it; NULL where "
     "it has ended and only those are left.",
     cim::reader<&Row::name>},
    {"OSCreationClassName", string, cim::kPlain, Cost::free, "Class of the operating system.",
     always<"Win32_OperatingSystem">},
    {"OSName", string, cim::kPlain, Cost::read, "Name of the operating system.", cim::reader<&Row::system>},
    not_kept("OtherOperationCount", uint64),
    not_kept("OtherTransferCount", uint64),
    {"PageFaults", uint32, cim::kPlain, Cost::read,
     "Page faults since the start, minor and major; wraps at 2^32.", cim::reader<&Row::page_faults>},
    {"PageFileUsage", uint32, cim::kPlain, Cost::read, "Memory swapped out, in kilobytes.",
     cim::reader<&Row::from_status<"VmSwap", 1>>},
    {"ParentProcessId", uint32, cim::kPlain, Cost::read, "Number of the parent process; 0 for one without.",
     cim::reader<&Row::from_stat<&ProcessStat::parent>>},
    not_kept("PeakPageFileUsage", uint32),
    {"PeakVirtualSize", uint64, cim::kPlain, Cost::read, "Greatest address space so far, in bytes.",
     cim::reader<&Row::from_status<"VmPeak", 1024>>},
    {"PeakWorkingSetSize", uint32, cim::kPlain, Cost::read, "Greatest working set so far, in kilobytes.",
     cim::reader<&Row::from_status<"VmHWM", 1>>},
    {"Priority", uint32, cim::kPlain, Cost::read,
     "Base priority by nice value: 4 idle, 6 below normal, 8 normal, 10 above normal, 13 high, 24 real time.",
     cim::reader<&Row::priority>},
    {"PrivatePageCount", uint64, cim::kPlain, Cost::read,
     "Memory that no other process shares, resident or swapped out, in bytes.",
     cim::reader<&Row::private_bytes>},
    {"ProcessId", uint32, cim::kNarrows, Cost::free, "Number of the process.", cim::reader<&Row::process_id>},
    not_kept("QuotaNonPagedPoolUsage", uint32),
    not_kept("QuotaPagedPoolUsage", uint32),
    not_kept("QuotaPeakNonPagedPoolUsage", uint32),
    not_kept("QuotaPeakPagedPoolUsage", uint32),
    {"ReadOperationCount", uint64, cim::kPlain, Cost::read,
     "Read calls since the start; NULL without the right to see them.", cim::reader<&Row::from_io<"syscr">>},
    {"ReadTransferCount", uint64, cim::kPlain, Cost::read,
     "Bytes read since the start; NULL without the right to see them.", cim::reader<&Row::from_io<"rchar">>},
    {"SessionId", uint32, cim::kPlain, Cost::read,
     "Login session of the process; 0 outside all sessions, as for services.", cim::reader<&Row::session>},
    not_kept("Status", string),
    not_kept("TerminationDate", datetime),
    {"ThreadCount", uint32, cim::kPlain, Cost::read, "Number of threads.",
     cim::reader<&Row::from_stat<&ProcessStat::threads>>},
    {"UserModeTime", uint64, cim::kPlain, Cost::read,
     "Processor time used outside the kernel, in units of 100 ns.",
     cim::reader<&Row::time_from_stat<&ProcessStat::user_ticks>>},
    {"VirtualSize", uint64, cim::kPlain, Cost::read, "Address space in bytes; NULL once it has ended.",
     cim::reader<&Row::virtual_size>},
    {"WindowsVersion", string, cim::kPlain, Cost::read, "Version of the operating system.",
     cim::reader<&Row::version>},
    {"WorkingSetSize", uint64, cim::kPlain, Cost::read,
     "Memory resident in RAM, shared pages included, in bytes; NULL once it has ended.",
     cim::reader<&Row::working_set>},
    {"WriteOperationCount", uint64, cim::kPlain, Cost::read,
     "Write calls since the start; NULL without the right to see them.", cim::reader<&Row::from_io<"syscw">>},
    {"WriteTransferCount", uint64, cim::kPlain, Cost::read,
     "Bytes written since the start; NULL without the right to see them.",
     cim::reader<&Row::from_io<"wchar">>},
};
constexpr std::size_t kName = column(kProperties, "Name");
constexpr std::size_t kHandle = column(kProperties, "Handle");
constexpr std::size_t kProcessId = column(kProperties, "ProcessId");

constexpr cim::Parameter kTerminateIn[]{{"Reason", uint32}};
constexpr cim::Method kMethods[]{
    {"Terminate", kTerminateIn,
     "Ends the process at once. 0 ended, 2 access denied, 8 unknown failure, 9 no such process any more.",
     cim::caller<&Row::terminate>},
};
constexpr std::string_view kSuperclasses[]{"CIM_Process", "CIM_LogicalElement", "CIM_ManagedSystemElement"};
constexpr cim::Class kSchema{
    .name = "Win32_Process",
    .superclasses = kSuperclasses,
    .description = "The processes of this machine, kernel threads included.",
    .properties = kProperties,
    .methods = kMethods,
};

class Win32Process final : public embedded::Provider {
 public:
  explicit Win32Process(const Machine& machine)
      : source_(std::make_shared<ProcessSource>(machine)), forks_(machine), events_(machine) {}

  const cim::Class& schema() const override { return kSchema; }

  void enumerate(const embedded::Request& request, const embedded::RowSink& sink) override {
    const Wanted wanted = wanted_by(request);
    const bool walk = request.any_of.empty() || !wanted.names.empty();
    const std::vector<pid_t> pids = walk ? source_->all() : source_->existing(wanted.pids);
    const std::chrono::nanoseconds seen = source_->machine().boot_time();
    for (const pid_t pid : pids) {
      std::optional<std::string> name;
      const bool by_pid = std::binary_search(wanted.pids.begin(), wanted.pids.end(), pid);
      if (!wanted.names.empty()) {
        name = source_->name_among(pid, wanted.names);
        if (!name && !by_pid) continue;
      }
      auto row = std::make_shared<Row>(kSchema, source_, pid, seen);
      if (name) row->set(kName, Value(*std::move(name)));
      if (!sink(std::move(row))) return;
    }
  }

  /// What is free to read never changes. A name does by exec, prctl and the end, which the kernel's events
  /// tell of.
  std::optional<std::uint64_t> change_token(std::span<const std::size_t> columns) override {
    bool named = false;
    for (const std::size_t column : columns) {
      if (column == kName) {
        named = true;
      } else if (kProperties[column].cost != Cost::free) {
        return std::nullopt;
      }
    }
    if (!named) return forks_.token(0);
    const auto events = events_.count();
    return events ? forks_.token(*events) : std::nullopt;
  }

 private:
  struct Wanted {
    std::vector<std::string_view> names;
    std::vector<pid_t> pids;  ///< ascending
  };

  static Wanted wanted_by(const embedded::Request& request) {
    Wanted wanted;
    for (const embedded::Equality& equality : request.any_of) {
      const auto* text = equality.constant.get_if<std::string>();
      const auto* pid = equality.constant.get_if<std::uint64_t>();
      if (equality.column == kName && text != nullptr) wanted.names.push_back(*text);
      if (equality.column == kHandle && text != nullptr) {
        if (const auto handle = parsers::to_number<pid_t>(*text)) wanted.pids.push_back(*handle);
      }
      if (equality.column == kProcessId && pid != nullptr && *pid <= INT32_MAX) {
        wanted.pids.push_back(static_cast<pid_t>(*pid));
      }
    }
    std::sort(wanted.pids.begin(), wanted.pids.end());
    wanted.pids.erase(std::unique(wanted.pids.begin(), wanted.pids.end()), wanted.pids.end());
    return wanted;
  }

  /// Forks since boot and threads at present: the kernel changes both at the very moment at which a process
  /// comes into sight or goes out of it.
  class Forks {
   public:
    explicit Forks(const Machine& machine)
        : stat_(machine.proc + "/stat"), load_(machine.proc + "/loadavg") {}

    /// `more` only grows, as the number of forks does: their sum is the same only where both are.
    std::optional<std::uint64_t> token(std::uint64_t more) const {
      // The two numbers stand in two files. They belong together if the one that costs little to read, which
      // tells the last fork too, is the same on both sides.
      const auto tasks = parsers::parse_tasks(load_.read());
      const std::uint64_t forks = parsers::parse_system_stat(stat_.read()).forks;
      if (!tasks || parsers::parse_tasks(load_.read()) != tasks) return std::nullopt;
      return (forks + more) << 24U ^ tasks->threads;
    }

   private:
    KeptFile stat_;
    KeptFile load_;
  };

  std::shared_ptr<const ProcessSource> source_;
  Forks forks_;
  ProcessEvents events_;
};

}  // namespace

std::unique_ptr<embedded::Provider> make_win32_process(const Machine& machine) {
  return std::make_unique<Win32Process>(machine);
}

}  // namespace kvwmi::ground::providers
