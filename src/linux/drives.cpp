#include "linux/drives.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <array>
#include <set>

#include "linux/drive_path.h"
#include "linux/providers/failure.h"
#include "linux/providers/system_file.h"

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

bool is_folder(const std::string& path) {
  struct stat answer {};
  return stat(path.c_str(), &answer) == 0 && S_ISDIR(answer.st_mode);
}

}  // namespace

bool Drive::may_hang() const {
  return type == DriveType::network || mount.type.starts_with("fuse");
}

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
    : machine_(machine), file_(open((machine.proc + "/self/mountinfo").c_str(), O_RDONLY | O_CLOEXEC)) {
  struct statfs answer {};
  tells_changes_ = file_ && fstatfs(file_.get(), &answer) == 0 && answer.f_type == PROC_SUPER_MAGIC;
}

std::shared_ptr<const DriveTable> Drives::table() {
  const std::lock_guard lock(mutex_);
  refresh();
  return table_;
}

std::uint64_t Drives::generation() {
  const std::lock_guard lock(mutex_);
  refresh();
  return generation_;
}

void Drives::refresh() {
  if (!file_) throw providers::provider_failure();
  // The kernel raises the flag once for each open file after anything was mounted or unmounted.
  pollfd state{file_.get(), POLLPRI, 0};
  if (table_ && tells_changes_ && poll(&state, 1, 0) == 0) return;

  const std::optional<std::string> text = providers::read_file(machine_.proc + "/self/mountinfo");
  if (!text) {
    table_.reset();  // the flag is spent
    throw providers::provider_failure();
  }
  if (table_ && *text == text_) return;
  table_ = std::make_shared<const DriveTable>(lettered(parsers::parse_mountinfo(*text)));
  text_ = *text;
  ++generation_;
}

std::optional<DriveType> Drives::type_of(const parsers::Mount& mount) const {
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
  // A part of a volume can be mounted over a single file.
  if (mount.root != "/" && !is_folder(machine_.root + mount.mount_point)) return std::nullopt;

  const std::string block = machine_.sys + "/dev/block/" + mount.device;
  std::optional<std::string> removable = providers::read_line(block + "/removable");
  if (!removable)
    removable = providers::read_line(block + "/../removable");  // of the disk that it is a part of
  const std::string place = providers::read_link_at(AT_FDCWD, block.c_str()).value_or("");
  if (removable == "1" || place.find("/usb") != std::string::npos) return DriveType::removable;
  return DriveType::fixed;
}

char Drives::letter_for(const std::string& mount_point, const std::vector<Drive>& taken) {
  const auto is_taken = [&](char letter) {
    return std::any_of(taken.begin(), taken.end(), [&](const Drive& d) { return d.letter == letter; });
  };
  const auto is_reserved = [&](char letter) {
    return std::any_of(letters_.begin(), letters_.end(),
                       [&](const auto& entry) { return entry.second == letter; });
  };
  for (const bool keep_reserved : {true, false}) {
    for (char letter = 'D'; letter <= 'Z'; ++letter) {
      if (is_taken(letter) || (keep_reserved && is_reserved(letter))) continue;
      std::erase_if(letters_, [&](const auto& entry) { return entry.second == letter; });
      letters_[mount_point] = letter;
      return letter;
    }
  }
  return '\0';
}

std::vector<Drive> Drives::lettered(std::vector<parsers::Mount> mounts) {
  // What was mounted over another mount at the same place hides it.
  std::map<std::string, parsers::Mount> visible;
  for (parsers::Mount& mount : mounts) visible[mount.mount_point] = std::move(mount);

  std::vector<Drive> candidates;
  for (auto& [point, mount] : visible) {
    if (const auto type = type_of(mount)) candidates.push_back({'\0', *type, std::move(mount)});
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Drive& a, const Drive& b) { return rank(a.type) < rank(b.type); });

  // Who has a letter keeps it, so those choose first.
  std::set<std::string> devices;
  std::vector<Drive> drives;
  const auto add = [&](Drive& drive, char letter) {
    if (letter == '\0' || !devices.insert(drive.mount.device).second) return;
    drive.letter = letter;
    drives.push_back(drive);
  };
  for (Drive& drive : candidates) {
    if (drive.mount.mount_point == "/") add(drive, 'C');
  }
  for (Drive& drive : candidates) {
    const auto known = letters_.find(drive.mount.mount_point);
    if (known != letters_.end()) add(drive, known->second);
  }
  for (Drive& drive : candidates) {
    if (drive.letter == '\0' && devices.count(drive.mount.device) == 0) {
      add(drive, letter_for(drive.mount.mount_point, drives));
    }
  }
  std::sort(drives.begin(), drives.end(), [](const Drive& a, const Drive& b) { return a.letter < b.letter; });
  return drives;
}

}  // namespace kvwmi::ground
