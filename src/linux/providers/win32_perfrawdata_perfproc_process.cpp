#include <map>
#include <mutex>

#include "frame/text.h"
#include "linux/parsers/scan.h"
#include "linux/parsers/system_stat.h"
#include "linux/providers/factories.h"
#include "linux/providers/process_source.h"
#include "linux/providers/row.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

/// Not a process: the sum of all.
constexpr std::string_view kTotalName = "_Total";
/// Not a process: the time in which no process runs.
constexpr std::string_view kIdleName = "Idle";

/// Gives the processes their instance names in the order of their numbers: the first of a name has it plain,
/// the others NAME#1, NAME#2. Names are told apart as queries do it, without case.
class InstanceNames {
 public:
  InstanceNames() : seen_{{fold_case(kTotalName), 1}, {fold_case(kIdleName), 1}} {}

  std::string next(const std::string& process_name) {
    const std::size_t before = seen_[fold_case(process_name)]++;
    return before == 0 ? process_name : process_name + "#" + std::to_string(before);
  }

 private:
  std::map<std::string, std::size_t> seen_;
};

struct Source {
  explicit Source(const Machine& machine)
      : processes(std::make_shared<ProcessSource>(machine)), stat(machine.proc + "/stat") {}

  [[nodiscard]] const Machine& machine() const { return processes->machine(); }

  std::shared_ptr<ProcessSource> processes;
  KeptFile stat;
};

/// What the rows of one query share; each may come to a thread of its own.
class Shared {
 public:
  explicit Shared(std::shared_ptr<Source> source) : source_(std::move(source)) {}

  [[nodiscard]] const Source& source() const noexcept { return *source_; }

  struct Found {
    std::vector<pid_t> pids;
    std::chrono::nanoseconds seen{};
  };
  /// Every process: the one pass over /proc of the query, made where a row needs it.
  const Found& all() {
    std::call_once(all_once_, [&] { all_ = seen_now(source_->processes->all()); });
    return all_;
  }
  [[nodiscard]] Found existing(std::vector<pid_t> pids) const {
    return seen_now(source_->processes->existing(std::move(pids)));
  }
  /// Needs a look at all processes, made at most once in a query and only for rows found by number.
  const std::map<pid_t, std::string>& names() {
    std::call_once(names_once_, [&] {
      InstanceNames names;
      for (const pid_t pid : all().pids) {
        if (const auto name = source_->processes->name(pid)) names_[pid] = names.next(*name);
      }
    });
    return names_;
  }

 private:
  [[nodiscard]] Found seen_now(std::vector<pid_t> pids) const {
    return {std::move(pids), source_->machine().boot_time()};
  }

  std::shared_ptr<Source> source_;
  std::once_flag all_once_;
  Found all_;
  std::once_flag names_once_;
  std::map<pid_t, std::string> names_;
};

enum class Kind : std::uint8_t { process, idle, total };

class Row final : public cim::Instance {
 public:
  Row(const cim::Class& schema, std::shared_ptr<Shared> shared, Kind kind, pid_t pid = 0,
      std::chrono::nanoseconds seen = {})
      : Instance(schema),
        shared_(std::move(shared)),
        kind_(kind),
        files_(shared_->source().processes, pid, seen) {}

  Value name() {
    if (kind_ == Kind::total) return Value(std::string(kTotalName));
    if (kind_ == Kind::idle) return Value(std::string(kIdleName));
    const auto found = shared_->names().find(files_.pid());
    return found == shared_->names().end() ? Value() : Value(found->second);
  }
  Value process_id() { return number(static_cast<std::uint32_t>(files_.pid())); }

  Value processor_time() {
    const Source& source = shared_->source();
    if (kind_ == Kind::process) return or_null(files_.cpu_100ns());
    const parsers::SystemStat stat = parsers::parse_system_stat(source.stat.read());
    if (kind_ == Kind::total) {
      // All processors all the time: to the nanosecond, which the ticks of the kernel's counters are not.
      return number(stat.cpus.size() *
                    static_cast<std::uint64_t>(source.machine().running_time().count() / 100));
    }
    std::uint64_t idle = 0;
    for (const parsers::CpuTimes& cpu : stat.cpus) idle += cpu.idle;
    return number(source.processes->ticks_to_100ns(idle));
  }

