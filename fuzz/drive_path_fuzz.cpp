// Any path comes back exactly from its Windows spelling.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "linux/drive_path.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::ground;
  const std::string_view path(reinterpret_cast<const char*>(data), size);
  kvwmi::fuzz::require(to_slashes(to_backslashes(path)) == path, "a path survives both ways");
  return 0;
}
