#include "windows/win32/top_level_windows.h"

#include <windows.h>

#include "windows/win32/code_page.h"

namespace kvwmi::ground {

Windows::Handle Win32Windows::find(std::string_view title) {
  return reinterpret_cast<std::uintptr_t>(FindWindowA(nullptr, to_code_page(title).c_str()));
}

Windows::CloseReply Win32Windows::close(Handle window) {
  CloseReply reply;
  reply.answer = SendMessageA(reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window)), WM_CLOSE, 0, 0);
  reply.last_error = static_cast<std::int32_t>(GetLastError());
  return reply;
}

}  // namespace kvwmi::ground
