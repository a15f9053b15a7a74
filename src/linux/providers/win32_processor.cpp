#include <mutex>

#include "kvwmi/error.h"
#include "linux/parsers/cpuinfo.h"
#include "linux/parsers/scan.h"
#include "linux/parsers/smbios.h"
#include "linux/parsers/system_stat.h"
#include "linux/providers/factories.h"
#include "linux/providers/operating_system.h"
#include "linux/providers/processor_topology.h"
#include "linux/providers/row.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

/// The processor times at both ends of a window that ends now or ended a moment ago. A window is a quarter of
/// a second at least, for the counters step by 10 ms; who asks before one has passed waits for its end.
/// Questions in quick succession share one. A window that would begin too long ago is not now any more.
class LoadSampler {
 public:
  explicit LoadSampler(const Machine& machine) : machine_(machine), stat_(machine.proc + "/stat") {
    try {
      last_ = sample();
    } catch (const Error&) {
      // Said when somebody asks; till then the machine may tell.
    }
  }

  struct Window {
    std::vector<parsers::CpuTimes> begin;
    std::vector<parsers::CpuTimes> end;
  };

  Window window() {
    const std::lock_guard lock(mutex_);
    const std::chrono::nanoseconds age = machine_.running_time() - last_.taken;
    if (window_ && age < kShortest) return *window_;
    if (age > kLongest) last_ = sample();
    const std::chrono::nanoseconds missing = kShortest - (machine_.running_time() - last_.taken);
    if (missing > std::chrono::nanoseconds::zero())
      machine_.sleep(std::chrono::ceil<std::chrono::milliseconds>(missing));
    Sample now = sample();
    window_ = Window{std::move(last_.cpus), now.cpus};
    last_ = std::move(now);
    return *window_;
  }

 private:
  static constexpr std::chrono::milliseconds kShortest{250};
  static constexpr std::chrono::seconds kLongest{10};

  struct Sample {
    std::chrono::nanoseconds taken = -kLongest;
    std::vector<parsers::CpuTimes> cpus;
  };
  Sample sample() const { return {machine_.running_time(), parsers::parse_system_stat(stat_.read()).cpus}; }

  const Machine& machine_;
  KeptFile stat_;
  std::mutex mutex_;
  Sample last_;
  std::optional<Window> window_;
};

/// What is kept from one query to the next.
class Source {
 public:
  explicit Source(const Machine& of) : machine(of), load(of), stat_(of.proc + "/stat") {}

  const Machine& machine;
  LoadSampler load;

  /// That of the processors that are online now.
  std::shared_ptr<ProcessorTopology> topology() {
    std::vector<std::uint32_t> online;
    for (const auto& cpu : parsers::parse_system_stat(stat_.read()).cpus) online.push_back(cpu.cpu);
    const std::lock_guard lock(mutex_);
    if (!topology_ || topology_->online() != online) {
      topology_ = std::make_shared<ProcessorTopology>(machine, std::move(online));
    }
    return topology_;
  }

 private:
  KeptFile stat_;
  std::mutex mutex_;
  std::shared_ptr<ProcessorTopology> topology_;
};

/// What the rows of one query share; each may come to a thread of its own.
class Shared {
 public:
  explicit Shared(std::shared_ptr<Source> source)
      : source_(std::move(source)), topology_(source_->topology()) {}

  [[nodiscard]] const Machine& machine() const noexcept { return source_->machine; }
  [[nodiscard]] ProcessorTopology& topology() const noexcept { return *topology_; }

  const LoadSampler::Window& window() {
    std::call_once(window_once_, [&] { window_ = source_->load.window(); });
    return window_;
  }
  /// The present clock as the machine describes its processors.
  std::optional<std::uint64_t> megahertz(std::uint32_t cpu) {
    std::call_once(infos_once_, [&] {
      infos_ = parsers::parse_cpuinfo(read_file(machine().proc + "/cpuinfo").value_or(""));
    });
    const auto found =
        std::find_if(infos_.begin(), infos_.end(), [&](const auto& i) { return i.cpu == cpu; });
    return found == infos_.end() ? std::nullopt : found->megahertz;
  }

 private:
  std::shared_ptr<Source> source_;
  std::shared_ptr<ProcessorTopology> topology_;
  std::once_flag window_once_;
  LoadSampler::Window window_;
  std::once_flag infos_once_;
  std::vector<parsers::CpuInfo> infos_;
};

