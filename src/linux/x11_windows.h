#pragma once

#include <mutex>
#include <string>

#include "frame/platform.h"

struct xcb_connection_t;

namespace kvwmi::ground {

/// Top-level windows of the X11 display that DISPLAY names, whatever program they belong to.
///
/// These are the clients that a window manager lists, minimised ones included, and the mapped children of the
/// root window that are no pop-ups. Titles compare byte for byte. A window that only Wayland knows cannot be
/// seen. Without a display there is no window; one that does not answer within two seconds, or goes away
/// while it is asked, raises Error 0x800705B4 or 0x80004005.
class X11Windows final : public Windows {
 public:
  X11Windows() = default;
  ~X11Windows() override;
  X11Windows(const X11Windows&) = delete;
  X11Windows& operator=(const X11Windows&) = delete;

  Handle find(std::string_view title) override;
  /// Asks the window to close, as its close button does, and returns without waiting for what it makes of it.
  /// A window that does not take such requests is refused: answer 1 and error 5, "Access is denied."; one
  /// that is gone meanwhile: answer 1 and error 1400, "Invalid window handle.".
  CloseReply close(Handle window) override;

 private:
  bool connect();
  void disconnect();

  std::mutex mutex_;  // one connection serves all threads
  std::string display_;
  int screen_ = 0;
  xcb_connection_t* connection_ = nullptr;
};

}  // namespace kvwmi::ground