  /// A counter that idle time has none of and the total is the sum of.
  template <std::optional<std::uint64_t> (Row::*own)()>
  Value counter() {
    if (kind_ == Kind::process) return or_null((this->*own)());
    std::uint64_t sum = 0;
    if (kind_ == Kind::total) {
      for (const auto& process : processes()) sum += ((*process).*own)().value_or(0);
    }
    return number(sum);
  }
  /// What only a process has.
  template <std::optional<std::uint64_t> (Row::*own)()>
  Value of_process() {
    return kind_ == Kind::process ? or_null((this->*own)()) : number(0U);
  }

  template <auto member>
  std::optional<std::uint64_t> from_stat() {
    const parsers::ProcessStat* stat = files_.stat();
    if (stat == nullptr) return std::nullopt;
    return stat->*member;
  }
  template <auto member>
  std::optional<std::uint64_t> time_from_stat() {
    const auto ticks = from_stat<member>();
    if (!ticks) return std::nullopt;
    return files_.source().ticks_to_100ns(*ticks);
  }
  template <Constant field>
  std::optional<std::uint64_t> bytes_from_status() {
    const auto kilobytes = files_.status_number(field.characters);
    if (!kilobytes) return std::nullopt;
    return *kilobytes * 1024;
  }
  template <Constant field>
  std::optional<std::uint64_t> from_io() {
    return files_.io_number(field.characters);
  }
  template <Constant first, Constant second>
  std::optional<std::uint64_t> sum_from_io() {
    const auto a = files_.io_number(first.characters);
    const auto b = files_.io_number(second.characters);
    if (!a || !b) return std::nullopt;
    return *a + *b;
  }
  std::optional<std::uint64_t> page_faults() {
    const parsers::ProcessStat* stat = files_.stat();
    if (stat == nullptr) return std::nullopt;
    return (stat->minor_faults + stat->major_faults) & 0xFFFFFFFF;
  }
  std::optional<std::uint64_t> private_bytes() {
    const auto resident = bytes_from_status<"RssAnon">();
    if (!resident) return std::nullopt;
    return *resident + bytes_from_status<"VmSwap">().value_or(0);
  }
  std::optional<std::uint64_t> working_set() { return files_.resident_bytes(); }
  std::optional<std::uint64_t> handles() { return files_.handles(); }
  std::optional<std::uint64_t> started() {
    const parsers::ProcessStat* stat = files_.stat();
    if (stat == nullptr) return std::nullopt;
    return file_time(files_.source().since_1970(files_.source().ticks_to_time(stat->start_ticks)));
  }

  Value now() { return number(file_time(shared_->source().machine().wall_time())); }
  Value performance_time() {
    return number(static_cast<std::uint64_t>(shared_->source().machine().running_time().count()));
  }

 private:
  /// What a total is the sum of. Kept, so that all its sums together read each file once.
  const std::vector<std::unique_ptr<Row>>& processes() {
    if (processes_.empty()) {
      const auto& [pids, seen] = shared_->all();
      for (const pid_t pid : pids) {
        processes_.push_back(std::make_unique<Row>(schema(), shared_, Kind::process, pid, seen));
      }
    }
    return processes_;
  }

  /// Units of 100 ns since 1601.
  static std::uint64_t file_time(std::chrono::microseconds since_1970) {
    constexpr std::uint64_t kSeconds1601To1970 = 11'644'473'600;
    return kSeconds1601To1970 * 10'000'000 + static_cast<std::uint64_t>(since_1970.count()) * 10;
  }

  std::shared_ptr<Shared> shared_;
  Kind kind_;
  ProcessFiles files_;
  std::vector<std::unique_ptr<Row>> processes_;
};

using parsers::ProcessStat;
using enum CimType;

template <std::optional<std::uint64_t> (Row::*own)()>
constexpr auto counter = cim::reader<&Row::counter<own>>;

