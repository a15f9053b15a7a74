#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::ground::parsers {

/// One logical processor in /proc/cpuinfo. What an architecture does not tell is empty.
struct CpuInfo {
  std::uint32_t cpu = 0;
  std::string vendor;
  std::string model_name;
  std::string flags;
  std::optional<std::uint64_t> family;
  std::optional<std::uint64_t> model;
  std::optional<std::uint64_t> stepping;
  std::optional<std::uint64_t> megahertz;

  [[nodiscard]] bool has_flag(std::string_view flag) const;
};
[[nodiscard]] std::vector<CpuInfo> parse_cpuinfo(std::string_view text);

/// "512K", "32M" or a plain number of kilobytes, as the sizes of caches are written.
[[nodiscard]] std::optional<std::uint64_t> parse_size_kilobytes(std::string_view text);

}  // namespace kvwmi::ground::parsers
