#pragma once

#include <windows.h>

#include <combaseapi.h>

#include <algorithm>
#include <string_view>

namespace kvwmi::com {

/// From "{8-4-4-4-12}"; GUID_NULL for any other text.
[[nodiscard]] inline GUID to_guid(std::string_view text) noexcept {
  constexpr std::size_t kLength = 38;
  wchar_t wide[kLength + 1]{};
  std::copy_n(text.begin(), std::min(text.size(), kLength), wide);
  GUID result{};
  if (FAILED(IIDFromString(wide, &result))) return GUID{};
  return result;
}

}  // namespace kvwmi::com
