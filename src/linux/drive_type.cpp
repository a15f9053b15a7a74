#include "linux/drive_type.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "linux/drive_path.h"
#include "linux/providers/system_file.h"
#include "linux/providers/volume_facts.h"

namespace kvwmi::ground {
namespace {

using parsers::Mount;

/// File systems through which the kernel and the system's own services speak, and images that other volumes
/// hold: nothing that anybody stores files on.
constexpr std::string_view kNoVolumes[]{
    "autofs",     "binfmt_misc", "bpf",      "cgroup",   "cgroup2", "configfs",  "debugfs",
    "devpts",     "devtmpfs",    "efivarfs", "erofs",    "fusectl", "hugetlbfs", "mqueue",
    "nfsd",       "nsfs",        "overlay",  "proc",     "pstore",  "resctrl",   "rpc_pipefs",
    "securityfs", "selinuxfs",   "smackfs",  "squashfs", "sunrpc",  "sysfs",     "tracefs"};
/// The same behind "fuse.".
constexpr std::string_view kNoFuseVolumes[]{"erofsfuse", "fuse-overlayfs", "gvfsd-fuse", "lxcfs",
                                            "portal",    "snapfuse",       "squashfuse", "squashfuse_ll"};
/// Beside all of FUSE that stands for no device.
constexpr std::string_view kNetwork[]{"9p",     "afs",  "beegfs", "ceph",   "cifs",     "coda",
                                      "davfs",  "gpfs", "lustre", "nfs",    "nfs4",     "orangefs",
                                      "prl_fs", "smb3", "smbfs",  "vboxsf", "virtiofs", "vmhgfs"};
/// Where the system and those who run containers mount for themselves, much of it once for each login or
/// container.
constexpr std::string_view kSystemFolders[]{"/dev",
                                            "/proc",
                                            "/run",
                                            "/sys",
                                            "/var/lib/containerd",
                                            "/var/lib/containers",
                                            "/var/lib/docker",
                                            "/var/lib/incus",
                                            "/var/lib/kubelet",
                                            "/var/lib/lxd",
                                            "/var/lib/rancher",
                                            "/var/snap"};

template <typename Names>
bool contains(const Names& names, std::string_view name) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool is_fuse(const Mount& mount) {
  return mount.type.starts_with("fuse");
}

/// Whether a process answers for the files of a device. /dev/fuse is what many give that have none.
bool is_fuse_of_device(const Mount& mount) {
  return is_fuse(mount) && mount.source.starts_with("/dev/") && mount.source != "/dev/fuse";
}

/// Also where it is the content of a program that came as one file (AppImage), mounted while that runs.
bool is_no_volume(const Mount& mount) {
  const std::string_view type = mount.type;
  if (!type.starts_with("fuse.")) return contains(kNoVolumes, type);
  return contains(kNoFuseVolumes, type.substr(5)) || type.find(".AppImage") != std::string_view::npos ||
         mount.mount_point.find("/tmp/.mount_") != std::string::npos;
}

bool is_network(const Mount& mount) {
  return contains(kNetwork, mount.type) || (is_fuse(mount) && !is_fuse_of_device(mount));
}

/// The kind of drive of a mount without a device.
std::optional<DriveType> type_without_device(const Mount& mount) {
  if (is_network(mount)) return DriveType::network;
  if (mount.type == "tmpfs" || mount.type == "ramfs") return DriveType::memory;
  return std::nullopt;
}

bool is_folder(const std::string& path) {
  struct stat answer {};
  return stat(path.c_str(), &answer) == 0 && S_ISDIR(answer.st_mode);
}

/// Whether the block device at this place in /sys, or one that it lies on, can be pulled out.
bool is_removable(const std::string& block) {
  // A partition has the mark of its disk.
  for (const char* mark : {"/removable", "/../removable"}) {
    if (providers::read_line(block + mark) == "1") return true;
  }
  const auto place = providers::read_link_at(AT_FDCWD, block.c_str());
  if (place && place->find("/usb") != std::string::npos) return true;
  // What encryption and logical volumes are made of.
  const auto slaves = providers::list_folder(block + "/slaves").value_or(std::vector<std::string>());
  return std::any_of(slaves.begin(), slaves.end(),
                     [&](const std::string& slave) { return is_removable(block + "/slaves/" + slave); });
}

}  // namespace

bool asks_others(const Mount& mount) {
  return is_fuse(mount) || is_network(mount);
}

std::optional<DriveType> drive_type(const Machine& machine, const Mount& mount, bool may_hang) {
  if (mount.mount_point == "/") return DriveType::fixed;
  if (is_no_volume(mount)) return std::nullopt;
  if (mount.type == "iso9660" || mount.type == "udf") return DriveType::optical;
  if (const auto type = type_without_device(mount)) {
    const bool systems_own =
        std::any_of(std::begin(kSystemFolders), std::end(kSystemFolders),
                    [&](std::string_view folder) { return lies_in(mount.mount_point, folder); });
    return systems_own ? std::nullopt : type;
  }
  // A part of a volume can be mounted over a single file. What may hang is not asked and counts as a folder.
  if (mount.root != "/" && !may_hang && !is_folder(machine.root + mount.mount_point)) return std::nullopt;

  // The source of what may hang is any text that a process chose, so its path is not followed.
  const std::string device = may_hang ? mount.device : providers::block_device(machine.root, mount);
  return is_removable(machine.sys + "/dev/block/" + device) ? DriveType::removable : DriveType::fixed;
}

}  // namespace kvwmi::ground
