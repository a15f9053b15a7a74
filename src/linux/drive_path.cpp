#include "linux/drive_path.h"

#include <optional>

namespace kvwmi::ground {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";

std::optional<unsigned> digit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  return std::nullopt;
}

/// The byte whose code stands at `at`.
std::optional<char> code_at(std::string_view text, std::size_t at) {
  if (at + 2 >= text.size() || text[at] != '%') return std::nullopt;
  const auto high = digit(text[at + 1]);
  const auto low = digit(text[at + 2]);
  if (!high || !low) return std::nullopt;
  return static_cast<char>(*high << 4U | *low);
}

void append_code(std::string& text, char c) {
  const auto byte = static_cast<unsigned char>(c);
  text += '%';
  text += kDigits[byte >> 4U];
  text += kDigits[byte & 15U];
}

void append_name(std::string& text, std::string_view name) {
  const bool is_walk = name == "." || name == "..";
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char c = name[i];
    const bool at_end = i + 1 == name.size() && !is_walk && (c == '.' || c == ' ');
    if (c == '\\' || at_end || code_at(name, i)) {
      append_code(text, c);
    } else {
      text += c;
    }
  }
}

}  // namespace

std::string to_backslashes(std::string_view native) {
  std::string text;
  while (true) {
    const std::size_t slash = native.find('/');
    append_name(text, native.substr(0, slash));
    if (slash == std::string_view::npos) return text;
    text += '\\';
    native.remove_prefix(slash + 1);
  }
}

std::string to_slashes(std::string_view windows) {
  std::string text;
  for (std::size_t i = 0; i < windows.size(); ++i) {
    if (const auto byte = code_at(windows, i)) {
      text += *byte;
      i += 2;
    } else {
      text += windows[i] == '\\' ? '/' : windows[i];
    }
  }
  return text;
}

bool lies_in(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

}  // namespace kvwmi::ground
