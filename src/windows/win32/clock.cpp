#include "windows/win32/clock.h"

#include <windows.h>

#include <algorithm>

namespace kvwmi::ground {

std::chrono::local_seconds Win32Clock::local_now() {
  SYSTEMTIME now{};
  GetLocalTime(&now);
  using namespace std::chrono;
  return local_days(year(now.wYear) / month(now.wMonth) / day(now.wDay)) + hours(now.wHour) +
         minutes(now.wMinute) + seconds(now.wSecond);
}

void Win32Clock::sleep(std::chrono::milliseconds duration) {
  // INFINITE is no length of time.
  constexpr std::int64_t kLongest = INFINITE - 1;
  Sleep(static_cast<DWORD>(std::clamp<std::int64_t>(duration.count(), 0, kLongest)));
}

}  // namespace kvwmi::ground
