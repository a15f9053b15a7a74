#include "frame/get_key_type.h"

#include <array>
#include <utility>

#include "frame/errors_process.h"
#include "frame/text.h"

namespace kvwmi {
namespace {

constexpr std::array<std::pair<std::string_view, std::uint32_t>, 5> kRoots{{
    {"HKEY_CLASSES_ROOT", 0x80000000},
    {"HKEY_CURRENT_USER", 0x80000001},
    {"HKEY_LOCAL_MACHINE", 0x80000002},
    {"HKEY_USERS", 0x80000003},
    {"HKEY_CURRENT_CONFIG", 0x80000005},
}};

}  // namespace

std::int32_t GetKeyType(std::string_view path, std::uint32_t& root_key, std::string& sub_key) {
  // The tag keeps the name of the component this routine came from.
  return tagged("Scheduler: Current.GetKeyType", [&] {
    const std::size_t separator = path.find('\\');
    const bool split = separator != std::string_view::npos;
    sub_key = split ? path.substr(separator + 1) : "";
    const std::string_view root_name = path.substr(0, separator);
    for (const auto& [name, key] : kRoots) {
      if (equals_ignoring_case(root_name, name)) {
        root_key = key;
        return kKeySplit;
      }
    }
    return kUnknownRoot;
  });
}

}  // namespace kvwmi
