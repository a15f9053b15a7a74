// The library goes while its thread lives on: an engine that watched and was released leaves nothing in the
// thread.

#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "automation.h"
#include "kvwmi/message_loop.h"
#include "server.h"
#include "stand_in/class_objects.h"
#include "stand_in/repository.h"
#include "windows/com/kvwmi.h"

namespace {

namespace message_loop = kvwmi::message_loop;
using automation::Bstr;
using automation::ComPtr;
using kvwmi::stand_in::InProcessStandIn;
using kvwmi::stand_in::Repository;

constexpr std::chrono::seconds kDeadline{30};

ComPtr<_Supervision> create(const server::LoadedLibrary& library) {
  ComPtr<IClassFactory> factory;
  ComPtr<_Supervision> result;
  EXPECT_EQ(library.class_object(__uuidof(Supervision), IID_PPV_ARGS(factory.put())), S_OK);
  if (!factory) return result;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_PPV_ARGS(result.put())), S_OK);
  return result;
}

/// Watches windows every second until one that it makes is seen, then lets everything go.
void watch(const server::LoadedLibrary& library) {
  const auto object = create(library);
  ASSERT_TRUE(object);
  ASSERT_EQ(object->m_Initialize(), S_OK);
  const std::string title = "kvwmi unload " + std::to_string(GetCurrentThreadId());
  LONG result = -1;
  ASSERT_EQ(object->m_SuperviseWindow(7, 3, Bstr(title).get(), VARIANT_TRUE, VARIANT_FALSE, 1, 0, 0,
                                      VARIANT_FALSE, &result),
            S_OK);
  const HWND window = CreateWindowExW(0, L"STATIC", Bstr(title).get(), WS_OVERLAPPED, 0, 0, 10, 10, nullptr,
                                      nullptr, nullptr, nullptr);
  ASSERT_NE(window, nullptr) << GetLastError();
  LONG watch_seen = 0;
  EXPECT_TRUE(message_loop::run_until(
      [&] {
        Bstr detail;
        EXPECT_EQ(object->m_PopEventInfos(7, &watch_seen, detail.receive()), S_OK);
        return watch_seen != 0;
      },
      kDeadline));
  EXPECT_EQ(watch_seen, 3);
  DestroyWindow(window);
  EXPECT_EQ(library.can_unload_now(), S_FALSE);
  ASSERT_EQ(object->m_Release(), S_OK);
}

VOID CALLBACK note_tick(HWND, UINT, UINT_PTR, DWORD) {}

TEST(SupervisionUnload, AThreadGoesOnAndEndsAfterTheLibraryThatItWatchedWith) {
  bool finished = false;
  std::thread([&] {
    server::Apartment apartment;
    const InProcessStandIn stand_in(std::make_shared<Repository>());
    server::LoadedLibrary library;
    ASSERT_NO_FATAL_FAILURE(watch(library));
    ASSERT_EQ(library.can_unload_now(), S_OK);
    library.free();
    ASSERT_EQ(GetModuleHandleW(L"KVWMI.dll"), nullptr);
    // A timer that had been left behind would come before this later one does, and run code that is gone; the
    // system would swallow what comes of that.
    const UINT_PTR timer = SetTimer(nullptr, 0, 1'500, note_tick);
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
      const bool is_timer = message.message == WM_TIMER && !message.hwnd;
      if (is_timer && message.wParam == timer) break;
      EXPECT_FALSE(is_timer) << "a timer was left behind";
      DispatchMessageW(&message);
    }
    KillTimer(nullptr, timer);
    finished = true;
  }).join();
  EXPECT_TRUE(finished);
}

}  // namespace
