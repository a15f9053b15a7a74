#include <windows.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include "frame/wow64.h"
#include "kvwmi/message_loop.h"
#include "windows/testing/own_name.h"
#include "windows/win32/clock.h"
#include "windows/win32/named_events.h"
#include "windows/win32/system_info.h"
#include "windows/win32/top_level_windows.h"

namespace kvwmi::ground {
namespace {

using kvwmi::testing::own_name;
using std::chrono::milliseconds;

TEST(Win32Clock, TellsLocalTimeInWholeSeconds) {
  SYSTEMTIME before{};
  GetLocalTime(&before);
  const auto now = Win32Clock().local_now();
  SYSTEMTIME after{};
  GetLocalTime(&after);
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(now - day);
  const auto hour = static_cast<WORD>(time.hours().count());
  EXPECT_TRUE(hour == before.wHour || hour == after.wHour);
  const auto second = static_cast<WORD>(time.seconds().count());
  EXPECT_TRUE(second == before.wSecond || second == after.wSecond);
  EXPECT_TRUE(date.year() == std::chrono::year(before.wYear) ||
              date.year() == std::chrono::year(after.wYear));
}

TEST(Win32Clock, SleepsAtLeastAsLongAsAsked) {
  const auto start = std::chrono::steady_clock::now();
  Win32Clock().sleep(milliseconds(50));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(45));
  Win32Clock().sleep(milliseconds(-1));  // no time at all
}

TEST(Win32SystemInfo, TellsTheSystemsTextWithItsLineEnd) {
  const auto text = Win32SystemInfo().message(ERROR_FILE_NOT_FOUND);
  ASSERT_TRUE(text);
  EXPECT_TRUE(text->ends_with("\r\n")) << *text;
}

TEST(Win32SystemInfo, ACodeWithoutATextHasNone) {
  EXPECT_EQ(Win32SystemInfo().message(0x0FFFFFFF), std::nullopt);
}

TEST(Win32SystemInfo, WritesDatesAndTimesByTheRegionalSettings) {
  using namespace std::chrono_literals;
  const SYSTEMTIME moment{.wYear = 2026,
                          .wMonth = 1,
                          .wDayOfWeek = 6,
                          .wDay = 31,
                          .wHour = 8,
                          .wMinute = 5,
                          .wSecond = 9,
                          .wMilliseconds = 0};
  std::array<char, 64> expected{};
  ASSERT_GT(GetDateFormatA(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &moment, nullptr, expected.data(),
                           static_cast<int>(expected.size())),
            0);
  Win32SystemInfo system;
  EXPECT_EQ(system.date_text(std::chrono::local_days(std::chrono::year(2026) / 1 / 31)), expected.data());
  ASSERT_GT(GetTimeFormatA(LOCALE_USER_DEFAULT, 0, &moment, nullptr, expected.data(),
                           static_cast<int>(expected.size())),
            0);
  EXPECT_EQ(system.time_text(8h + 5min + 9s), expected.data());
}

TEST(Win32SystemInfo, TellsWhetherA32BitProcessRunsUnderA64BitSystem) {
  BOOL expected = FALSE;
  ASSERT_TRUE(IsWow64Process(GetCurrentProcess(), &expected));
  Win32SystemInfo system;
  EXPECT_EQ(system.wow64_process(), expected);
  EXPECT_EQ(PublicFunctions::IsWow64(system), expected);
}

TEST(Win32NamedEvents, SignalsAnExistingEvent) {
  const std::string name = own_name("event");
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, name.c_str());
  ASSERT_NE(event, nullptr);
  Win32NamedEvents().signal(name);
  EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
  CloseHandle(event);
}

TEST(Win32NamedEvents, ANameThatNoEventHasDoesNothing) {
  const std::string name = own_name("no-event");
  Win32NamedEvents().signal(name);
  Win32NamedEvents().signal("");
  // It was not created either.
  EXPECT_EQ(OpenEventA(EVENT_MODIFY_STATE, FALSE, name.c_str()), nullptr);
}

/// A top-level window of another thread that answers a close request with `answer`.
class OtherWindow {
 public:
  OtherWindow(const std::string& title, LRESULT answer)
      : thread_([this, title, answer] { run(title, answer); }) {
    while (!started_) std::this_thread::yield();
  }
  OtherWindow(const OtherWindow&) = delete;
  OtherWindow& operator=(const OtherWindow&) = delete;
  ~OtherWindow() {
    stop_ = true;
    if (window_) PostMessageW(window_, WM_NULL, 0, 0);
    thread_.join();
  }

  [[nodiscard]] HWND window() const { return window_; }
  [[nodiscard]] bool asked_to_close() const { return asked_; }

 private:
  static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM first, LPARAM second) {
    auto* const self = reinterpret_cast<OtherWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_CLOSE && self) {
      self->asked_ = true;
      return self->answer_;
    }
    return DefWindowProcW(window, message, first, second);
  }

  void run(const std::string& title, LRESULT answer) {
    answer_ = answer;
    WNDCLASSW type{};
    type.lpfnWndProc = on_message;
    type.hInstance = GetModuleHandleW(nullptr);
    type.lpszClassName = L"kvwmi test window";
    RegisterClassW(&type);
    window_ = CreateWindowW(type.lpszClassName, std::wstring(title.begin(), title.end()).c_str(),
                            WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr, nullptr, type.hInstance, nullptr);
    if (window_) SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    started_ = true;
    message_loop::run_until([this] { return stop_.load(); }, std::chrono::seconds(20));
    if (window_) DestroyWindow(window_);
  }

  LRESULT answer_ = 0;
  HWND window_ = nullptr;
  std::atomic<bool> started_ = false;
  std::atomic<bool> asked_ = false;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

TEST(Win32Windows, FindsByExactTitleAndDeliversTheAnswer) {
  Win32Windows windows;
  const std::string title = own_name("window");
  EXPECT_EQ(windows.find(title), 0U);
  for (const LRESULT answer : {0, 5}) {
    const OtherWindow other(title, answer);
    if (!other.window()) GTEST_SKIP() << "no top-level window can be made here";
    const auto found = windows.find(title);
    EXPECT_EQ(found, reinterpret_cast<std::uintptr_t>(other.window()));
    EXPECT_EQ(windows.find(title + " "), 0U);
    EXPECT_EQ(windows.find(title.substr(1)), 0U);
    EXPECT_FALSE(other.asked_to_close());
    EXPECT_EQ(windows.close(found).answer, answer);
    EXPECT_TRUE(other.asked_to_close());
  }
  EXPECT_EQ(windows.find(title), 0U);
}

}  // namespace
}  // namespace kvwmi::ground