constexpr Property kProperties[]{
    not_kept("Caption", string),
    {"CreatingProcessID", uint32, cim::kPlain, Cost::read, "Number of the parent process.",
     cim::reader<&Row::of_process<&Row::from_stat<&ProcessStat::parent>>>},
    not_kept("Description", string),
    {"ElapsedTime", uint64, cim::kPlain, Cost::read,
     "Moment of the start, as Timestamp_Object counts: their difference is the age.",
     cim::reader<&Row::of_process<&Row::started>>},
    {"Frequency_Object", uint64, cim::kPlain, Cost::free, "Steps of Timestamp_Object in a second.",
     always_number<10'000'000>},
    {"Frequency_PerfTime", uint64, cim::kPlain, Cost::free, "Steps of Timestamp_PerfTime in a second.",
     always_number<1'000'000'000>},
    {"Frequency_Sys100NS", uint64, cim::kPlain, Cost::free, "Steps of Timestamp_Sys100NS in a second.",
     always_number<10'000'000>},
    {"HandleCount", uint32, cim::kPlain, Cost::slow, "Open file descriptors.", counter<&Row::handles>},
    {"IDProcess", uint32, cim::kNarrows, Cost::free, "Number of the process; 0 for Idle and _Total.",
     cim::reader<&Row::process_id>},
    {"IODataBytesPersec", uint64, cim::kPlain, Cost::read, "Bytes read and written since the start.",
     counter<&Row::sum_from_io<"rchar", "wchar">>},
    {"IODataOperationsPersec", uint64, cim::kPlain, Cost::read, "Read and write calls since the start.",
     counter<&Row::sum_from_io<"syscr", "syscw">>},
    not_kept("IOOtherBytesPersec", uint64),
    not_kept("IOOtherOperationsPersec", uint64),
    {"IOReadBytesPersec", uint64, cim::kPlain, Cost::read, "Bytes read since the start.",
     counter<&Row::from_io<"rchar">>},
    {"IOReadOperationsPersec", uint64, cim::kPlain, Cost::read, "Read calls since the start.",
     counter<&Row::from_io<"syscr">>},
    {"IOWriteBytesPersec", uint64, cim::kPlain, Cost::read, "Bytes written since the start.",
     counter<&Row::from_io<"wchar">>},
    {"IOWriteOperationsPersec", uint64, cim::kPlain, Cost::read, "Write calls since the start.",
     counter<&Row::from_io<"syscw">>},
    {"Name", string, cim::kKey | cim::kNarrows, Cost::read,
     "Name of the process, NAME#1 and so on for further ones of the same name; _Total for the sum of all, "
     "Idle for "
     "the time that no process uses.",
     cim::reader<&Row::name>},
    {"PageFaultsPersec", uint32, cim::kPlain, Cost::read, "Page faults since the start, minor and major.",
     counter<&Row::page_faults>},
    {"PageFileBytes", uint64, cim::kPlain, Cost::read, "Memory swapped out, in bytes.",
     counter<&Row::bytes_from_status<"VmSwap">>},
    not_kept("PageFileBytesPeak", uint64),
    {"PercentPrivilegedTime", uint64, cim::kPlain, Cost::read,
     "Processor time used in the kernel since the start, in units of 100 ns and steps of 10 ms.",
     counter<&Row::time_from_stat<&ProcessStat::system_ticks>>},
    {"PercentProcessorTime", uint64, cim::kPlain, Cost::read,
     "Processor time used since the start in units of 100 ns, all threads together; _Total is all "
     "processors' time.",
     cim::reader<&Row::processor_time>},
    {"PercentUserTime", uint64, cim::kPlain, Cost::read,
     "Processor time used outside the kernel since the start, in units of 100 ns and steps of 10 ms.",
     counter<&Row::time_from_stat<&ProcessStat::user_ticks>>},
    not_kept("PoolNonpagedBytes", uint32),
    not_kept("PoolPagedBytes", uint32),
    not_kept("PriorityBase", uint32),
    {"PrivateBytes", uint64, cim::kPlain, Cost::read,
     "Memory that no other process shares, resident or swapped out, in bytes.", counter<&Row::private_bytes>},
    {"ThreadCount", uint32, cim::kPlain, Cost::read, "Number of threads.",
     counter<&Row::from_stat<&ProcessStat::threads>>},
    {"Timestamp_Object", uint64, cim::kPlain, Cost::free, "Wall clock in units of 100 ns since 1601.",
     cim::reader<&Row::now>},
    {"Timestamp_PerfTime", uint64, cim::kPlain, Cost::free, "Time the machine has run, in nanoseconds.",
     cim::reader<&Row::performance_time>},
    {"Timestamp_Sys100NS", uint64, cim::kPlain, Cost::free, "Wall clock in units of 100 ns since 1601.",
     cim::reader<&Row::now>},
    {"VirtualBytes", uint64, cim::kPlain, Cost::read, "Address space in bytes.",
     counter<&Row::from_stat<&ProcessStat::virtual_size>>},
    {"VirtualBytesPeak", uint64, cim::kPlain, Cost::read, "Greatest address space so far, in bytes.",
     counter<&Row::bytes_from_status<"VmPeak">>},
    {"WorkingSet", uint64, cim::kPlain, Cost::read,
     "Memory resident in RAM, shared pages included, in bytes.", counter<&Row::working_set>},
    {"WorkingSetPeak", uint64, cim::kPlain, Cost::read, "Greatest working set so far, in bytes.",
     counter<&Row::bytes_from_status<"VmHWM">>},
    {"WorkingSetPrivate", uint64, cim::kPlain, Cost::read,
     "Resident memory that no other process shares, in bytes.", counter<&Row::bytes_from_status<"RssAnon">>},
};
constexpr std::size_t kName = column(kProperties, "Name");
constexpr std::size_t kProcessId = column(kProperties, "IDProcess");

constexpr std::string_view kSuperclasses[]{"Win32_PerfRawData", "Win32_Perf", "CIM_StatisticalInformation"};
constexpr cim::Class kSchema{
    .name = "Win32_PerfRawData_PerfProc_Process",
    .superclasses = kSuperclasses,
    .description =
        "Raw counters of every process, of idle time and of all together; rates follow from two samples.",
    .properties = kProperties,
    .methods = {},
};

/// What the equalities of a query ask for.
struct Wanted {
  explicit Wanted(const embedded::Request& request) : all(request.any_of.empty()), idle(all), total(all) {
    for (const embedded::Equality& equality : request.any_of) {
      if (const auto* name = equality.constant.get_if<std::string>();
          equality.column == kName && name != nullptr) {
        add(*name);
      }
      if (const auto* pid = equality.constant.get_if<std::uint64_t>();
          equality.column == kProcessId && pid != nullptr) {
        idle = idle || *pid == 0;
        total = total || *pid == 0;
        if (*pid != 0 && *pid <= INT32_MAX) pids.push_back(static_cast<pid_t>(*pid));
      }
    }
    std::sort(pids.begin(), pids.end());
    pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
  }

  [[nodiscard]] bool has(pid_t pid) const { return std::binary_search(pids.begin(), pids.end(), pid); }

  bool all;
  bool idle;
  bool total;
  std::vector<std::string_view> names;  ///< of processes, as they run
  std::vector<pid_t> pids;              ///< ascending

 private:
  void add(std::string_view name) {
    if (equals_ignoring_case(name, kTotalName)) {
      total = true;
    } else if (equals_ignoring_case(name, kIdleName)) {
      idle = true;
    } else {
      names.push_back(name);
      // NAME#2 is a further process of that name, unless the process itself is called so.
      if (const std::size_t mark = name.rfind('#'); mark != std::string_view::npos) {
        names.push_back(name.substr(0, mark));
      }
    }
  }
};

class Win32PerfRawDataPerfProcProcess final : public embedded::Provider {
 public:
  explicit Win32PerfRawDataPerfProcProcess(const Machine& machine)
      : source_(std::make_shared<Source>(machine)) {}

  const cim::Class& schema() const override { return kSchema; }

  void enumerate(const embedded::Request& request, const embedded::RowSink& sink) override {
    const Wanted wanted(request);
    const auto shared = std::make_shared<Shared>(source_);
    if (wanted.idle && !sink(std::make_shared<Row>(kSchema, shared, Kind::idle))) return;

    const bool needs_names =
        std::find(request.columns.begin(), request.columns.end(), kName) != request.columns.end();
    const bool walk = wanted.all || !wanted.names.empty();
    const bool name_them = !wanted.names.empty() || (wanted.all && needs_names);
    InstanceNames names;
    const auto [pids, seen] = walk ? shared->all() : shared->existing(wanted.pids);
    for (const pid_t pid : pids) {
      std::optional<std::string> name;
      if (name_them) name = source_->processes->name_among(pid, wanted.names);
      if (!wanted.all && !name && !wanted.has(pid)) continue;
      auto row = std::make_shared<Row>(kSchema, shared, Kind::process, pid, seen);
      if (name) row->set(kName, Value(names.next(*name)));
      if (!sink(std::move(row))) return;
    }
    if (wanted.total) sink(std::make_shared<Row>(kSchema, shared, Kind::total));
  }

 private:
  std::shared_ptr<Source> source_;
};

}  // namespace

std::unique_ptr<embedded::Provider> make_win32_perfrawdata_perfproc_process(const Machine& machine) {
  return std::make_unique<Win32PerfRawDataPerfProcProcess>(machine);
}

}  // namespace kvwmi::ground::providers
