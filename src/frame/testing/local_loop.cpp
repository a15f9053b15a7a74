#include <algorithm>

#include "frame/testing/local_ground.h"
#include "kvwmi/message_loop.h"
#include "kvwmi/named_event.h"

namespace kvwmi {

std::deque<std::function<void()>>& testing::fake_messages() {
  static std::deque<std::function<void()>> messages;
  return messages;
}

bool message_loop::run_once(std::chrono::milliseconds) {
  auto& messages = testing::fake_messages();
  if (messages.empty()) return false;
  const auto message = std::move(messages.front());
  messages.pop_front();
  message();
  return true;
}

void message_loop::run_for(std::chrono::milliseconds duration) {
  while (run_once(duration)) {
  }
}

bool message_loop::run_until(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
  while (!condition()) {
    if (!run_once(timeout)) return false;
  }
  return true;
}

int message_loop::file_descriptor() {
  return -1;
}

NamedEvent::NamedEvent(const std::string& name, Reset reset) : name_(name), reset_(reset), handle_(0) {}

NamedEvent::~NamedEvent() = default;

bool NamedEvent::wait(std::chrono::milliseconds) {
  auto& signalled = testing::fake_local_ground().fake_named_events.signalled;
  const auto found = std::find(signalled.begin(), signalled.end(), name_);
  if (found == signalled.end()) return false;
  if (reset_ == Reset::automatic) std::erase(signalled, name_);
  return true;
}

void NamedEvent::set() {
  testing::fake_local_ground().fake_named_events.signalled.push_back(name_);
}

void NamedEvent::reset() {
  std::erase(testing::fake_local_ground().fake_named_events.signalled, name_);
}

}  // namespace kvwmi