class Row final : public cim::Instance {
 public:
  Row(const cim::Class& schema, std::shared_ptr<Shared> shared, std::size_t index)
      : Instance(schema), shared_(std::move(shared)), index_(index) {}

  // NOLINTNEXTLINE(readability-make-member-function-const): readers of properties are not const
  Value device() { return Value("CPU" + std::to_string(index_)); }
  Value load() {
    const LoadSampler::Window& window = shared_->window();
    return or_null(parsers::load_percentage(window.begin, window.end, [&](std::uint32_t cpu) {
      return std::find(cpus().begin(), cpus().end(), cpu) != cpus().end();
    }));
  }
  Value logical_processors() { return number(cpus().size()); }
  Value cores() { return number(shared_->topology().cores(index_)); }
  Value current_clock() {
    const auto kilohertz = number_line("cpufreq/scaling_cur_freq");
    return kilohertz ? number(*kilohertz / 1000) : present_clock();
  }
  Value max_clock() {
    if (const auto kilohertz = number_line("cpufreq/cpuinfo_max_freq")) return number(*kilohertz / 1000);
    const auto highest = firmware().max_megahertz;
    return highest ? number(*highest) : present_clock();
  }
  Value external_clock() { return or_null(firmware().external_megahertz); }
  template <auto member>
  Value from_firmware() {
    const std::string& text = firmware().*member;
    return text.empty() ? Value() : Value(text);
  }
  template <std::uint64_t level>
  Value cache() {
    return or_null(shared_->topology().cache_kilobytes(index_, level));
  }

  Value name() { return text(&parsers::CpuInfo::model_name); }
  Value manufacturer() { return text(&parsers::CpuInfo::vendor); }
  Value caption() {
    const parsers::CpuInfo* cpu = info();
    if (cpu == nullptr || !cpu->family) return {};
    const std::string kind = cpu->vendor == "AuthenticAMD" ? "AMD64" : "Intel64";
    return Value(kind + " Family " + std::to_string(*cpu->family) + " Model " +
                 std::to_string(cpu->model.value_or(0)) + " Stepping " +
                 std::to_string(cpu->stepping.value_or(0)));
  }
  Value level() { return info() == nullptr ? Value() : or_null(info()->family); }
  Value stepping() {
    const parsers::CpuInfo* cpu = info();
    return cpu == nullptr || !cpu->stepping ? Value() : Value(std::to_string(*cpu->stepping));
  }
  Value revision() {
    const parsers::CpuInfo* cpu = info();
    return cpu == nullptr || !cpu->model ? Value() : number(*cpu->model << 8U | cpu->stepping.value_or(0));
  }
  template <Constant first, Constant second>
  Value has_flag() {
    const parsers::CpuInfo* cpu = info();
    if (cpu == nullptr || cpu->flags.empty()) return {};
    return Value(cpu->has_flag(first.characters) || cpu->has_flag(second.characters));
  }
  Value processor_id() { return or_null(shared_->machine().processor_id()); }
  Value computer() { return Value(computer_name(shared_->machine())); }
  Value architecture() {
#if defined(__x86_64__)
    return number(9U);
#elif defined(__i386__)
    return number(0U);
#elif defined(__aarch64__)
    return number(12U);
#elif defined(__arm__)
    return number(5U);
#else
    return {};
#endif
  }
  Value width() {
    return number(8 * sizeof(void*));
  }

 private:
  [[nodiscard]] const std::vector<std::uint32_t>& cpus() const {
    return shared_->topology().sockets()[index_];
  }
  [[nodiscard]] std::optional<std::uint64_t> number_line(const std::string& file) const {
    const auto found = read_line(shared_->machine().sys + "/devices/system/cpu/cpu" +
                                 std::to_string(cpus().front()) + "/" + file);
    return found ? parsers::to_number(*found) : std::nullopt;
  }
  [[nodiscard]] const parsers::ProcessorSocket& firmware() const {
    return shared_->topology().firmware(index_);
  }
  [[nodiscard]] const parsers::CpuInfo* info() const {
    return shared_->topology().info(index_);
  }
  Value text(std::string parsers::CpuInfo::*member) const {
    const parsers::CpuInfo* cpu = info();
    return cpu == nullptr || (cpu->*member).empty() ? Value() : Value(cpu->*member);
  }
  Value present_clock() const {
    return or_null(shared_->megahertz(cpus().front()));
  }

