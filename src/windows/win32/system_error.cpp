#include "windows/win32/system_error.h"

#include <windows.h>

#include "frame/runtime_error.h"
#include "windows/win32/system_info.h"

namespace kvwmi::ground {

Error last_system_error() {
  const DWORD code = GetLastError();
  std::string text = system_message(code);
  text.erase(text.find_last_not_of("\r\n") + 1);
  return Error(HRESULT_FROM_WIN32(code), kComponentName, text.empty() ? kNoDescription : std::move(text));
}

}  // namespace kvwmi::ground
