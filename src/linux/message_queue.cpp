#include "linux/message_queue.h"

#include <array>
#include <cerrno>
#include <cstdint>

namespace kvwmi::ground {
namespace {

// The kernel takes up to NAME_MAX bytes behind the slash.
constexpr std::size_t kLongestName = 254;
constexpr std::size_t kChecksumLength = 17;  // % and 16 digits

std::string hexadecimal(std::uint64_t value, int digits) {
  std::string result;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
    result += "0123456789ABCDEF"[(value >> shift) & 0xF];
  }
  return result;
}

/// FNV-1a, 64 bits.
std::uint64_t checksum(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
  return hash;
}

}  // namespace

std::optional<std::string> queue_name(std::string_view event_name) {
  for (const std::string_view prefix : {R"(Global\)", R"(Local\)"}) {
    if (event_name.starts_with(prefix)) {
      event_name.remove_prefix(prefix.size());
      break;
    }
  }
  if (event_name.empty() || event_name.find('\\') != std::string_view::npos) return std::nullopt;

  std::string name;
  for (const char letter : event_name) {
    const auto byte = static_cast<unsigned char>(letter);
    const bool leading_dot = name.empty() && letter == '.';
    if (letter == '/' || letter == '%' || leading_dot || byte < 0x20 || byte == 0x7F) {
      name += '%' + hexadecimal(byte, 2);
    } else {
      name += letter;
    }
  }
  if (name.size() > kLongestName) {
    const std::string completion = '%' + hexadecimal(checksum(name), 16);
    name.resize(kLongestName - kChecksumLength);
    name += completion;
  }
  return '/' + name;
}

std::optional<long> event_message_size(int queue) {
  mq_attr attributes{};
  const bool is_event = ::mq_getattr(queue, &attributes) == 0 && attributes.mq_maxmsg == 1 &&
                        attributes.mq_msgsize <= kManualMessageSize;
  return is_event ? std::optional(attributes.mq_msgsize) : std::nullopt;
}

bool set_event(int queue) {
  return ::mq_send(queue, "", 1, 0) == 0 || errno == EAGAIN;
}

bool take_signal(int queue) {
  std::array<char, kManualMessageSize> message{};
  return ::mq_receive(queue, message.data(), message.size(), nullptr) >= 0;
}

}  // namespace kvwmi::ground
