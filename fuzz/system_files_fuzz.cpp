// Files that describe the system: /proc/stat, loadavg, cpuinfo, meminfo and the like, os-release.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "linux/parsers/cpuinfo.h"
#include "linux/parsers/field_file.h"
#include "linux/parsers/os_release.h"
#include "linux/parsers/system_stat.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::ground::parsers;
  using kvwmi::fuzz::require;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  const SystemStat stat = parse_system_stat(text);
  const SystemStat half = parse_system_stat(text.substr(0, size / 2));
  const auto load = load_percentage(half.cpus, stat.cpus, [](std::uint32_t) { return true; });
  static_cast<void>(load);
  static_cast<void>(parse_tasks(text));

  for (const CpuInfo& cpu : parse_cpuinfo(text)) static_cast<void>(cpu.has_flag("vmx"));
  static_cast<void>(parse_size_kilobytes(text));

  if (const auto value = field(text, "MemTotal"); value && !value->empty()) {
    require(value->data() >= text.data() && value->data() + value->size() <= text.data() + text.size(),
            "a value is a part of the text");
  }
  static_cast<void>(number_field(text, "MemAvailable"));
  if (const auto value = shell_variable(text, "PRETTY_NAME"))
    require(value->size() <= size, "quoting only shrinks");
  return 0;
}
