#include "agent/table.h"

#include <algorithm>
#include <numeric>

#include "agent/character.h"

namespace kvwmi::agent {
namespace {

constexpr std::string_view kGap = "  ";
constexpr std::size_t kNarrowestWrap = 20;

/// Takes the next line of at most `width` columns off `text`, broken at the last blank that fits.
std::string_view next_line(std::string_view& text, std::size_t width) {
  const std::size_t fits = bytes_of_columns(text, width);
  std::string_view line = text.substr(0, fits);
  if (fits < text.size() && text[fits] != ' ') {
    if (const auto last_blank = line.rfind(' '); last_blank != std::string_view::npos)
      line = line.substr(0, last_blank);
  }
  text.remove_prefix(line.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return line;
}

}  // namespace

std::size_t display_width(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character character = first_character(text);
    columns += character.columns;
    text.remove_prefix(character.bytes);
  }
  return columns;
}

std::size_t bytes_of_columns(std::string_view text, std::size_t columns) {
  std::size_t bytes = 0;
  for (std::size_t taken = 0; bytes < text.size();) {
    const Character character = first_character(text.substr(bytes));
    taken += character.columns;
    if (taken > columns) break;
    bytes += character.bytes;
  }
  return bytes;
}

std::string printable(std::string_view text) {
  static constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string result;
  while (!text.empty()) {
    const Character character = first_character(text);
    const bool is_control = character.code < 0x20 || (character.code >= 0x7F && character.code < 0xA0);
    const std::string_view bytes = text.substr(0, character.bytes);
    text.remove_prefix(character.bytes);
    if (bytes == "\t") {
      result += ' ';
    } else if (bytes == "\n") {
      result += "\\n";
    } else if (bytes == "\r") {
      result += "\\r";
    } else if (is_control || !character.is_valid) {
      for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        result += {'\\', 'x', kHex[byte >> 4U], kHex[byte & 15U]};
      }
    } else {
      result += bytes;
    }
  }
  return result;
}

std::vector<std::size_t> Table::widths() const {
  std::vector<std::size_t> result;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::size_t width = display_width(columns_[i].heading);
    for (const auto& row : rows_) width = std::max(width, display_width(row[i]));
    result.push_back(width);
  }
  return result;
}

std::size_t Table::width() const {
  const auto all = widths();
  return std::accumulate(all.begin(), all.end(), std::size_t{0}) +
         kGap.size() * (all.empty() ? 0 : all.size() - 1);
}

std::vector<std::string> Table::lines(std::size_t limit) const {
  const std::vector<std::size_t> all = widths();
  if (all.empty()) return {};
  const std::size_t last = all.size() - 1;
  const std::size_t indent = width() - all[last];
  const std::size_t room = std::max(limit > indent ? limit - indent : 0, kNarrowestWrap);

  std::vector<std::string> result;
  const auto append = [&](const std::vector<std::string>& row) {
    std::string line;
    for (std::size_t i = 0; i < last; ++i) {
      const std::string blanks(all[i] - display_width(row[i]), ' ');
      line += columns_[i].align == Align::right ? blanks + row[i] : row[i] + blanks;
      line += kGap;
    }
    std::string_view rest = row[last];
    if (columns_[last].align == Align::right) {
      line += std::string(all[last] - display_width(rest), ' ') + row[last];
      rest = {};
    }
    do {
      line += next_line(rest, room);
      line.erase(line.find_last_not_of(' ') + 1);
      result.push_back(std::move(line));
      line.assign(indent, ' ');
    } while (!rest.empty());
  };

  std::vector<std::string> headings;
  for (const Column& column : columns_) headings.push_back(column.heading);
  append(headings);
  for (const auto& row : rows_) append(row);
  return result;
}

}  // namespace kvwmi::agent
