// Unit files of the service manager.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "linux/parsers/unit_file.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::ground::parsers;
  using kvwmi::fuzz::require;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string description = unit_setting(text, "Unit", "Description");
  require(description.find('\n') == std::string::npos, "a setting is one line");
  static_cast<void>(with_unit_name(description, "a@b.service"));
  static_cast<void>(with_unit_name(text, text));
  return 0;
}
