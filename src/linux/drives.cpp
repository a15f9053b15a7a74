#include "linux/drives.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "frame/diagnostics.h"
#include "linux/drive_path.h"
#include "linux/providers/failure.h"
#include "linux/providers/system_file.h"
#include "linux/providers/volume_facts.h"

namespace kvwmi::ground {
namespace {

/// File systems through which the kernel and the system's own services speak, and images that other volumes
/// hold: nothing that anybody stores files on.
constexpr std::array<std::string_view, 32> kNoVolumes{
    "autofs",      "binfmt_misc",   "bpf",      "cgroup",    "cgroup2",         "configfs",
    "debugfs",     "devpts",        "devtmpfs", "efivarfs",  "fuse.gvfsd-fuse", "fuse.lxcfs",
    "fuse.portal", "fuse.snapfuse", "fusectl",  "hugetlbfs", "mqueue",          "nfsd",
    "nsfs",        "overlay",       "proc",     "pstore",    "rpc_pipefs",      "securityfs",
    "selinuxfs",   "smackfs",       "squashfs", "sunrpc",    "sysfs",           "tracefs",
    "resctrl",     "erofs"};
constexpr std::array<std::string_view, 16> kNetwork{
    "9p",          "afs",        "ceph",   "cifs", "coda", "davfs", "fuse.davfs", "fuse.glusterfs",
    "fuse.rclone", "fuse.sshfs", "lustre", "nfs",  "nfs4", "smb3",  "smbfs",      "virtiofs"};
/// Where the system keeps RAM disks for itself.
constexpr std::array<std::string_view, 4> kSystemFolders{"/dev", "/proc", "/run", "/sys"};

template <std::size_t size>
bool contains(const std::array<std::string_view, size>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// Whether `path` is `folder` or lies in it.
bool lies_in(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

int rank(DriveType type) {
  constexpr std::array kOrder{DriveType::fixed, DriveType::removable, DriveType::network, DriveType::optical,
                              DriveType::memory};
  return static_cast<int>(std::find(kOrder.begin(), kOrder.end(), type) - kOrder.begin());
}

/// Whether a file system asks another machine or a process.
bool asks_others(const parsers::Mount& mount) {
  return contains(kNetwork, mount.type) || mount.type.starts_with("fuse");
}

bool is_folder(const std::string& path) {
  struct stat answer {};
  return stat(path.c_str(), &answer) == 0 && S_ISDIR(answer.st_mode);
}

}  // namespace

const Drive* DriveTable::find(char letter) const {
  const char upper = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 32) : letter;
  const auto found =
      std::find_if(drives_.begin(), drives_.end(), [&](const Drive& d) { return d.letter == upper; });
  return found == drives_.end() ? nullptr : &*found;
}

std::string DriveTable::to_windows(std::string_view native) const {
  const Drive* best = nullptr;
  for (const Drive& drive : drives_) {
    const std::string_view point = drive.mount.mount_point;
    if (lies_in(native, point) && (best == nullptr || point.size() > best->mount.mount_point.size()))
      best = &drive;
  }
  if (best == nullptr) return "C:" + to_backslashes(native);
  const std::string_view point = best->mount.mount_point;
  const std::string path = to_backslashes(point == "/" ? native : native.substr(point.size()));
  return best->name() + (path.empty() ? "\\" : path);
}

std::optional<std::string> DriveTable::to_native(std::string_view windows) const {
  if (windows.size() < 2 || windows[1] != ':') return std::nullopt;
  const Drive* drive = find(windows[0]);
  if (drive == nullptr) return std::nullopt;
  std::string path = to_slashes(windows.substr(2));
  if (!path.starts_with('/')) path.insert(0, 1, '/');
  if (drive->mount.mount_point == "/") return path;
  return drive->mount.mount_point + (path == "/" ? "" : path);
}

Drives::Drives(const Machine& machine)
    : machine_(machine),
      file_(open((machine.proc + "/self/mountinfo").c_str(), O_RDONLY | O_CLOEXEC)),
      letters_(machine.state + "/drives") {
  struct statfs answer {};
  tells_changes_ = file_ && fstatfs(file_.get(), &answer) == 0 && answer.f_type == PROC_SUPER_MAGIC;
}

std::shared_ptr<const DriveTable> Drives::table() {
  return look().table;
}

std::uint64_t Drives::generation() {
  return look().generation;
}

Drives::Moment Drives::look() {
  std::unique_lock lock(mutex_);
  const std::string left_out = refresh();
  Moment now{table_, generation_};
  lock.unlock();  // who is told may ask
  if (!left_out.empty()) {
    report(providers::provider_failure().with_description("No drive letter is left for " + left_out));
  }
  return now;
}

std::string Drives::refresh() {
  if (!file_) throw providers::provider_failure();
  // The kernel raises the flag once for each open file after anything was mounted or unmounted.
  pollfd state{file_.get(), POLLPRI, 0};
  if (table_ && tells_changes_ && poll(&state, 1, 0) == 0) return "";

  const std::optional<std::string> text = providers::read_file(machine_.proc + "/self/mountinfo");
  if (!text) {
    table_.reset();  // the flag is spent
    throw providers::provider_failure();
  }
  if (table_ && *text == text_) return "";
  std::vector<Drive> drives = volumes(parsers::parse_mountinfo(*text));
  give_letters(drives);
  // Those without one come first.
  const std::string left_out =
      drives.empty() || drives.front().letter != '\0' ? "" : drives.front().mount.mount_point;
  std::erase_if(drives, [](const Drive& d) { return d.letter == '\0'; });
  table_ = std::make_shared<const DriveTable>(std::move(drives));
  text_ = *text;
  ++generation_;
  return left_out;
}

std::optional<DriveType> Drives::type_of(const parsers::Mount& mount, bool may_hang) const {
  if (mount.mount_point == "/") return DriveType::fixed;
  if (contains(kNoVolumes, mount.type)) return std::nullopt;
  if (contains(kNetwork, mount.type)) return DriveType::network;
  if (mount.type == "iso9660" || mount.type == "udf") return DriveType::optical;
  if (mount.type == "tmpfs" || mount.type == "ramfs") {
    const bool systems_own =
        std::any_of(kSystemFolders.begin(), kSystemFolders.end(),
                    [&](std::string_view folder) { return lies_in(mount.mount_point, folder); });
    if (systems_own) return std::nullopt;
    return DriveType::memory;
  }
  // A part of a volume can be mounted over a single file. What may hang is not asked and counts as a folder.
  if (mount.root != "/" && !may_hang && !is_folder(machine_.root + mount.mount_point)) return std::nullopt;

  const std::string block = machine_.sys + "/dev/block/" + mount.device;
  std::optional<std::string> removable = providers::read_line(block + "/removable");
  if (!removable)
    removable = providers::read_line(block + "/../removable");  // of the disk that it is a part of
  const std::string place = providers::read_link_at(AT_FDCWD, block.c_str()).value_or("");
  if (removable == "1" || place.find("/usb") != std::string::npos) return DriveType::removable;
  return DriveType::fixed;
}

std::vector<Drive> Drives::volumes(const std::vector<parsers::Mount>& mounts) const {
  // What was mounted over another mount at the same place hides it.
  std::map<std::string_view, const parsers::Mount*> visible;
  for (const parsers::Mount& mount : mounts) visible[mount.mount_point] = &mount;
  // Without the root nothing works, this program included.
  const auto holds_up = [&](const auto& entry, const parsers::Mount& mount) {
    return entry.first != "/" && asks_others(*entry.second) && lies_in(mount.mount_point, entry.first);
  };
  // Of several mounts of one volume the root counts, else the first that shows all of it.
  const auto rank_of_part = [](const parsers::Mount& mount) {
    return mount.mount_point == "/" ? 0 : mount.root == "/" ? 1 : 2;
  };

  std::map<std::string_view, Drive> by_device;
  for (const parsers::Mount& mount : mounts) {
    if (visible[mount.mount_point] != &mount) continue;
    const auto known = by_device.find(mount.device);
    if (known != by_device.end() && rank_of_part(known->second.mount) <= rank_of_part(mount)) continue;
    const bool may_hang = std::any_of(visible.begin(), visible.end(),
                                      [&](const auto& entry) { return holds_up(entry, mount); });
    if (const auto type = type_of(mount, may_hang)) {
      by_device.insert_or_assign(mount.device, Drive{'\0', *type, mount, may_hang});
    }
  }
  std::vector<Drive> drives;
  for (auto& [device, drive] : by_device) drives.push_back(std::move(drive));
  return drives;
}

std::string Drives::uuid_of(const Drive& drive) const {
  // The source of what may hang is any text that a process chose, so its path is not followed.
  const std::string device =
      drive.may_hang ? drive.mount.device : providers::block_device(machine_.root, drive.mount);
  const auto record = providers::volume_record(machine_.root, device);
  return record ? record->uuid : "";
}

void Drives::give_letters(std::vector<Drive>& drives) {
  std::sort(drives.begin(), drives.end(), [](const Drive& a, const Drive& b) {
    return std::pair(rank(a.type), std::string_view(a.mount.mount_point)) <
           std::pair(rank(b.type), std::string_view(b.mount.mount_point));
  });
  std::vector<VolumeName> volumes;
  std::vector<Drive*> lettered;
  for (Drive& drive : drives) {
    if (drive.mount.mount_point == "/") {
      drive.letter = 'C';
      continue;
    }
    volumes.push_back({uuid_of(drive), drive.mount.mount_point});
    lettered.push_back(&drive);
  }
  const std::vector<std::optional<char>> letters = letters_.letters_of(volumes);
  for (std::size_t i = 0; i < letters.size(); ++i) lettered[i]->letter = letters[i].value_or('\0');
  std::sort(drives.begin(), drives.end(), [](const Drive& a, const Drive& b) { return a.letter < b.letter; });
}

}  // namespace kvwmi::ground
