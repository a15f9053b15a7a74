#include "agent/disk_name.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

#include "agent/mount_table.h"
#include "agent/usage_error.h"
#include "agent/values.h"
#include "kvwmi/nearest.h"
#include "kvwmi/wmi_session.h"

namespace kvwmi::agent {
namespace {

struct Disk {
  std::string letter, mount_point, kind;
  bool fixed = false;
};

std::vector<Disk> mounted_disks() {
  WmiSession session;
  std::vector<Disk> disks;
  for (const WmiObject& object :
       session.query("SELECT DeviceID, Purpose, Description, DriveType FROM Win32_LogicalDisk")) {
    Disk disk;
    for (const WmiProperty& property : object.properties) {
      const std::string value = to_line(property.value);
      if (property.name == "DeviceID") disk.letter = value;
      if (property.name == "Purpose") disk.mount_point = value;
      if (property.name == "Description") disk.kind = value;
      if (property.name == "DriveType") disk.fixed = value == "3";
    }
    // Where WMI does not tell mount points, there is none to be found.
    if (disk.mount_point.starts_with('/')) disks.push_back(disk);
  }
  return disks;
}

/// A letter, alone or with a colon and perhaps a folder behind it.
bool is_drive(const std::string& written) {
  const auto is_letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  return !written.empty() && is_letter(written[0]) && (written.size() == 1 || written[1] == ':');
}

/// Without what names no other place: doubled slashes, one at the end, "." and "..".
std::string plain(const std::string& path) {
  const std::string result = std::filesystem::path(path).lexically_normal().generic_string();
  return result.size() > 1 && result.ends_with('/') ? result.substr(0, result.size() - 1) : result;
}

/// The file system that holds a path of this machine.
std::string holder_of(const std::string& path) {
  std::ifstream mounts("/proc/self/mountinfo");
  return file_system_of(path, mounts);
}

/// Why a path that no disk is mounted at names none.
std::string explain_no_disk(const std::string& written, const std::vector<Disk>& disks) {
  std::error_code none;
  const std::string path = std::filesystem::canonical(written, none).generic_string();
  const std::string holder = none ? "" : holder_of(path);
  std::vector<std::string> mount_points;
  for (const Disk& disk : disks) {
    if (!disk.fixed) continue;
    if (!holder.empty() && holder_of(disk.mount_point) == holder)
      return written + " is no drive of its own: its files are on " + disk.letter;
    mount_points.push_back(disk.mount_point);
  }
  return "no local disk is mounted at \"" + written + "\"" + nearest_hint(written, mount_points);
}

}  // namespace

std::string disk_name(const std::string& written) {
  if (is_drive(written)) return written;
  if (!written.starts_with('/')) {
    throw UsageError("\"" + written + "\" is neither a drive such as C: nor a path such as /home");
  }
  const std::vector<Disk> disks = mounted_disks();
  const auto mounted_at = [&](const std::string& path) {
    return std::find_if(disks.begin(), disks.end(),
                        [&](const Disk& disk) { return disk.mount_point == path; });
  };
  auto found = mounted_at(plain(written));
  if (found == disks.end()) {
    std::error_code none;
    found = mounted_at(std::filesystem::canonical(written, none).generic_string());  // where links lead
  }
  if (found == disks.end()) throw UsageError(explain_no_disk(written, disks));
  if (!found->fixed) {
    throw UsageError("what is mounted at \"" + written + "\" is no local disk but a " + found->kind);
  }
  return found->letter;
}

}  // namespace kvwmi::agent
