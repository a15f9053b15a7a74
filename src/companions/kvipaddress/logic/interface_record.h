#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace kvipaddress {

/// Names of the interfaces that are active.
using ActiveInterfaces = std::set<std::string>;

inline constexpr std::size_t kMaxRecordSize = 262'144;

/// The text of the record file.
[[nodiscard]] std::string to_record(const ActiveInterfaces& interfaces);
/// nullopt for anything but a whole record of the known version.
[[nodiscard]] std::optional<ActiveInterfaces> parse_record(std::string_view text);

/// 1 where an interface became active, 2 where one ceased to be, 3 for both, 0 for neither.
[[nodiscard]] std::int32_t compare(const ActiveInterfaces& before, const ActiveInterfaces& now);

}  // namespace kvipaddress
