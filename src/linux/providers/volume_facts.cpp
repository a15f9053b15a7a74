#include "linux/providers/volume_facts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "linux/parsers/scan.h"
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
  if (type.starts_with("fuse.")) type.remove_prefix(5);
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

/// "8:1" of the block device that a mount's source names; that of the mount itself where it is none.
std::string device_number(const Machine& machine, const parsers::Mount& mount) {
  struct stat answer {};
  const std::string path = machine.root + mount.source;
  if (!mount.source.starts_with("/dev/") || stat(path.c_str(), &answer) != 0 || !S_ISBLK(answer.st_mode)) {
    return mount.device;
  }
  return std::to_string(major(answer.st_rdev)) + ":" + std::to_string(minor(answer.st_rdev));
}

/// The database writes characters that it does not trust as \xHH.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto code =
        text.substr(i, 2) == "\\x" ? parsers::to_number<unsigned>(text.substr(i + 2, 2), 16) : std::nullopt;
    if (code && i + 3 < text.size()) {
      plain += static_cast<char>(*code);
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

}  // namespace

VolumeFacts volume_facts(const Machine& machine, const parsers::Mount& mount) {
  VolumeFacts facts{windows_name(mount.type), "", ""};
  std::string database_type;
  std::string version;
  const auto database = read_file(machine.root + "/run/udev/data/b" + device_number(machine, mount));
  if (database) {
    parsers::for_each_line(*database, [&](std::string_view line) {
      const std::string_view name = parsers::take_until(line, '=');
      if (name == "E:ID_FS_TYPE") database_type = line;
      if (name == "E:ID_FS_VERSION") version = line;
      if (name == "E:ID_FS_LABEL_ENC") facts.label = unescaped(line);
      if (name == "E:ID_FS_UUID") facts.serial = serial_of(line);
      return true;
    });
  }
  const bool type_is_hidden = mount.type == "fuseblk" || mount.type == "fuse";
  if (type_is_hidden && !database_type.empty()) facts.file_system = windows_name(database_type);
  if (facts.file_system == "FAT32" && (version == "FAT16" || version == "FAT12")) facts.file_system = "FAT";

  const bool may_have_boot_sector = type_is_hidden || facts.file_system == "FAT32" ||
                                    facts.file_system == "NTFS" || facts.file_system == "exFAT" ||
                                    facts.file_system == "FAT";
  if (!database && may_have_boot_sector && mount.source.starts_with("/dev/")) {
    std::array<char, 512> buffer;
    const auto sector = read_short(AT_FDCWD, (machine.root + mount.source).c_str(), buffer);
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
