#include "agent/interface_record.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "agent/usage_error.h"

namespace kvwmi::agent {
namespace {

namespace fs = std::filesystem;

/// As the address library begins its records, see docs/kvipaddress.md.
constexpr std::string_view kBegin = "KVIPAddress interfaces 1\n";

fs::path path_of(const std::string& file) {
  return {std::u8string(file.begin(), file.end())};
}

bool is_record(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::symlink_status(path, error);
  if (status.type() == fs::file_type::not_found) return true;
  if (status.type() != fs::file_type::regular) return false;
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return false;
  std::array<char, kBegin.size()> begin{};
  stream.read(begin.data(), begin.size());
  const std::string_view taken(begin.data(), static_cast<std::size_t>(stream.gcount()));
  return !stream.bad() && (taken.empty() || taken == kBegin);
}

std::string text_of(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

}  // namespace

std::string interface_record_path(const std::string& file) {
  std::error_code none;
  const fs::path found = fs::weakly_canonical(fs::absolute(path_of(file)), none);
  return none ? file : text_of(found);
}

void require_interface_record(const std::string& file) {
  if (is_record(path_of(file))) return;
  throw UsageError("\"" + file +
                   "\" is there and no record of network interfaces; the watch would delete it");
}

std::string claim_interface_record(const std::string& file) {
  require_interface_record(file);
  const fs::path path = path_of(file);
  if (!std::ofstream(path, std::ios::app)) throw UsageError("cannot write \"" + file + "\"");
  return text_of(fs::absolute(path));
}

}  // namespace kvwmi::agent
