#include "linux/parsers/cpuinfo.h"

#include "linux/parsers/field_file.h"
#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {

bool CpuInfo::has_flag(std::string_view flag) const {
  std::string_view rest = flags;
  for (std::string_view word = take_word(rest); !word.empty(); word = take_word(rest)) {
    if (word == flag) return true;
  }
  return false;
}

std::vector<CpuInfo> parse_cpuinfo(std::string_view text) {
  std::vector<CpuInfo> cpus;
  while (!text.empty()) {
    // An empty line closes each processor's block.
    const std::size_t end = text.find("\n\n");
    const std::string_view block = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);

    const auto cpu = number_field(block, "processor");
    if (!cpu) continue;
    CpuInfo info;
    info.cpu = static_cast<std::uint32_t>(*cpu);
    info.vendor = field(block, "vendor_id").value_or("");
    info.model_name = field(block, "model name").value_or("");
    info.flags = field(block, "flags").value_or("");
    info.family = number_field(block, "cpu family");
    info.model = number_field(block, "model");
    info.stepping = number_field(block, "stepping");
    if (std::optional<std::string_view> clock = field(block, "cpu MHz")) {
      std::string_view decimals = *clock;
      const auto whole = to_number(take_until(decimals, '.'));
      if (whole) info.megahertz = *whole + (!decimals.empty() && decimals.front() >= '5' ? 1 : 0);
    }
    cpus.push_back(std::move(info));
  }
  return cpus;
}

std::optional<std::uint64_t> parse_size_kilobytes(std::string_view text) {
  text = trimmed(text);
  std::uint64_t unit = 1;
  if (text.ends_with('M')) unit = 1024;
  if (text.ends_with('K') || text.ends_with('M')) text.remove_suffix(1);
  const auto number = to_number(text);
  if (!number || *number > UINT64_MAX / unit) return std::nullopt;
  return *number * unit;
}

}  // namespace kvwmi::ground::parsers
