#include "linux/drives.h"
#include "linux/providers/bounded_calls.h"
#include "linux/providers/factories.h"
#include "linux/providers/operating_system.h"
#include "linux/providers/row.h"
#include "linux/providers/volume_facts.h"

namespace kvwmi::ground::providers {
namespace {

/// Longest wait for a file system that another machine or a process answers for.
constexpr std::chrono::seconds kAnswerLimit{2};

struct Space {
  int error = 0;
  VolumeSpace sizes;
};

struct Source {
  explicit Source(const Machine& of) : machine(of), spaces(kAnswerLimit), facts(kAnswerLimit) {}

  Space space_of(const Drive& drive) {
    return asked(drive, spaces,
                 [question = machine.volume_space, path = machine.root + drive.mount.mount_point] {
                   Space space;
                   space.error = question(path, space.sizes);
                   return space;
                 });
  }
  VolumeFacts facts_of(const Drive& drive) {
    return asked(drive, facts,
                 [root = machine.root, mount = drive.mount] { return volume_facts(root, mount); });
  }

  const Machine& machine;

 private:
  template <typename Answer, typename Question>
  static Answer asked(const Drive& drive, BoundedCalls<Answer>& bounded, Question question) {
    if (!drive.may_hang) return question();
    // What is mounted anew at the place of a dead one is another volume.
    return bounded.call(drive.mount.device + ' ' + drive.mount.mount_point, std::move(question));
  }

  BoundedCalls<Space> spaces;
  BoundedCalls<VolumeFacts> facts;
};

class Row final : public cim::Instance {
 public:
  Row(const cim::Class& schema, std::shared_ptr<Source> source, std::shared_ptr<const DriveTable> table,
      const Drive& drive)
      : Instance(schema), source_(std::move(source)), table_(std::move(table)), drive_(drive) {}

  // NOLINTBEGIN(readability-make-member-function-const): readers of properties are not const
  Value device() { return Value(drive_.name()); }
  Value access() { return number(drive_.mount.read_only ? 1U : 3U); }
  Value drive_type() { return number(static_cast<std::uint32_t>(drive_.type)); }
  Value description() {
    switch (drive_.type) {
      case DriveType::removable:
        return Value("Removable Disk");
      case DriveType::fixed:
        return Value("Local Fixed Disk");
      case DriveType::network:
        return Value("Network Connection");
      case DriveType::optical:
        return Value("CD-ROM Disc");
      case DriveType::memory:
        return Value("RAM Disk");
    }
    return {};
  }
  Value media_type() {
    switch (drive_.type) {
      case DriveType::fixed:
        return number(12U);
      case DriveType::removable:
      case DriveType::optical:
        return number(11U);
      default:
        return number(0U);
    }
  }
  Value provider() { return drive_.type == DriveType::network ? Value(drive_.mount.source) : Value(); }
  Value mount_point() { return Value(drive_.mount.mount_point); }
  // NOLINTEND(readability-make-member-function-const)

  Value file_system() { return text(facts().file_system); }
  Value label() { return text(facts().label); }
  Value serial() { return text(facts().serial); }

  template <auto member>
  Value space() {
    if (!space_) space_ = source_->space_of(drive_);
    return space_->error == 0 ? number(space_->sizes.*member) : Value();
  }
  Value computer() { return Value(computer_name(source_->machine)); }

 private:
  static Value text(const std::string& known) { return known.empty() ? Value() : Value(known); }
  const VolumeFacts& facts() {
    if (!facts_) facts_ = source_->facts_of(drive_);
    return *facts_;
  }