  std::shared_ptr<Shared> shared_;
  std::size_t index_;
};

using enum CimType;
using parsers::ProcessorSocket;

constexpr Property kProperties[]{
    {"AddressWidth", uint16, cim::kPlain, Cost::free, "Bits of an address: 32 or 64.",
     cim::reader<&Row::width>},
    {"Architecture", uint16, cim::kPlain, Cost::free, "0 x86, 5 ARM, 9 x64, 12 ARM64; NULL for others.",
     cim::reader<&Row::architecture>},
    {"AssetTag", string, cim::kPlain, Cost::read,
     "Asset tag of the processor, from the firmware; NULL without the right to read it.",
     cim::reader<&Row::from_firmware<&ProcessorSocket::asset_tag>>},
    {"Availability", uint16, cim::kPlain, Cost::free, "3: running at full power.", always_number<3>},
    {"Caption", string, cim::kPlain, Cost::read, "Family, model and stepping in words.",
     cim::reader<&Row::caption>},
    not_kept("Characteristics", uint32),
    not_kept("ConfigManagerErrorCode", uint32),
    not_kept("ConfigManagerUserConfig", boolean),
    {"CpuStatus", uint16, cim::kPlain, Cost::free, "1: enabled.", always_number<1>},
    {"CreationClassName", string, cim::kPlain, Cost::free, "Name of this class.", always<"Win32_Processor">},
    {"CurrentClockSpeed", uint32, cim::kPlain, Cost::read,
     "Present clock of the first logical processor in MHz.", cim::reader<&Row::current_clock>},
    not_kept("CurrentVoltage", uint16),
    {"DataWidth", uint16, cim::kPlain, Cost::free, "Bits of a word: 32 or 64.", cim::reader<&Row::width>},
    {"Description", string, cim::kPlain, Cost::read, "Family, model and stepping in words.",
     cim::reader<&Row::caption>},
    {"DeviceID", string, cim::kKey | cim::kNarrows, Cost::free, "\"CPU0\" and so on, one for each socket.",
     cim::reader<&Row::device>},
    not_kept("ErrorCleared", boolean),
    not_kept("ErrorDescription", string),
    {"ExtClock", uint32, cim::kPlain, Cost::read,
     "External clock in MHz, from the firmware; NULL without the right to read it.",
     cim::reader<&Row::external_clock>},
    not_kept("Family", uint16),
    not_kept("InstallDate", datetime),
    {"L2CacheSize", uint32, cim::kPlain, Cost::read, "All second-level caches of the socket in kilobytes.",
     cim::reader<&Row::cache<2>>},
    not_kept("L2CacheSpeed", uint32),
    {"L3CacheSize", uint32, cim::kPlain, Cost::read, "All third-level caches of the socket in kilobytes.",
     cim::reader<&Row::cache<3>>},
    not_kept("L3CacheSpeed", uint32),
    not_kept("LastErrorCode", uint32),
    {"Level", uint16, cim::kPlain, Cost::read, "Family number of an x86 processor.",
     cim::reader<&Row::level>},
    {"LoadPercentage", uint16, cim::kPlain, Cost::slow,
     "Share of time not idle, 0 to 100, over all logical processors of the socket and the last quarter of a "
     "second or more; waiting for a disk is idle.",
     cim::reader<&Row::load>},
    {"Manufacturer", string, cim::kPlain, Cost::read, "Maker as the processor names it.",
     cim::reader<&Row::manufacturer>},
    {"MaxClockSpeed", uint32, cim::kPlain, Cost::read,
     "Highest clock in MHz as the kernel sets it, else as the firmware tells it; "
     "the present one where none is known.",
     cim::reader<&Row::max_clock>},
    {"Name", string, cim::kPlain, Cost::read, "Model as the processor names it.", cim::reader<&Row::name>},
    {"NumberOfCores", uint32, cim::kPlain, Cost::read, "Cores of the socket that are online.",
     cim::reader<&Row::cores>},
    {"NumberOfEnabledCore", uint32, cim::kPlain, Cost::read, "Cores of the socket that are online.",
     cim::reader<&Row::cores>},
    {"NumberOfLogicalProcessors", uint32, cim::kPlain, Cost::free,
     "Logical processors of the socket that are online.", cim::reader<&Row::logical_processors>},
    not_kept("OtherFamilyDescription", string),
    {"PartNumber", string, cim::kPlain, Cost::read,
     "Part number of the processor, from the firmware; NULL without the right to read it.",
     cim::reader<&Row::from_firmware<&ProcessorSocket::part_number>>},
    not_kept("PNPDeviceID", string),
    not_kept("PowerManagementCapabilities", uint16, cim::kArray),
    {"PowerManagementSupported", boolean, cim::kPlain, Cost::free, "Always false.", always_false},
    {"ProcessorId", string, cim::kPlain, Cost::free,
     "Features and signature as 16 hexadecimal digits; NULL where processors have none.",
     cim::reader<&Row::processor_id>},
    {"ProcessorType", uint16, cim::kPlain, Cost::free, "3: central processor.", always_number<3>},
    {"Revision", uint16, cim::kPlain, Cost::read, "Model number times 256 and stepping.",
     cim::reader<&Row::revision>},
    {"Role", string, cim::kPlain, Cost::free, "\"CPU\".", always<"CPU">},
    {"SecondLevelAddressTranslationExtensions", boolean, cim::kPlain, Cost::read,
     "Whether guests of virtual machines get nested page tables.", cim::reader<&Row::has_flag<"ept", "npt">>},
    {"SerialNumber", string, cim::kPlain, Cost::read,
     "Serial number of the processor, from the firmware; NULL without the right to read it.",
     cim::reader<&Row::from_firmware<&ProcessorSocket::serial_number>>},
    {"SocketDesignation", string, cim::kPlain, Cost::read,
     "Name of the socket on the board, from the firmware; NULL without the right to read it.",
     cim::reader<&Row::from_firmware<&ProcessorSocket::designation>>},
    {"Status", string, cim::kPlain, Cost::free, "\"OK\".", always<"OK">},
    {"StatusInfo", uint16, cim::kPlain, Cost::free, "3: enabled.", always_number<3>},
    {"Stepping", string, cim::kPlain, Cost::read, "Stepping of the model.", cim::reader<&Row::stepping>},
    {"SystemCreationClassName", string, cim::kPlain, Cost::free, "Class of the computer.",
     always<"Win32_ComputerSystem">},
    {"SystemName", string, cim::kPlain, Cost::read, "Host name of the computer.",
     cim::reader<&Row::computer>},
    {"ThreadCount", uint32, cim::kPlain, Cost::free, "Logical processors of the socket that are online.",
     cim::reader<&Row::logical_processors>},
    not_kept("UniqueId", string),
    not_kept("UpgradeMethod", uint16),
    not_kept("Version", string),
    {"VirtualizationFirmwareEnabled", boolean, cim::kPlain, Cost::read,
     "Whether virtual machines can use the processor.", cim::reader<&Row::has_flag<"vmx", "svm">>},
    {"VMMonitorModeExtensions", boolean, cim::kPlain, Cost::read,
     "Whether virtual machines can use the processor.", cim::reader<&Row::has_flag<"vmx", "svm">>},
    not_kept("VoltageCaps", uint32),
};
constexpr std::size_t kDeviceId = column(kProperties, "DeviceID");

