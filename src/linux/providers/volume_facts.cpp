#include "linux/providers/volume_facts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 8> kWindowsNames{{
    {"ntfs", "NTFS"},
    {"ntfs3", "NTFS"},
    {"ntfs-3g", "NTFS"},
    {"vfat", "FAT32"},
    {"msdos", "FAT"},
    {"exfat", "exFAT"},
    {"iso9660", "CDFS"},
    {"udf", "UDF"},
}};

std::string windows_name(std::string_view type) {
  if (type.starts_with("fuse.") || type.starts_with("fuseblk.")) type.remove_prefix(type.find('.') + 1);
  for (const auto& [linux_name, name] : kWindowsNames) {
    if (type == linux_name) return std::string(name);
  }
  return std::string(type);
}

/// Eight digits of a volume's identifier: that of a FAT volume has no more ("12AB-34CD"), of an NTFS one (16
/// digits) Windows shows the last eight, of all others the first stand for it.
std::string serial_of(std::string_view identifier) {
  std::string digits;
  for (const char c : identifier) {
    if (c != '-') digits += c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
  }
  if (digits.size() == 16) return digits.substr(8);
  return digits.substr(0, 8);
}

}  // namespace

std::string block_device(const std::string& root, const parsers::Mount& mount) {
  struct stat answer {};
  const std::string path = root + mount.source;
  if (!mount.source.starts_with("/dev/") || stat(path.c_str(), &answer) != 0 || !S_ISBLK(answer.st_mode)) {
    return mount.device;
  }
  return std::to_string(major(answer.st_rdev)) + ":" + std::to_string(minor(answer.st_rdev));
}

std::optional<parsers::VolumeRecord> volume_record(const std::string& root, const std::string& device) {
  const auto text = read_file(root + "/run/udev/data/b" + device);
  if (!text) return std::nullopt;
  return parsers::parse_volume_record(*text);
}

VolumeFacts volume_facts(const std::string& root, const parsers::Mount& mount) {
  VolumeFacts facts{windows_name(mount.type), "", ""};
  const auto record = volume_record(root, block_device(root, mount));
  const bool type_is_hidden = mount.type == "fuseblk" || mount.type == "fuse";
  if (record) {
    facts.label = record->label;
    facts.serial = serial_of(record->uuid);
    if (type_is_hidden && !record->type.empty()) facts.file_system = windows_name(record->type);
    if (facts.file_system == "FAT32" && (record->version == "FAT16" || record->version == "FAT12"))
      facts.file_system = "FAT";
  }

  const bool may_have_boot_sector = type_is_hidden || facts.file_system == "FAT32" ||
                                    facts.file_system == "NTFS" || facts.file_system == "exFAT" ||
                                    facts.file_system == "FAT";
  if (!record && may_have_boot_sector && mount.source.starts_with("/dev/")) {
    std::array<char, 512> buffer{};
    const auto sector = read_short(AT_FDCWD, (root + mount.source).c_str(), buffer);
    const parsers::BootSector boot = sector ? parsers::parse_boot_sector(*sector) : parsers::BootSector{};
    if (!boot.type.empty()) {
      std::array<char, 9> digits{};
      std::snprintf(digits.data(), digits.size(), "%08X", boot.serial);
      facts.file_system = boot.type;
      facts.serial = digits.data();
    }
  }
  return facts;
}

}  // namespace kvwmi::ground::providers
