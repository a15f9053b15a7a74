#include "agent/console.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "agent/table.h"

namespace kvwmi::agent {
namespace {

using Json = nlohmann::ordered_json;

/// Text of foreign origin may hold bytes that are no UTF-8; they must not break the document.
std::string dump(const Json& document, int indent) {
  return document.dump(indent, ' ', false, Json::error_handler_t::replace);
}

std::string hexadecimal(std::int32_t number) {
  std::array<char, 11> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(number));
  return text.data();
}

/// Run-time numbers are known as they stand, WMI's by their hexadecimal form.
std::string number_text(std::int32_t number) {
  return number >= 0 ? std::to_string(number) : hexadecimal(number);
}

std::string painted(Console::Colour colour, std::string_view text) {
  static constexpr std::array<const char*, 5> kCodes{"1", "2", "31", "33", "32"};
  return std::string("\x1b[") + kCodes[static_cast<std::size_t>(colour)] + 'm' + std::string(text) +
         "\x1b[0m";
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  const auto end = text.find_last_not_of(" \t\r\n");
  return end == std::string_view::npos ? std::string_view() : text.substr(0, end + 1);
}

std::string show_place(const QueryDiagnostic& diagnostic, std::size_t width) {
  constexpr std::string_view kIndent = "    ";
  constexpr std::string_view kCut = "...";
  const std::string_view query = diagnostic.query;
  const std::size_t offset = std::min(diagnostic.offset, query.size());
  const auto line_end = query.substr(0, offset).find_last_of("\r\n");
  const std::size_t begin = line_end == std::string_view::npos ? 0 : line_end + 1;
  const std::size_t end = std::min(query.find_first_of("\r\n", offset), query.size());
  std::string before = printable(query.substr(begin, offset - begin));
  std::string after = printable(query.substr(offset, end - offset));

  // Of a line that is too long, the part around the place: what one side leaves is the other's. Behind the
  // query's end the caret takes a column of its own.
  const std::size_t room = std::max<std::size_t>(width, 40) - kIndent.size();
  const std::size_t needed = std::max<std::size_t>(display_width(after), 1);
  const std::size_t left = std::max(room / 2, room - std::min(room, needed));
  if (const std::size_t columns = display_width(before); columns > left) {
    const std::size_t excess = columns - left + kCut.size();
    std::size_t cut = bytes_of_columns(before, excess);
    // A wide character that the cut would go through goes as a whole.
    if (display_width(before.substr(0, cut)) < excess) cut = bytes_of_columns(before, excess + 1);
    before.replace(0, cut, kCut);
  }
  if (const std::size_t right = room - display_width(before); display_width(after) > right) {
    after.replace(bytes_of_columns(after, right - kCut.size()), std::string::npos, kCut);
  }
  return std::string(kIndent) + before + after + '\n' + std::string(kIndent) +
         std::string(display_width(before), ' ') + '^';
}

void Console::print(std::string_view line) {
  clear_progress();
  out_ << line << '\n';
}

void Console::print(const Table& table) {
  std::vector<std::string> lines = table.lines(style_.width);
  if (!lines.empty()) lines.front() = paint(Colour::bold, lines.front());
  for (const std::string& line : lines) print(line);
}

void Console::print_json(const Json& document) {
  print(dump(document, 2));
}

void Console::print_json_line(const Json& document) {
  print(dump(document, -1));
  out_.flush();
}

void Console::show_progress(std::string_view line) {
  if (!style_.live) return;
  err_ << "\r\x1b[K" << line << std::flush;
  progress_shown_ = true;
}

void Console::clear_progress() {
  if (progress_shown_) err_ << "\r\x1b[K" << std::flush;
  progress_shown_ = false;
}

void Console::complain(std::string_view line) {
  clear_progress();
  constexpr std::string_view kProgram = "kvwmi:";
  err_ << (style_.error_colour ? painted(Colour::red, kProgram) : std::string(kProgram)) << ' '
       << printable(line) << '\n';
}

void Console::complain(const Error& error) {
  const QueryDiagnostic* place = error.query_diagnostic();
  std::string line = printable(trimmed(error.description())) + " (" + number_text(error.number()) + ")";
  if (place != nullptr && !place->message.empty()) line += ": " + printable(place->message);
  complain(line);
  if (place != nullptr && place->fault == QueryDiagnostic::Fault::name) return;
  // Only on a terminal a longer line would break, and the caret with it.
  constexpr std::size_t kElsewhere = 1000;
  if (place != nullptr && !place->query.empty())
    err_ << show_place(*place, style_.live ? style_.width : kElsewhere) << '\n';
  // Each line of the Source is one routine that the error has passed, the innermost first.
  const char* label = "    raised by ";
  for (std::string_view rest = error.source(); !rest.empty();) {
    const auto end = std::min(rest.find("\r\n"), rest.size());
    const auto begin = std::min(rest.find_first_not_of('\t'), end);
    err_ << label << printable(rest.substr(begin, end - begin)) << '\n';
    label = "              ";
    rest.remove_prefix(std::min(end + 2, rest.size()));
  }
}

std::string Console::paint(Colour colour, std::string_view text) const {
  return style_.colour ? painted(colour, text) : std::string(text);
}

}  // namespace kvwmi::agent