constexpr std::string_view kSuperclasses[]{"CIM_Processor", "CIM_LogicalDevice", "CIM_LogicalElement",
                                           "CIM_ManagedSystemElement"};
constexpr cim::Class kSchema{
    .name = "Win32_Processor",
    .superclasses = kSuperclasses,
    .description = "The processors of this machine, one row for each socket.",
    .properties = kProperties,
    .methods = {},
};

class Win32Processor final : public embedded::Provider {
 public:
  explicit Win32Processor(const Machine& machine) : source_(std::make_shared<Source>(machine)) {}

  const cim::Class& schema() const override { return kSchema; }

  void enumerate(const embedded::Request& request, const embedded::RowSink& sink) override {
    const auto shared = std::make_shared<Shared>(source_);
    for (std::size_t socket = 0; socket < shared->topology().sockets().size(); ++socket) {
      if (!admits(request, {kDeviceId}, "CPU" + std::to_string(socket))) continue;
      if (!sink(std::make_shared<Row>(kSchema, shared, socket))) return;
    }
  }

 private:
  std::shared_ptr<Source> source_;
};

}  // namespace

std::unique_ptr<embedded::Provider> make_win32_processor(const Machine& machine) {
  return std::make_unique<Win32Processor>(machine);
}

}  // namespace kvwmi::ground::providers
