#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvipaddress {

/// An IPv4 or IPv6 address; IPv4 uses the first four bytes.
struct Address {
  bool v6 = false;
  std::array<std::uint8_t, 16> bytes{};

  friend auto operator<=>(const Address&, const Address&) = default;
};

/// Dotted decimal without leading zeros, or any form of IPv6 text but one with a zone.
[[nodiscard]] std::optional<Address> parse_address(std::string_view text);
/// The canonical text: IPv6 in small letters, the longest run of zeros as "::".
[[nodiscard]] std::string to_text(const Address& address);

/// Addresses that every machine gives itself: loopback, and IPv6 link-local.
[[nodiscard]] bool is_local(const Address& address);

/// The addresses that share their first `prefix` bits with `base`.
struct Subnet {
  Address base;
  int prefix = 0;

  [[nodiscard]] bool contains(const Address& address) const;
};

/// "ADDRESS" (that one address) or "ADDRESS/BITS".
[[nodiscard]] std::optional<Subnet> parse_subnet(std::string_view text);
[[nodiscard]] std::string to_text(const Subnet& subnet);

}  // namespace kvipaddress
