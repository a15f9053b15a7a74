#include "windows/win32/device_classes.h"

#include <windows.h>
// After windows.h, which it needs.
#include <setupapi.h>

#include <algorithm>
#include <array>
#include <bit>

#include "windows/win32/code_page.h"

namespace kvwmi::ground {

std::optional<std::string> Win32DeviceClasses::description(const Id& id) {
  const GUID guid = std::bit_cast<GUID>(id);
  std::array<char, 1024> buffer{};
  DWORD required = 0;
  if (!SetupDiGetClassDescriptionA(&guid, buffer.data(), static_cast<DWORD>(buffer.size()), &required)) {
    return std::nullopt;
  }
  // What is required has the final NUL in it.
  const std::size_t length = std::min<std::size_t>(std::max<DWORD>(required, 1) - 1, buffer.size());
  return from_code_page({buffer.data(), length});
}

}  // namespace kvwmi::ground
