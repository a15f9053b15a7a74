#include "kvwmi/message_loop.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <string>
#include <thread>

#include "kvwmi/error.h"
#include "kvwmi/named_event.h"
#include "windows/testing/own_name.h"
#include "windows/win32/named_events.h"

namespace kvwmi {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::own_name;
using Reset = NamedEvent::Reset;

int ticks = 0;
void CALLBACK tick(HWND, UINT, UINT_PTR, DWORD) {
  ++ticks;
}

TEST(MessageLoopTest, DispatchesTimersWithoutAWindow) {
  ticks = 0;
  const UINT_PTR timer = ::SetTimer(nullptr, 0, 10, &tick);
  ASSERT_NE(timer, 0U);
  EXPECT_TRUE(message_loop::run_until([] { return ticks >= 2; }, seconds(10)));
  ::KillTimer(nullptr, timer);
}

TEST(MessageLoopTest, RunUntilSeesWhatAnotherThreadDoes) {
  std::atomic<bool> done = false;
  std::thread other([&] { done = true; });
  EXPECT_TRUE(message_loop::run_until([&] { return done.load(); }, seconds(10)));
  other.join();
  EXPECT_FALSE(message_loop::run_until([] { return false; }, milliseconds(20)));
}

TEST(MessageLoopTest, ANegativeWaitIsNone) {
  // In nanoseconds the second is less than 64 bits can hold, by what would make it 146 years.
  for (const milliseconds negative : {milliseconds::min(), milliseconds(-13'835'058'055'282)}) {
    int asked = 0;
    EXPECT_FALSE(message_loop::run_until([&] { return ++asked == 3; }, negative));
    EXPECT_EQ(asked, 1);
    message_loop::run_for(negative);
  }
}

TEST(MessageLoopTest, RunForRunsAllTheTime) {
  const auto before = std::chrono::steady_clock::now();
  message_loop::run_for(milliseconds(30));
  EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(25));
}

TEST(MessageLoopTest, LeavesAQuitMessageForTheThreadsPump) {
  ::PostQuitMessage(7);
  message_loop::run_for(seconds(60));
  EXPECT_FALSE(message_loop::run_until([] { return false; }, seconds(60)));
  MSG message;
  ASSERT_NE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE), FALSE);
  EXPECT_EQ(message.wParam, 7U);
}

TEST(MessageLoopTest, HasNoDescriptor) {
  EXPECT_EQ(message_loop::file_descriptor(), -1);
}

TEST(NamedEventTest, IsSetThroughTheEightBitNameOfTheEngine) {
  NamedEvent event(own_name("set"), Reset::automatic);
  EXPECT_FALSE(event.wait(milliseconds(0)));
  const HANDLE engine = ::OpenEventA(EVENT_ALL_ACCESS, FALSE, own_name("set").c_str());
  ASSERT_NE(engine, nullptr);
  ::SetEvent(engine);
  ::CloseHandle(engine);
  EXPECT_TRUE(event.wait(milliseconds(0)));
  EXPECT_FALSE(event.wait(milliseconds(0)));
}

TEST(NamedEventTest, AManualEventStaysSet) {
  NamedEvent event(R"(Local\)" + own_name("manual"), Reset::manual);
  event.set();
  EXPECT_TRUE(event.wait(milliseconds(0)));
  EXPECT_TRUE(event.wait(milliseconds(0)));
  event.reset();
  EXPECT_FALSE(event.wait(milliseconds(0)));
}

TEST(NamedEventTest, RefusesTheEmptyName) {
  try {
    NamedEvent event("", Reset::automatic);
    ADD_FAILURE();
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x8007007B));
  }
}

TEST(NamedEventTest, HasANameThatTheEngineCanSay) {
  const std::string within = own_name("d\u00E9j\u00E0");
  NamedEvent event(within, Reset::automatic);
  ground::Win32NamedEvents().signal(within);
  EXPECT_TRUE(event.wait(milliseconds(0)));

  if (::GetACP() == CP_UTF8) GTEST_SKIP() << "this code page has all letters";
  const std::string outside = own_name("\u4E8B\u4EF6");
  try {
    NamedEvent unreachable(outside, Reset::automatic);
    ADD_FAILURE();
  } catch (const Error& error) {
    EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x8007007B));
    EXPECT_EQ(error.description(),
              "No event can be named \"" + outside + "\": the code page of this system lacks a letter of it");
  }
}

}  // namespace
}  // namespace kvwmi
