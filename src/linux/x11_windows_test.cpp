#include "linux/x11_windows.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "frame/testing/raises.h"
#include "linux/testing/display.h"

namespace kvwmi::ground {
namespace {

using kvwmi::testing::Child;
using kvwmi::testing::Display;
using kvwmi::testing::eventually;
using kvwmi::testing::Raised;
using kvwmi::testing::raised_by;
using kvwmi::testing::TestWindow;
using Manager = Display::Manager;

const Raised kNoAnswer{static_cast<std::int32_t>(0x800705B4), "KVWMI",
                       "xcb_poll_for_reply: Connection timed out"};
const Raised kNoConnection{static_cast<std::int32_t>(0x800705B4), "KVWMI",
                           "xcb_connect: Connection timed out"};

struct X11WindowsTest : ::testing::TestWithParam<Manager> {
  std::optional<Display> display;
  X11Windows windows;

  void SetUp() override {
    if (!kvwmi::testing::installed("Xvfb")) GTEST_SKIP() << "Xvfb is not installed";
    if (GetParam() == Manager::openbox && !kvwmi::testing::installed("openbox")) {
      GTEST_SKIP() << "openbox is not installed";
    }
    display.emplace(GetParam());
  }

  bool appears(const std::string& title) {
    return eventually([&] { return windows.find(title) != 0; });
  }
  bool answers_again(const std::string& title, Windows::Handle window) {
    return eventually([&] {
      try {
        return windows.find(title) == window;
      } catch (const Error&) {
        return false;  // the greeting is under way
      }
    });
  }
  bool disappears(const std::string& title) {
    return eventually([&] { return windows.find(title) == 0; });
  }
};

INSTANTIATE_TEST_SUITE_P(WithAndWithoutManager, X11WindowsTest,
                         ::testing::Values(Manager::none, Manager::openbox), [](const auto& manager) {
                           return manager.param == Manager::none ? "WithoutManager" : "WithOpenbox";
                         });

TEST_P(X11WindowsTest, FindsATopLevelWindowByItsExactTitle) {
  const TestWindow other("Report");
  const TestWindow window("Report - Editor");
  EXPECT_TRUE(appears("Report - Editor"));
  EXPECT_EQ(windows.find("Report - Editor"), window.id());
  EXPECT_EQ(windows.find("Report - Edito"), 0U) << "a beginning is no match";
  EXPECT_EQ(windows.find("report - editor"), 0U) << "case counts";
  EXPECT_EQ(windows.find(""), 0U);
}

TEST_P(X11WindowsTest, TitlesAreUtf8WhateverTheClientWroteThemIn) {
  const TestWindow utf8("M\xC3\xA4rz \xE2\x82\xAC", TestWindow::Title::utf8);
  const TestWindow latin1("M\xE4rz", TestWindow::Title::latin1);
  EXPECT_TRUE(appears("M\xC3\xA4rz \xE2\x82\xAC"));
  EXPECT_TRUE(appears("M\xC3\xA4rz"));
  EXPECT_EQ(windows.find("M\xC3\xA4rz"), latin1.id());
}

TEST_P(X11WindowsTest, SeesAWindowOpenAndClose) {
  EXPECT_EQ(windows.find("short-lived"), 0U);
  {
    const TestWindow window("short-lived");
    EXPECT_TRUE(appears("short-lived"));
  }
  EXPECT_TRUE(disappears("short-lived"));
}

TEST_P(X11WindowsTest, SeesATitleChange) {
  TestWindow window("before");
  EXPECT_TRUE(appears("before"));
  window.set_title("after", TestWindow::Title::utf8);
  EXPECT_TRUE(appears("after"));
  EXPECT_EQ(windows.find("before"), 0U);
}

TEST_P(X11WindowsTest, AsksAWindowToClose) {
  TestWindow window("closes");
  ASSERT_TRUE(appears("closes"));
  const Windows::CloseReply reply = windows.close(windows.find("closes"));
  EXPECT_EQ(reply.answer, 0);
  EXPECT_TRUE(eventually([&] { return window.asked_to_close(); }));
  EXPECT_TRUE(disappears("closes"));
}

TEST_P(X11WindowsTest, RefusesToCloseAWindowThatDoesNotTakeSuchRequests) {
  TestWindow window("stays", TestWindow::Title::utf8, TestWindow::Closing::not_taken);
  ASSERT_TRUE(appears("stays"));
  const Windows::CloseReply reply = windows.close(windows.find("stays"));
  EXPECT_EQ(reply.answer, 1);
  EXPECT_EQ(reply.last_error, 5);
  EXPECT_NE(windows.find("stays"), 0U) << "the client must not be killed";
}

TEST_P(X11WindowsTest, AWindowThatIsGoneCannotBeClosed) {
  TestWindow window("gone");
  ASSERT_TRUE(appears("gone"));
  const Windows::Handle handle = windows.find("gone");
  window.close();
  ASSERT_TRUE(disappears("gone"));
  const Windows::CloseReply reply = windows.close(handle);
  EXPECT_EQ(reply.answer, 1);
  EXPECT_EQ(reply.last_error, 1400);
}

TEST_P(X11WindowsTest, FindsAnotherProgramsWindow) {
  if (!kvwmi::testing::installed("xmessage")) GTEST_SKIP() << "xmessage is not installed";
  Child program({"xmessage", "-title", "Message for you", "text"});
  EXPECT_TRUE(appears("Message for you"));
  EXPECT_EQ(windows.close(windows.find("Message for you")).answer, 0);
  EXPECT_EQ(program.wait(), 1);
}

TEST_P(X11WindowsTest, AServerThatHangsIsAnErrorAndTheNextAnswerIsRightAgain) {
  const TestWindow window("behind");
  ASSERT_TRUE(appears("behind"));
  const Windows::Handle handle = windows.find("behind");
  for (const std::function<void()>& question : {std::function<void()>([&] { windows.find("behind"); }),
                                                std::function<void()>([&] { windows.close(handle); })}) {
    display->server().kill(SIGSTOP);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(raised_by(question), kNoAnswer);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    display->server().kill(SIGCONT);
    EXPECT_TRUE(answers_again("behind", handle));
  }
}

TEST_P(X11WindowsTest, AServerThatHangsHoldsNobodyUpForLong) {
  const TestWindow window("behind the wall");
  ASSERT_TRUE(appears("behind the wall"));
  display->server().kill(SIGSTOP);
  EXPECT_EQ(raised_by([&] { return windows.find("behind the wall"); }), kNoAnswer);
  EXPECT_EQ(raised_by([&] { return windows.find("behind the wall"); }), kNoConnection);
  const auto before = std::chrono::steady_clock::now();
  const auto taken = [&] { return std::chrono::steady_clock::now() - before; };
  constexpr std::chrono::seconds kForAll{2};
  for (int i = 0; i < 1000 && taken() < kForAll; ++i) {
    EXPECT_EQ(raised_by([&] { return windows.find("behind the wall"); }), kNoConnection);
  }
  EXPECT_LT(taken(), kForAll);
  display->server().kill(SIGCONT);
  EXPECT_TRUE(answers_again("behind the wall", window.id()));
}

TEST_P(X11WindowsTest, AServerThatHangsBeforeItIsConnectedIsAnErrorToo) {
  const TestWindow window("behind the greeting");
  const auto before = std::chrono::steady_clock::now();
  display->server().kill(SIGSTOP);
  EXPECT_EQ(raised_by([&] { return windows.find("behind the greeting"); }), kNoConnection);
  EXPECT_EQ(raised_by([&] { return windows.close(1); }), kNoConnection)
      << "at once, as the first still hangs";
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
  display->server().kill(SIGCONT);
  EXPECT_TRUE(answers_again("behind the greeting", window.id()));
}

TEST_P(X11WindowsTest, TheWindowsOfAServerThatHasDiedAreGone) {
  const TestWindow window("before the end");
  ASSERT_TRUE(appears("before the end"));
  display->server().kill(SIGKILL);
  ASSERT_EQ(display->server().wait(), 128 + SIGKILL);
  EXPECT_EQ(windows.find("before the end"), 0U);
}

TEST(X11WindowsManagerTest, WhatAnEndedManagerLeftBehindDoesNotCount) {
  if (!kvwmi::testing::installed("openbox")) GTEST_SKIP() << "openbox is not installed";
  Display display(Manager::openbox);
  X11Windows windows;
  display.manager().kill(SIGKILL);
  ASSERT_EQ(display.manager().wait(), 128 + SIGKILL);
  const TestWindow late("opened without a manager");
  EXPECT_TRUE(eventually([&] { return windows.find("opened without a manager") == late.id(); }));
}

TEST(X11WindowsServerTest, FollowsTheDisplayAndANewServer) {
  if (!kvwmi::testing::installed("Xvfb")) GTEST_SKIP() << "Xvfb is not installed";
  X11Windows windows;
  for (const char* title : {"first", "second"}) {
    const Display display;
    const TestWindow window(title);
    EXPECT_TRUE(eventually([&] { return windows.find(title) == window.id(); }));
  }
  ::setenv("DISPLAY", ":64999", 1);
  EXPECT_EQ(windows.find("second"), 0U);
  ::unsetenv("DISPLAY");
  EXPECT_EQ(windows.find("second"), 0U) << "no display, no window";
}

}  // namespace
}  // namespace kvwmi::ground
