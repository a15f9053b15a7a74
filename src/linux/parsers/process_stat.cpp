#include "linux/parsers/process_stat.h"

#include "linux/parsers/scan.h"

namespace kvwmi::ground::parsers {
namespace {

std::string_view file_name(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

bool is_ascii(char c) {
  return static_cast<unsigned char>(c) < 0x80;
}

char folded(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

void append_quoted(std::string& line, std::string_view argument) {
  if (!argument.empty() && argument.find_first_of(" \t\n\v\"") == std::string_view::npos) {
    line += argument;
    return;
  }
  line += '"';
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '\\') {
      ++backslashes;
      continue;
    }
    // Backslashes are themselves, except before a quote, where each needs a second one.
    line.append(c == '"' ? 2 * backslashes + 1 : backslashes, '\\');
    backslashes = 0;
    line += c;
  }
  line.append(2 * backslashes, '\\');
  line += '"';
}

}  // namespace

std::optional<ProcessStat> parse_process_stat(std::string_view text) {
  // The name stands in brackets and may itself hold brackets, blanks and line ends.
  const std::size_t open = text.find('(');
  const std::size_t close = text.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;

  ProcessStat stat;
  stat.comm = text.substr(open + 1, close - open - 1);
  std::string_view rest = text.substr(close + 1);
  const std::string_view state = take_word(rest);
  if (state.size() != 1) return std::nullopt;
  stat.state = state.front();

  bool complete = true;
  const auto take = [&](auto& number) {
    const auto value = to_number<std::remove_reference_t<decltype(number)>>(take_word(rest));
    complete = complete && value;
    number = value.value_or(0);
  };
  const auto skip = [&](int count) {
    while (count-- > 0) static_cast<void>(take_word(rest));
  };
  take(stat.parent);
  skip(5);  // process group, session, terminal, its process group, flags
  take(stat.minor_faults);
  skip(1);
  take(stat.major_faults);
  skip(1);
  take(stat.user_ticks);
  take(stat.system_ticks);
  skip(2);
  take(stat.priority);
  take(stat.nice);
  take(stat.threads);
  skip(1);
  take(stat.start_ticks);
  take(stat.virtual_size);
  if (!complete) return std::nullopt;
  return stat;
}

std::optional<std::uint64_t> parse_resident_pages(std::string_view text) {
  static_cast<void>(take_word(text));
  return to_number(take_word(text));
}

std::vector<std::string_view> parse_arguments(std::string_view text) {
  // A process that shortened its arguments leaves NULs behind the last of them. One empty argument can be
  // meant.
  if (text.ends_with(std::string_view("\0\0\0", 3))) {
    text = text.substr(0, text.find_last_not_of('\0') + 1);
  }
  std::vector<std::string_view> arguments;
  while (!text.empty()) arguments.push_back(take_until(text, '\0'));
  return arguments;
}

std::string command_line(const std::vector<std::string_view>& arguments) {
  if (arguments.size() == 1 && !arguments.front().starts_with('/')) return std::string(arguments.front());
  std::string line;
  for (const std::string_view argument : arguments) {
    if (!line.empty()) line += ' ';
    append_quoted(line, argument);
  }
  return line;
}

std::string_view lasting_name(std::string_view comm) {
  // A rescuer, "kworker/R-NAME", carries its own name behind the dash.
  if (!comm.starts_with("kworker/") || comm.starts_with("kworker/R-")) return comm;
  return comm.substr(0, comm.find_first_of("-+"));
}

std::optional<std::string> completed_name(std::string_view comm, const std::vector<std::string_view>& paths) {
  for (const std::string_view path : paths) {
    if (const std::string_view name = file_name(path); name.starts_with(comm)) return std::string(name);
  }
  return std::nullopt;
}

bool may_be_named(std::string_view comm, std::string_view wanted) {
  for (std::size_t i = 0; i < comm.size(); ++i) {
    if (i == wanted.size()) return false;
    // Letters outside ASCII have cases too, even of other lengths, but none in ASCII; whether they match is
    // the full comparison's to say.
    if (!is_ascii(comm[i]) && !is_ascii(wanted[i])) return true;
    if (folded(comm[i]) != folded(wanted[i])) return false;
  }
  return comm.size() == kCommLength || comm.size() == wanted.size();
}

}  // namespace kvwmi::ground::parsers
