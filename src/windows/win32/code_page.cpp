#include "windows/win32/code_page.h"

#include <windows.h>

#include "windows/text/unicode.h"

namespace kvwmi::ground {

std::string to_code_page(std::string_view utf8) {
  const std::wstring wide = windows::to_utf16(utf8);
  const int length = static_cast<int>(wide.size());
  const int size = WideCharToMultiByte(CP_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide.data(), length, narrow.data(), size, nullptr, nullptr);
  return narrow;
}

std::string from_code_page(std::string_view text) {
  const int length = static_cast<int>(text.size());
  const int size = MultiByteToWideChar(CP_ACP, 0, text.data(), length, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text.data(), length, wide.data(), size);
  return windows::to_utf8(wide);
}

}  // namespace kvwmi::ground
