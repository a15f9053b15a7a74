#include "windows/win32/named_events.h"

#include <windows.h>

#include "windows/win32/code_page.h"

namespace kvwmi::ground {

void Win32NamedEvents::signal(const std::string& name) {
  constexpr DWORD kAllAccess = 0x1F0003;
  const HANDLE event = OpenEventA(kAllAccess, FALSE, to_code_page(name).c_str());
  if (!event) return;
  SetEvent(event);
  CloseHandle(event);
}

}  // namespace kvwmi::ground
