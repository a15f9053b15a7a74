#include "linux/x11_windows.h"

#include <poll.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "frame/text.h"
#include "linux/system_error.h"

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

/// What the display is asked within one call: requests go out together, replies are waited for no longer than
/// kPatience altogether.
class Session {
 public:
  explicit Session(xcb_connection_t* connection, int screen) : connection_(connection) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screen && screens.rem > 1; ++i) xcb_screen_next(&screens);
    root_ = screens.data->root;
  }

  [[nodiscard]] xcb_connection_t* connection() const noexcept { return connection_; }
  [[nodiscard]] xcb_window_t root() const noexcept { return root_; }

  /// Sends what is waiting to be sent and waits until the display has sent something; raises when it has gone
  /// or its time is up.
  void wait() {
    xcb_flush(connection_);
    require_connected();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - SteadyClock::now());
    if (left.count() <= 0) throw system_error(ETIMEDOUT, "xcb_poll_for_reply");
    pollfd display{xcb_get_file_descriptor(connection_), POLLIN, 0};
    ::poll(&display, 1, static_cast<int>(left.count()));
  }
  void require_connected() const {
    if (xcb_connection_has_error(connection_) != 0) throw system_error(ECONNRESET, "xcb_poll_for_reply");
  }

 private:
  xcb_connection_t* connection_;
  xcb_window_t root_ = XCB_WINDOW_NONE;
  SteadyClock::time_point deadline_ = SteadyClock::now() + kPatience;
};

/// A request under way. A reply that nobody has taken is dropped when it comes.
template <typename Reply>
class Question {
 public:
  template <typename Cookie>
  Question(Session& display, Cookie cookie) : display_(&display), sequence_(cookie.sequence) {}
  ~Question() {
    if (display_ != nullptr) xcb_discard_reply(display_->connection(), sequence_);
  }
  Question(Question&& other) noexcept
      : display_(std::exchange(other.display_, nullptr)), sequence_(other.sequence_) {}
  Question(const Question&) = delete;
  Question& operator=(const Question&) = delete;
  Question& operator=(Question&&) = delete;

  /// The reply, or null where the display refused: what was asked about is gone. Raises when there was no
  /// answer.
  [[nodiscard]] Owned<Reply> reply() {
    void* answer = nullptr;
    xcb_generic_error_t* refusal = nullptr;
    while (xcb_poll_for_reply(display_->connection(), sequence_, &answer, &refusal) == 0) display_->wait();
    Owned<Reply> result(static_cast<Reply*>(answer));
    const Owned<xcb_generic_error_t> refused(refusal);
    // A lost connection has an empty answer to everything.
    if (!result && !refused) display_->require_connected();
    display_ = nullptr;
    return result;
  }

 private:
  Session* display_;  // null once it is answered
  unsigned sequence_;
};

