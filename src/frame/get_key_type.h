#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kvwmi {

/// Status values of GetKeyType.
inline constexpr std::int32_t kKeySplit = 0;
inline constexpr std::int32_t kUnknownRoot = -8;

/// Splits a full registry path into its predefined root key and the sub-key after the first backslash. Root
/// names are taken in any case and in full only, no short forms. An unknown root leaves `root_key` as it was.
[[nodiscard]] std::int32_t GetKeyType(std::string_view path, std::uint32_t& root_key, std::string& sub_key);

}  // namespace kvwmi
