#pragma once

#include <windows.h>

#include <combaseapi.h>

#include <string_view>

#include "windows/text/unicode.h"

namespace kvwmi::com {

/// From "{8-4-4-4-12}".
[[nodiscard]] inline GUID to_guid(std::string_view text) {
  GUID result{};
  IIDFromString(windows::to_utf16(text).c_str(), &result);
  return result;
}

}  // namespace kvwmi::com
