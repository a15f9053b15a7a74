#include "companions/kvipaddress/logic/address.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <vector>

namespace kvipaddress {
namespace {

constexpr int kGroups = 8;  // 16 bits each

int bits(const Address& address) {
  return address.v6 ? 128 : 32;
}

/// A whole text of digits only, at most `most`.
std::optional<int> number(std::string_view text, int base, std::size_t longest, int most) {
  int value = 0;
  const char* const end = text.data() + text.size();
  if (text.empty() || text.size() > longest || text.front() == '-') return std::nullopt;
  if (const auto parsed = std::from_chars(text.data(), end, value, base);
      parsed.ec != std::errc{} || parsed.ptr != end || value > most) {
    return std::nullopt;
  }
  return value;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::optional<Address> parse_v4(std::string_view text) {
  const auto parts = split(text, '.');
  if (parts.size() != 4) return std::nullopt;
  Address address;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const auto value = number(parts[i], 10, 3, 255);
    if (!value || (parts[i].size() > 1 && parts[i].front() == '0')) return std::nullopt;
    address.bytes[i] = static_cast<std::uint8_t>(*value);
  }
  return address;
}

/// The 16-bit groups of colon-separated text; at the end of an address the last may be an IPv4 address, which
/// makes two of them.
std::optional<std::vector<std::uint16_t>> parse_groups(std::string_view text, bool at_end) {
  std::vector<std::uint16_t> groups;
  if (text.empty()) return groups;
  const auto parts = split(text, ':');
  if (parts.size() > kGroups) return std::nullopt;
  for (const std::string_view part : parts) {
    if (part.find('.') != std::string_view::npos) {
      const auto v4 = parse_v4(part);
      if (!v4 || !at_end || part.data() != parts.back().data()) return std::nullopt;
      groups.push_back(static_cast<std::uint16_t>(v4->bytes[0] << 8 | v4->bytes[1]));
      groups.push_back(static_cast<std::uint16_t>(v4->bytes[2] << 8 | v4->bytes[3]));
      continue;
    }
    const auto value = number(part, 16, 4, 0xFFFF);
    if (!value) return std::nullopt;
    groups.push_back(static_cast<std::uint16_t>(*value));
  }
  return groups;
}

std::optional<Address> parse_v6(std::string_view text) {
  const std::size_t gap = text.find("::");
  const bool whole = gap == std::string_view::npos;
  const auto head = parse_groups(text.substr(0, gap), whole);
  const auto tail = whole ? std::vector<std::uint16_t>() : parse_groups(text.substr(gap + 2), true);
  if (!head || !tail) return std::nullopt;
  const std::size_t given = head->size() + tail->size();
  // "::" stands for at least one group.
  if (whole ? given != kGroups : given >= kGroups) return std::nullopt;

  Address address{true, {}};
  const auto put = [&](std::size_t group, std::uint16_t value) {
    address.bytes[2 * group] = static_cast<std::uint8_t>(value >> 8);
    address.bytes[2 * group + 1] = static_cast<std::uint8_t>(value & 0xFF);
  };
  for (std::size_t i = 0; i < head->size(); ++i) put(i, (*head)[i]);
  for (std::size_t i = 0; i < tail->size(); ++i) put(kGroups - tail->size() + i, (*tail)[i]);
  return address;
}

struct Run {
  int first = 0;
  int length = 0;
};

/// The first longest run of at least two zero groups.
Run longest_zero_run(const std::array<int, kGroups>& groups) {
  Run best;
  Run run;
  for (int i = 0; i < kGroups; ++i) {
    run = groups[static_cast<std::size_t>(i)] != 0 ? Run{i + 1, 0} : Run{run.first, run.length + 1};
    if (run.length > best.length && run.length >= 2) best = run;
  }
  return best;
}

std::string hexadecimal(int value) {
  std::array<char, 8> buffer{};
  return {buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, 16).ptr};
}

}  // namespace

std::optional<Address> parse_address(std::string_view text) {
  return text.find(':') == std::string_view::npos ? parse_v4(text) : parse_v6(text);
}

std::string to_text(const Address& address) {
  std::string text;
  if (!address.v6) {
    for (std::size_t i = 0; i < 4; ++i) text += (i == 0 ? "" : ".") + std::to_string(address.bytes[i]);
    return text;
  }
  std::array<int, kGroups> groups{};
  for (std::size_t i = 0; i < groups.size(); ++i) {
    groups[i] = address.bytes[2 * i] << 8 | address.bytes[2 * i + 1];
  }
  const Run zeros = longest_zero_run(groups);
  for (int i = 0; i < kGroups; ++i) {
    if (zeros.length != 0 && i == zeros.first) {
      text += "::";
      i += zeros.length - 1;
      continue;
    }
    if (!text.empty() && text.back() != ':') text += ':';
    text += hexadecimal(groups[static_cast<std::size_t>(i)]);
  }
  return text;
}

bool is_local(const Address& address) {
  static const std::array kLocal{*parse_subnet("127.0.0.0/8"), *parse_subnet("::1"),
                                 *parse_subnet("fe80::/10")};
  return std::any_of(kLocal.begin(), kLocal.end(),
                     [&](const Subnet& subnet) { return subnet.contains(address); });
}

bool Subnet::contains(const Address& address) const {
  if (address.v6 != base.v6) return false;
  for (int bit = 0; bit < prefix; bit += 8) {
    const auto byte = static_cast<std::size_t>(bit / 8);
    const int unused = std::max(0, bit + 8 - prefix);
    if ((base.bytes[byte] ^ address.bytes[byte]) >> unused != 0) return false;
  }
  return true;
}

std::optional<Subnet> parse_subnet(std::string_view text) {
  const std::size_t slash = text.find('/');
  const auto base = parse_address(text.substr(0, slash));
  if (!base) return std::nullopt;
  if (slash == std::string_view::npos) return Subnet{*base, bits(*base)};
  const auto prefix = number(text.substr(slash + 1), 10, 3, bits(*base));
  if (!prefix) return std::nullopt;
  return Subnet{*base, *prefix};
}

std::string to_text(const Subnet& subnet) {
  const std::string base = to_text(subnet.base);
  return subnet.prefix == bits(subnet.base) ? base : base + "/" + std::to_string(subnet.prefix);
}

}  // namespace kvipaddress
