#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "linux/testing/child.h"

namespace kvwmi::testing {

/// A client's own connection to the display that DISPLAY names.
class Client {
 public:
  Client() : connection_(xcb_connect(nullptr, nullptr)) {}
  ~Client() { xcb_disconnect(connection_); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  [[nodiscard]] xcb_connection_t* connection() const noexcept { return connection_; }
  [[nodiscard]] const xcb_screen_t& screen() const {
    return *xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  }
  [[nodiscard]] xcb_atom_t atom(std::string_view name) const {
    const auto cookie = xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    xcb_intern_atom_reply_t* answer = xcb_intern_atom_reply(connection_, cookie, nullptr);
    const xcb_atom_t result = answer->atom;
    std::free(answer);
    return result;
  }
  /// Whether the root window has the property.
  [[nodiscard]] bool root_has(std::string_view property) const {
    const auto cookie =
        xcb_get_property(connection_, 0, screen().root, atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, 1);
    xcb_get_property_reply_t* answer = xcb_get_property_reply(connection_, cookie, nullptr);
    const bool result = answer != nullptr && answer->type != XCB_ATOM_NONE;
    std::free(answer);
    return result;
  }

 private:
  xcb_connection_t* connection_;
};

/// A top-level window of a client of its own.
class TestWindow {
 public:
  enum class Title { utf8, latin1 };
  enum class Closing { taken, not_taken };

  explicit TestWindow(std::string_view title, Title form = Title::utf8, Closing closing = Closing::taken)
      : window_(xcb_generate_id(connection())) {
    const xcb_screen_t& screen = client_.screen();
    xcb_create_window(connection(), XCB_COPY_FROM_PARENT, window_, screen.root, 0, 0, 50, 50, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual, 0, nullptr);
    set_title(title, form);
    if (closing == Closing::taken) {
      delete_window_ = client_.atom("WM_DELETE_WINDOW");
      xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window_, client_.atom("WM_PROTOCOLS"),
                          XCB_ATOM_ATOM, 32, 1, &delete_window_);
    }
    xcb_map_window(connection(), window_);
    xcb_flush(connection());
  }
  void set_title(std::string_view title, Title form) {
    const bool utf8 = form == Title::utf8;
    xcb_change_property(connection(), XCB_PROP_MODE_REPLACE, window_,
                        utf8 ? client_.atom("_NET_WM_NAME") : static_cast<xcb_atom_t>(XCB_ATOM_WM_NAME),
                        utf8 ? client_.atom("UTF8_STRING") : static_cast<xcb_atom_t>(XCB_ATOM_STRING), 8,
                        static_cast<std::uint32_t>(title.size()), title.data());
    xcb_flush(connection());
  }
  [[nodiscard]] bool is_mapped() const {
    xcb_get_window_attributes_reply_t* answer = xcb_get_window_attributes_reply(
        connection(), xcb_get_window_attributes(connection(), window_), nullptr);
    const bool result = answer != nullptr && answer->map_state != XCB_MAP_STATE_UNMAPPED;
    std::free(answer);
    return result;
  }
  [[nodiscard]] xcb_window_t id() const noexcept { return window_; }

  /// Takes what the server sent; tells whether the window was asked to close, and closes it then.
  bool asked_to_close() {
    bool asked = false;
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection())) {
      if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE) {
        xcb_client_message_event_t message;
        std::memcpy(&message, event, sizeof message);
        asked = asked || message.data.data32[0] == delete_window_;
      }
      std::free(event);
    }
    if (asked) close();
    return asked;
  }
  void close() {
    xcb_destroy_window(connection(), window_);
    xcb_flush(connection());
  }

 private:
  [[nodiscard]] xcb_connection_t* connection() const noexcept { return client_.connection(); }

  Client client_;
  xcb_window_t window_;
  xcb_atom_t delete_window_ = XCB_ATOM_NONE;
};

/// An X server of the test's own, with a window manager where asked. DISPLAY names it while it lives.
class Display {
 public:
  enum class Manager { none, openbox };

  explicit Display(Manager manager = Manager::none) {
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe2");
    server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(ends[1]), "-noreset",
                                             "-nolisten", "tcp", "-screen", "0", "640x480x24"},
                    ends[1]);
    ::close(ends[1]);
    char letter = 0;
    std::string number;
    while (::read(ends[0], &letter, 1) == 1 && letter != '\n') number += letter;
    ::close(ends[0]);
    name_ = ':' + number;
    const char* before = std::getenv("DISPLAY");
    if (before != nullptr) before_ = before;
    ::setenv("DISPLAY", name_.c_str(), 1);
    if (manager == Manager::openbox) {
      manager_.emplace(std::vector<std::string>{"openbox", "--sm-disable"});
      const Client client;
      const bool manages = eventually([&] { return client.root_has("_NET_CLIENT_LIST"); });
      if (!manages || !manager_answers()) throw std::runtime_error("openbox manages no windows");
    }
  }
  ~Display() {
    if (before_) {
      ::setenv("DISPLAY", before_->c_str(), 1);
    } else {
      ::unsetenv("DISPLAY");
    }
  }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  [[nodiscard]] Child& server() { return *server_; }
  [[nodiscard]] Child& manager() { return *manager_; }

 private:
  /// A manager that starts loses what is mapped meanwhile, so it is asked until it answers.
  [[nodiscard]] static bool manager_answers() {
    return eventually([] {
      const TestWindow probe("probe");
      return eventually([&] { return probe.is_mapped(); }, std::chrono::milliseconds(100));
    });
  }

  std::optional<Child> server_;
  std::optional<Child> manager_;
  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace kvwmi::testing
