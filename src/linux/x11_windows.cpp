#include "linux/x11_windows.h"

#include <poll.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "frame/text.h"

namespace kvwmi::ground {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{2};
constexpr std::uint32_t kLongestTitle = 16 * 1024;  // in 32-bit units
constexpr std::uint32_t kMostWindows = 64 * 1024;

struct Free {
  void operator()(void* memory) const noexcept { std::free(memory); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

/// One question to the display: requests go out together, replies are waited for no longer than kPatience
/// altogether.
class Session {
 public:
  explicit Session(xcb_connection_t* connection, int screen) : connection_(connection) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screen && screens.rem > 1; ++i) xcb_screen_next(&screens);
    root_ = screens.data->root;
  }

  [[nodiscard]] xcb_connection_t* connection() const noexcept { return connection_; }
  [[nodiscard]] xcb_window_t root() const noexcept { return root_; }

  /// The reply, or null: an error, a broken connection, or no answer in time.
  template <typename Reply>
  Owned<Reply> reply(unsigned sequence) {
    for (;;) {
      void* answer = nullptr;
      xcb_generic_error_t* failure = nullptr;
      if (xcb_poll_for_reply(connection_, sequence, &answer, &failure) != 0) {
        std::free(failure);
        return Owned<Reply>(static_cast<Reply*>(answer));
      }
      if (!wait()) {
        xcb_discard_reply(connection_, sequence);
        return nullptr;
      }
    }
  }

  xcb_atom_t atom(std::string_view name) {
    const auto cookie = xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const auto answer = reply<xcb_intern_atom_reply_t>(cookie.sequence);
    return answer ? answer->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
  }

  unsigned ask_property(xcb_window_t window, xcb_atom_t property, std::uint32_t most) {
    return xcb_get_property(connection_, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, most).sequence;
  }

  /// 32-bit items of a property; none where it has none.
  std::vector<std::uint32_t> items(unsigned sequence) {
    const auto answer = reply<xcb_get_property_reply_t>(sequence);
    if (!answer || answer->format != 32) return {};
    std::vector<std::uint32_t> result(answer->value_len);
    if (!result.empty()) {
      std::memcpy(result.data(), xcb_get_property_value(answer.get()), result.size() * sizeof(std::uint32_t));
    }
    return result;
  }

 private:
  bool wait() {
    xcb_flush(connection_);
    if (xcb_connection_has_error(connection_) != 0) return false;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - SteadyClock::now());
    if (left.count() <= 0) return false;
    pollfd display{xcb_get_file_descriptor(connection_), POLLIN, 0};
    ::poll(&display, 1, static_cast<int>(left.count()));
    return true;
  }

  xcb_connection_t* connection_;
  xcb_window_t root_ = XCB_WINDOW_NONE;
  SteadyClock::time_point deadline_ = SteadyClock::now() + kPatience;
};

std::string from_latin1(std::string_view text) {
  std::string result;
  for (const char letter : text) append_code_point(result, static_cast<unsigned char>(letter));
  return result;
}

/// A title's text in UTF-8; nullopt for a window without that property.
std::optional<std::string> text(const xcb_get_property_reply_t* answer) {
  if (answer == nullptr || answer->type == XCB_ATOM_NONE || answer->format != 8) return std::nullopt;
  const std::string_view bytes(static_cast<const char*>(xcb_get_property_value(answer)), answer->value_len);
  return answer->type == XCB_ATOM_STRING ? from_latin1(bytes) : std::string(bytes);
}

/// The clients of the window manager; nothing where none is at work. A manager that has ended may have left a
/// list with windows that are gone, which have no title any more.
std::vector<xcb_window_t> managed_windows(Session& display) {
  const xcb_atom_t list = display.atom("_NET_CLIENT_LIST");
  return display.items(display.ask_property(display.root(), list, kMostWindows));
}

/// What stands on the screen itself: all clients where there is no manager, and those that it missed.
std::vector<xcb_window_t> mapped_windows(Session& display) {
  std::vector<xcb_window_t> result;
  const auto tree =
      display.reply<xcb_query_tree_reply_t>(xcb_query_tree(display.connection(), display.root()).sequence);
  if (!tree) return result;
  const std::span<const xcb_window_t> children(xcb_query_tree_children(tree.get()),
                                               static_cast<std::size_t>(tree->children_len));
  std::vector<unsigned> questions;
  for (const xcb_window_t child : children) {
    questions.push_back(xcb_get_window_attributes(display.connection(), child).sequence);
  }
  for (std::size_t i = 0; i < children.size(); ++i) {
    const auto attributes = display.reply<xcb_get_window_attributes_reply_t>(questions[i]);
    if (attributes && attributes->map_state != XCB_MAP_STATE_UNMAPPED && attributes->override_redirect == 0) {
      result.push_back(children[i]);
    }
  }
  return result;
}

