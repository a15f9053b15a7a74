// The firmware's table of the machine's parts.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "linux/parsers/smbios.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::ground::parsers;
  using kvwmi::fuzz::require;
  const std::string_view table(reinterpret_cast<const char*>(data), size);
  for (const ProcessorSocket& socket : parse_processor_sockets(table)) {
    require(table.find(socket.designation) != std::string_view::npos, "a text is a part of the table");
    require(socket.max_megahertz != 0U, "0 megahertz are unknown ones");
  }
  return 0;
}
