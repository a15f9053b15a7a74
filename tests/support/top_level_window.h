#pragma once

#include <windows.h>

#include <string>

namespace kvwmi::tests {

/// A top-level window of this thread, there while the object lives.
class TopLevelWindow {
 public:
  explicit TopLevelWindow(const std::string& title)
      : handle_(CreateWindowA("STATIC", title.c_str(), WS_OVERLAPPEDWINDOW, 0, 0, 9, 9, nullptr, nullptr,
                              nullptr, nullptr)) {}
  ~TopLevelWindow() { DestroyWindow(handle_); }
  TopLevelWindow(const TopLevelWindow&) = delete;
  TopLevelWindow& operator=(const TopLevelWindow&) = delete;
  [[nodiscard]] bool exists() const { return handle_ != nullptr; }

 private:
  HWND handle_;
};

}  // namespace kvwmi::tests
