// The table of mounts and the first sector of a volume.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "linux/parsers/mountinfo.h"
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
  return 0;
}