  std::shared_ptr<Source> source_;
  std::shared_ptr<const DriveTable> table_;  ///< holds the drive
  const Drive& drive_;
  std::optional<Space> space_;
  std::optional<VolumeFacts> facts_;
};

using enum CimType;

constexpr Property kProperties[]{
    {"Access", uint16, cim::kPlain, Cost::free, "1 read only, 3 read and write.", cim::reader<&Row::access>},
    not_kept("Availability", uint16),
    not_kept("BlockSize", uint64),
    {"Caption", string, cim::kPlain, Cost::free, "Letter and colon, the same as DeviceID.",
     cim::reader<&Row::device>},
    not_kept("Compressed", boolean),
    not_kept("ConfigManagerErrorCode", uint32),
    not_kept("ConfigManagerUserConfig", boolean),
    {"CreationClassName", string, cim::kPlain, Cost::free, "Name of this class.",
     always<"Win32_LogicalDisk">},
    {"Description", string, cim::kPlain, Cost::free, "Kind of drive in words.",
     cim::reader<&Row::description>},
    {"DeviceID", string, cim::kKey | cim::kNarrows, Cost::free,
     "Letter and colon: \"C:\" is the root; every other volume keeps the letter that it was first given.",
     cim::reader<&Row::device>},
    {"DriveType", uint32, cim::kPlain, Cost::free,
     "2 removable, 3 local disk, 4 network, 5 optical, 6 RAM disk.", cim::reader<&Row::drive_type>},
    not_kept("ErrorCleared", boolean),
    not_kept("ErrorDescription", string),
    not_kept("ErrorMethodology", string),
    {"FileSystem", string, cim::kPlain, Cost::read,
     "File system, in Windows' spelling where Windows has it (NTFS, FAT32, CDFS), else the kernel's.",
     cim::reader<&Row::file_system>},
    {"FreeSpace", uint64, cim::kPlain, Cost::read,
     "Space that users without special rights can fill, in bytes.",
     cim::reader<&Row::space<&VolumeSpace::free>>},
    not_kept("InstallDate", datetime),
    not_kept("LastErrorCode", uint32),
    {"MaximumComponentLength", uint32, cim::kPlain, Cost::read, "Longest file name, in bytes.",
     cim::reader<&Row::space<&VolumeSpace::name_length>>},
    {"MediaType", uint32, cim::kPlain, Cost::free,
     "12 fixed disk, 11 removable or optical medium, 0 none of them.", cim::reader<&Row::media_type>},
    {"Name", string, cim::kNarrows, Cost::free, "Letter and colon, the same as DeviceID.",
     cim::reader<&Row::device>},
    not_kept("NumberOfBlocks", uint64),
    not_kept("PNPDeviceID", string),
    not_kept("PowerManagementCapabilities", uint16, cim::kArray),
    {"PowerManagementSupported", boolean, cim::kPlain, Cost::free, "Always false.", always_false},
    {"ProviderName", string, cim::kPlain, Cost::free,
     "Where a network drive's files are; NULL for all others.", cim::reader<&Row::provider>},
    {"Purpose", string, cim::kPlain, Cost::free, "Folder that the volume is mounted at.",
     cim::reader<&Row::mount_point>},
    not_kept("QuotasDisabled", boolean),
    not_kept("QuotasIncomplete", boolean),
    not_kept("QuotasRebuilding", boolean),
    {"Size", uint64, cim::kPlain, Cost::read, "Size of the file system in bytes.",
     cim::reader<&Row::space<&VolumeSpace::size>>},
    not_kept("Status", string),
    not_kept("StatusInfo", uint16),
    not_kept("SupportsDiskQuotas", boolean),
    not_kept("SupportsFileBasedCompression", boolean),
    {"SystemCreationClassName", string, cim::kPlain, Cost::free, "Class of the computer.",
     always<"Win32_ComputerSystem">},
    {"SystemName", string, cim::kPlain, Cost::read, "Host name of the computer.",
     cim::reader<&Row::computer>},
    not_kept("VolumeDirty", boolean),
    {"VolumeName", string, cim::kPlain, Cost::read,
     "Label of the volume, NULL without one or where nobody keeps it.", cim::reader<&Row::label>},
    {"VolumeSerialNumber", string, cim::kPlain, Cost::read,
     "Eight hexadecimal digits of the volume's identifier, NULL where nobody keeps it.",
     cim::reader<&Row::serial>},
};
constexpr std::size_t kDeviceId = column(kProperties, "DeviceID");
constexpr std::size_t kName = column(kProperties, "Name");

constexpr std::string_view kSuperclasses[]{"CIM_LogicalDisk", "CIM_StorageExtent", "CIM_LogicalDevice",
                                           "CIM_LogicalElement", "CIM_ManagedSystemElement"};
constexpr cim::Class kSchema{
    .name = "Win32_LogicalDisk",
    .superclasses = kSuperclasses,
    .description = "The mounted volumes of this machine under their drive letters.",
    .properties = kProperties,
    .methods = {},
};
/// Everything that the table of mounts decides.
constexpr std::size_t kFromMounts[]{
    kDeviceId,
    kName,
    column(kProperties, "Access"),
    column(kProperties, "Caption"),
    column(kProperties, "CreationClassName"),
    column(kProperties, "Description"),
    column(kProperties, "DriveType"),
    column(kProperties, "MediaType"),
    column(kProperties, "ProviderName"),
    column(kProperties, "Purpose"),
};

class Win32LogicalDisk final : public embedded::Provider {
 public:
  explicit Win32LogicalDisk(const Machine& machine) : source_(std::make_shared<Source>(machine)) {}

  const cim::Class& schema() const override { return kSchema; }

  void enumerate(const embedded::Request& request, const embedded::RowSink& sink) override {
    const std::shared_ptr<const DriveTable> table = source_->machine.drives().table();
    for (const Drive& drive : table->drives()) {
      if (!admits(request, {kDeviceId, kName}, drive.name())) continue;
      if (!sink(std::make_shared<Row>(kSchema, source_, table, drive))) return;
    }
  }

  std::optional<std::uint64_t> change_token(std::span<const std::size_t> columns) override {
    const bool known = std::all_of(columns.begin(), columns.end(), [](std::size_t wanted) {
      return std::find(std::begin(kFromMounts), std::end(kFromMounts), wanted) != std::end(kFromMounts);
    });
    if (!known) return std::nullopt;
    return source_->machine.drives().generation();
  }

 private:
  std::shared_ptr<Source> source_;
};

}  // namespace

std::unique_ptr<embedded::Provider> make_win32_logicaldisk(const Machine& machine) {
  return std::make_unique<Win32LogicalDisk>(machine);
}

}  // namespace kvwmi::ground::providers
