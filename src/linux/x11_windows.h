#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "frame/platform.h"
#include "linux/providers/bounded_calls.h"

struct xcb_connection_t;

namespace kvwmi::ground {

/// Top-level windows of the X11 display that DISPLAY names, whatever program they belong to.
///
/// These are the clients that a window manager lists, minimised ones included, and the mapped children of the
/// root window that are no pop-ups. Titles compare byte for byte. A window that only Wayland knows cannot be
/// seen. Without a display there is no window; one that does not answer within two seconds, be it a question
/// or the connection, raises Error 0x800705B4, one that goes away while it is asked 0x80004005. After a
/// question without an answer it is connected anew, and while that hangs every call raises at once.
class X11Windows final : public Windows {
 public:
  X11Windows();

  Handle find(std::string_view title) override;
  /// Asks the window to close, as its close button does, and returns without waiting for what it makes of it.
  /// A window that does not take such requests is refused: answer 1 and error 5, "Access is denied."; one
  /// that is gone meanwhile: answer 1 and error 1400, "Invalid window handle.".
  CloseReply close(Handle window) override;

 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const noexcept;
  };
  struct Connection {
    std::unique_ptr<xcb_connection_t, Disconnect> display;  ///< null without one
    int screen = 0;
  };

  bool connect();
  /// What `question` gives, asked in a Session; lets go of a display that does not answer.
  template <typename Question>
  auto ask(const Question& question);
  [[nodiscard]] xcb_connection_t* open_display() const noexcept { return connection_.display.get(); }

  std::mutex mutex_;  // one connection serves all threads
  std::string name_;
  Connection connection_;
  providers::BoundedCalls<std::shared_ptr<Connection>> connecting_;  // by the display's name
};

}  // namespace kvwmi::ground