xcb_window_t window_titled(Session& display, std::span<const xcb_window_t> windows, std::string_view title) {
  const xcb_atom_t utf8_name = display.atom("_NET_WM_NAME");
  struct Questions {
    unsigned utf8_name;
    unsigned name;
  };
  std::vector<Questions> questions;
  for (const xcb_window_t window : windows) {
    questions.push_back({display.ask_property(window, utf8_name, kLongestTitle),
                         display.ask_property(window, XCB_ATOM_WM_NAME, kLongestTitle)});
  }
  xcb_window_t found = XCB_WINDOW_NONE;
  for (std::size_t i = 0; i < windows.size(); ++i) {
    if (found != XCB_WINDOW_NONE) {
      xcb_discard_reply(display.connection(), questions[i].utf8_name);
      xcb_discard_reply(display.connection(), questions[i].name);
      continue;
    }
    const auto utf8 = display.reply<xcb_get_property_reply_t>(questions[i].utf8_name);
    const auto plain = display.reply<xcb_get_property_reply_t>(questions[i].name);
    std::optional<std::string> name = text(utf8.get());
    if (!name) name = text(plain.get());
    if (name == title) found = windows[i];
  }
  return found;
}

}  // namespace

X11Windows::~X11Windows() {
  disconnect();
}

bool X11Windows::connect() {
  const char* display = std::getenv("DISPLAY");
  if (display == nullptr || *display == '\0') return false;
  if (connection_ != nullptr && (display_ != display || xcb_connection_has_error(connection_) != 0))
    disconnect();
  if (connection_ == nullptr) {
    display_ = display;
    connection_ = xcb_connect(display, &screen_);
  }
  if (xcb_connection_has_error(connection_) == 0) return true;
  disconnect();
  return false;
}

void X11Windows::disconnect() {
  if (connection_ != nullptr) xcb_disconnect(connection_);
  connection_ = nullptr;
}

Windows::Handle X11Windows::find(std::string_view title) {
  const std::scoped_lock lock(mutex_);
  if (!connect()) return 0;
  Session display(connection_, screen_);
  // Events that nobody asked for (mapping changes) would pile up on a long-lived connection.
  while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) continue;
  const xcb_window_t managed = window_titled(display, managed_windows(display), title);
  return managed != XCB_WINDOW_NONE ? managed : window_titled(display, mapped_windows(display), title);
}

Windows::CloseReply X11Windows::close(Handle handle) {
  constexpr CloseReply kRefused{1, 5};
  constexpr CloseReply kGone{1, 1400};
  const std::scoped_lock lock(mutex_);
  if (!connect()) return kGone;
  Session display(connection_, screen_);
  const auto window = static_cast<xcb_window_t>(handle);
  const auto attributes = display.reply<xcb_get_window_attributes_reply_t>(
      xcb_get_window_attributes(connection_, window).sequence);
  if (!attributes) return kGone;

  const xcb_atom_t protocols = display.atom("WM_PROTOCOLS");
  const xcb_atom_t delete_window = display.atom("WM_DELETE_WINDOW");
  constexpr std::uint32_t kMostProtocols = 64;
  const auto taken = display.items(display.ask_property(window, protocols, kMostProtocols));
  if (std::find(taken.begin(), taken.end(), delete_window) == taken.end()) return kRefused;

  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = protocols;
  message.data.data32[0] = delete_window;
  message.data.data32[1] = XCB_CURRENT_TIME;
  std::array<char, 32> wire{};
  static_assert(sizeof message == wire.size());
  std::memcpy(wire.data(), &message, wire.size());
  // A window that goes away in between needs no closing any more, so nobody waits for an error.
  xcb_send_event(connection_, 0, window, XCB_EVENT_MASK_NO_EVENT, wire.data());
  return xcb_flush(connection_) > 0 ? CloseReply{} : kGone;
}

}  // namespace kvwmi::ground
