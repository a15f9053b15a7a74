// The table of mounts, the first sector of a volume and its record in the device database.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "linux/parsers/mountinfo.h"
#include "linux/parsers/volume_record.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::ground::parsers;
  using kvwmi::fuzz::require;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const Mount& mount : parse_mountinfo(text)) {
    require(mount.mount_point.starts_with('/'), "a mount point is an absolute path");
    require(!mount.type.empty(), "a mount has a type");
  }
  static_cast<void>(parse_boot_sector(text));
  const VolumeRecord record = parse_volume_record(text);
  require(record.label.size() <= size, "taking off escapes only shrinks");
  require(record.uuid.find('\n') == std::string::npos, "a value is one line");
  return 0;
}