Question<xcb_get_property_reply_t> ask_property(Session& display, xcb_window_t window, xcb_atom_t property,
                                                std::uint32_t most) {
  return {display,
          xcb_get_property(display.connection(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, most)};
}

Question<xcb_get_window_attributes_reply_t> ask_attributes(Session& display, xcb_window_t window) {
  return {display, xcb_get_window_attributes(display.connection(), window)};
}

xcb_atom_t atom(Session& display, std::string_view name) {
  Question<xcb_intern_atom_reply_t> question(
      display,
      xcb_intern_atom(display.connection(), 0, static_cast<std::uint16_t>(name.size()), name.data()));
  const auto answer = question.reply();
  return answer ? answer->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

/// 32-bit items of a property; none where it has none.
std::vector<std::uint32_t> items(Question<xcb_get_property_reply_t> question) {
  const auto answer = question.reply();
  if (!answer || answer->format != 32) return {};
  std::vector<std::uint32_t> result(answer->value_len);
  if (!result.empty()) {
    std::memcpy(result.data(), xcb_get_property_value(answer.get()), result.size() * sizeof(std::uint32_t));
  }
  return result;
}

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
  const xcb_atom_t list = atom(display, "_NET_CLIENT_LIST");
  return items(ask_property(display, display.root(), list, kMostWindows));
}

/// What stands on the screen itself: all clients where there is no manager, and those that it missed.
std::vector<xcb_window_t> mapped_windows(Session& display) {
  std::vector<xcb_window_t> result;
  const auto tree =
      Question<xcb_query_tree_reply_t>(display, xcb_query_tree(display.connection(), display.root())).reply();
  if (!tree) return result;
  const std::span<const xcb_window_t> children(xcb_query_tree_children(tree.get()),
                                               static_cast<std::size_t>(tree->children_len));
  std::vector<Question<xcb_get_window_attributes_reply_t>> questions;
  for (const xcb_window_t child : children) questions.push_back(ask_attributes(display, child));
  for (std::size_t i = 0; i < children.size(); ++i) {
    const auto attributes = questions[i].reply();
    if (attributes && attributes->map_state != XCB_MAP_STATE_UNMAPPED && attributes->override_redirect == 0) {
      result.push_back(children[i]);
    }
  }
  return result;
}

xcb_window_t window_titled(Session& display, std::span<const xcb_window_t> windows, std::string_view title) {
  const xcb_atom_t utf8_name = atom(display, "_NET_WM_NAME");
  struct Questions {
    Question<xcb_get_property_reply_t> utf8_name;
    Question<xcb_get_property_reply_t> name;
  };
  std::vector<Questions> questions;
  for (const xcb_window_t window : windows) {
    questions.push_back({ask_property(display, window, utf8_name, kLongestTitle),
                         ask_property(display, window, XCB_ATOM_WM_NAME, kLongestTitle)});
  }
  for (std::size_t i = 0; i < windows.size(); ++i) {
    const auto utf8 = questions[i].utf8_name.reply();
    const auto plain = questions[i].name.reply();
    std::optional<std::string> name = text(utf8.get());
    if (!name) name = text(plain.get());
    if (name == title) return windows[i];
  }
  return XCB_WINDOW_NONE;
}

struct ClosingAtoms {
  explicit ClosingAtoms(Session& display)
      : protocols(atom(display, "WM_PROTOCOLS")), delete_window(atom(display, "WM_DELETE_WINDOW")) {}
  xcb_atom_t protocols;
  xcb_atom_t delete_window;
};

bool takes_requests_to_close(Session& display, xcb_window_t window, const ClosingAtoms& atoms) {
  constexpr std::uint32_t kMostProtocols = 64;
  const auto taken = items(ask_property(display, window, atoms.protocols, kMostProtocols));
  return std::find(taken.begin(), taken.end(), atoms.delete_window) != taken.end();
}

/// False where the display has gone.
bool request_to_close(Session& display, xcb_window_t window, const ClosingAtoms& atoms) {
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = atoms.protocols;
  message.data.data32[0] = atoms.delete_window;
  message.data.data32[1] = XCB_CURRENT_TIME;
  std::array<char, 32> wire{};
  static_assert(sizeof message == wire.size());
  std::memcpy(wire.data(), &message, wire.size());
  // A window that goes away in between needs no closing any more, so nobody waits for an error.
  xcb_send_event(display.connection(), 0, window, XCB_EVENT_MASK_NO_EVENT, wire.data());
  return xcb_flush(display.connection()) > 0;
}

}  // namespace

X11Windows::X11Windows() : connecting_(kPatience) {}

void X11Windows::Disconnect::operator()(xcb_connection_t* connection) const noexcept {
  xcb_disconnect(connection);
}

bool X11Windows::connect() {
  const char* name = std::getenv("DISPLAY");
  if (name == nullptr || *name == '\0') return false;
  // Events that nobody asked for (mapping changes) would pile up on a long-lived connection. Reading them
  // also tells when the display has gone.
  while (open_display() != nullptr) {
    const Owned<xcb_generic_event_t> event(xcb_poll_for_event(open_display()));
    if (!event) break;
  }
  if (open_display() != nullptr && (name_ != name || xcb_connection_has_error(open_display()) != 0))
    connection_ = {};
  if (open_display() == nullptr) {
    name_ = name;
    // A stopped server accepts connections, and then xcb_connect waits for its greeting for ever.
    try {
      const auto made = connecting_.call(name_, [asked = name_] {
        auto connection = std::make_shared<Connection>();
        connection->display.reset(xcb_connect(asked.c_str(), &connection->screen));
        return connection;
      });
      connection_ = std::move(*made);
    } catch (const Error&) {
      throw system_error(ETIMEDOUT, "xcb_connect");
    }
  }
  if (xcb_connection_has_error(open_display()) == 0) return true;
  connection_ = {};
  return false;
}

template <typename Question>
auto X11Windows::ask(const Question& question) {
  try {
    Session display(open_display(), connection_.screen);
    return question(display);
  } catch (const Error&) {
    // Requests that it does not read would pile up, and xcb waits for ever to send more than the socket
    // holds.
    connection_ = {};
    throw;
  }
}

Windows::Handle X11Windows::find(std::string_view title) {
  const std::scoped_lock lock(mutex_);
  if (!connect()) return 0;
  return ask([&](Session& display) {
    const xcb_window_t managed = window_titled(display, managed_windows(display), title);
    return managed != XCB_WINDOW_NONE ? managed : window_titled(display, mapped_windows(display), title);
  });
}

Windows::CloseReply X11Windows::close(Handle window) {
  constexpr CloseReply kTaken{};
  constexpr CloseReply kRefused{1, 5};
  constexpr CloseReply kGone{1, 1400};
  const std::scoped_lock lock(mutex_);
  if (!connect()) return kGone;
  return ask([&](Session& display) {
    const auto target = static_cast<xcb_window_t>(window);
    if (!ask_attributes(display, target).reply()) return kGone;
    const ClosingAtoms atoms(display);
    if (!takes_requests_to_close(display, target, atoms)) return kRefused;
    return request_to_close(display, target, atoms) ? kTaken : kGone;
  });
}

}  // namespace kvwmi::ground
