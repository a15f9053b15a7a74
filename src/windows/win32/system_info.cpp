#include "windows/win32/system_info.h"

#include <windows.h>

#include <oleauto.h>

#include <array>
#include <new>

#include "windows/text/bstr.h"
#include "windows/win32/code_page.h"
#include "windows/win32/loaded_function.h"

namespace kvwmi::ground {

namespace {

/// A date or time as automation turns it into text, by the user's regional settings.
std::string regional_text(DATE value, ULONG part) {
  windows::Bstr text;
  if (FAILED(VarBstrFromDate(value, LOCALE_USER_DEFAULT, part, text.receive()))) throw std::bad_alloc();
  return windows::from_bstr(text.get());
}

}  // namespace

std::string system_message(std::uint32_t code) {
  std::array<char, 2048> buffer{};  // a text that does not fit in counts as none
  const DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, 0, buffer.data(),
                                      static_cast<DWORD>(buffer.size()), nullptr);
  return from_code_page({buffer.data(), length});
}

std::optional<std::string> Win32SystemInfo::message(std::int32_t code) {
  std::string text = system_message(static_cast<std::uint32_t>(code));
  if (text.empty()) return std::nullopt;
  return text;
}

std::string Win32SystemInfo::date_text(std::chrono::local_days date) {
  constexpr std::chrono::local_days kDayZero{std::chrono::year(1899) / 12 / 30};
  return regional_text(static_cast<double>((date - kDayZero).count()), VAR_DATEVALUEONLY);
}

std::string Win32SystemInfo::time_text(std::chrono::seconds since_midnight) {
  constexpr double kSecondsOfADay = 86'400.0;
  return regional_text(static_cast<double>(since_midnight.count()) / kSecondsOfADay, VAR_TIMEVALUEONLY);
}

std::optional<std::int32_t> Win32SystemInfo::wow64_process() {
  // Looked up by name: the oldest systems lack the entry.
  using IsWow64Process = BOOL(WINAPI*)(HANDLE, BOOL*);
  const HMODULE kernel = GetModuleHandleA("kernel32");
  const auto is_wow64 = kernel ? loaded_function<IsWow64Process>(kernel, "IsWow64Process") : nullptr;
  if (!is_wow64) return std::nullopt;
  BOOL flag = FALSE;
  is_wow64(GetCurrentProcess(), &flag);
  return flag;
}

}  // namespace kvwmi::ground
