#pragma once

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

/// rtnetlink: messages and attributes are a header with a length and what follows it, aligned to four bytes.
namespace kvipaddress {

/// The T at the start of `bytes`, which may lie at any address.
template <typename T>
std::optional<T> head(std::string_view bytes) {
  if (bytes.size() < sizeof(T)) return std::nullopt;
  T value{};
  std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

inline std::string_view after(std::string_view bytes, std::size_t size) {
  return bytes.substr(std::min((size + 3) & ~std::size_t{3}, bytes.size()));
}

/// Hands `use` each attribute's type and content.
template <typename Use>
void for_each_attribute(std::string_view bytes, Use use) {
  for (;;) {
    const auto attribute = head<rtattr>(bytes);
    if (!attribute || attribute->rta_len < sizeof(rtattr) || attribute->rta_len > bytes.size()) return;
    use(attribute->rta_type & NLA_TYPE_MASK,
        bytes.substr(sizeof(rtattr), attribute->rta_len - sizeof(rtattr)));
    bytes = after(bytes, attribute->rta_len);
  }
}

/// How the kernel's answer to a request for everything ended.
enum class Dump { complete, interrupted, failed };

/// Hands `use` the type and content of each message of a datagram; nullopt where the answer goes on in the
/// next one. `interrupted` is to begin false and to be handed on.
template <typename Use>
std::optional<Dump> read_datagram(std::string_view bytes, bool& interrupted, Use use) {
  while (const auto message = head<nlmsghdr>(bytes)) {
    if (message->nlmsg_len < sizeof(nlmsghdr) || message->nlmsg_len > bytes.size()) return Dump::failed;
    const std::string_view content = bytes.substr(sizeof(nlmsghdr), message->nlmsg_len - sizeof(nlmsghdr));
    interrupted = interrupted || (message->nlmsg_flags & NLM_F_DUMP_INTR) != 0;
    if (message->nlmsg_type == NLMSG_ERROR) return Dump::failed;
    if (message->nlmsg_type == NLMSG_DONE) {
      // The end carries the error that the kernel met on its way, where there was one.
      if (head<std::int32_t>(content).value_or(0) != 0) return Dump::failed;
      return interrupted ? Dump::interrupted : Dump::complete;
    }
    use(message->nlmsg_type, content);
    bytes = after(bytes, message->nlmsg_len);
  }
  return std::nullopt;
}

}  // namespace kvipaddress
