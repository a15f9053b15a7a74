#include "linux/parsers/mountinfo.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {
namespace {

/// Blanks, tabs, line ends and backslashes in names are written as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
  const auto are_octal = [](std::string_view digits) {
    return digits.find_first_not_of("01234567") == std::string_view::npos;
  };
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && are_octal(text.substr(i + 1, 3))) {
      plain += static_cast<char>(((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0')) &
                                 0xFF);
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

bool has_option(std::string_view options, std::string_view wanted) {
  while (!options.empty()) {
    if (take_until(options, ',') == wanted) return true;
  }
  return false;
}

std::uint32_t little_endian(std::string_view bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    number |= std::uint32_t{static_cast<unsigned char>(bytes[at + i])} << (8 * i);
  }
  return number;
}

}  // namespace

std::vector<Mount> parse_mountinfo(std::string_view text) {
  std::vector<Mount> mounts;
  for_each_line(text, [&](std::string_view line) {
    Mount mount;
    const auto number = to_number(take_word(line));
    const auto parent = to_number(take_word(line));
    if (!number || !parent) return true;
    mount.number = *number;
    mount.parent = *parent;
    mount.device = take_word(line);
    mount.root = unescaped(take_word(line));
    mount.mount_point = unescaped(take_word(line));
    const bool mounted_read_only = has_option(take_word(line), "ro");
    // Any number of further fields, closed by a dash.
    for (std::string_view word = take_word(line); word != "-"; word = take_word(line)) {
      if (word.empty()) return true;
    }
    mount.type = unescaped(take_word(line));
    mount.source = unescaped(take_word(line));
    mount.read_only = mounted_read_only || has_option(take_word(line), "ro");
    if (!mount.type.empty() && mount.mount_point.starts_with('/')) mounts.push_back(std::move(mount));
    return true;
  });
  return mounts;
}

BootSector parse_boot_sector(std::string_view sector) {
  if (sector.size() < 512) return {};
  const auto has = [&](std::size_t at, std::string_view mark) {
    return sector.substr(at, mark.size()) == mark;
  };
  if (has(3, "NTFS    ")) return {"NTFS", little_endian(sector, 72)};
  if (has(3, "EXFAT   ")) return {"exFAT", little_endian(sector, 100)};
  if (has(82, "FAT32   ")) return {"FAT32", little_endian(sector, 67)};
  if (has(54, "FAT1") || has(54, "FAT     ")) return {"FAT", little_endian(sector, 39)};
  return {};
}

}  // namespace kvwmi::ground::parsers
