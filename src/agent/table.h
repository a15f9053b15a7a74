#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::agent {

/// Columns that UTF-8 text takes on a terminal.
[[nodiscard]] std::size_t display_width(std::string_view text);

/// The bytes at the beginning of `text` that fit into so many columns.
[[nodiscard]] std::size_t bytes_of_columns(std::string_view text, std::size_t columns);

/// `text` with what a terminal would obey or could not show made visible: tabs as blanks, other control
/// characters as \n, \r or, like bytes that are no UTF-8, each byte as \xNN.
[[nodiscard]] std::string printable(std::string_view text);

/// Text in columns under a line of headings. The widths follow the cells.
class Table {
 public:
  enum class Align { left, right };
  struct Column {
    std::string heading;
    Align align = Align::left;
  };

  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// One cell for each column, already printable.
  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

  /// Columns that the widest line takes.
  [[nodiscard]] std::size_t width() const;
  /// The lines, the headings first. The last column is wrapped at blanks where a line would be longer than
  /// `limit`.
  [[nodiscard]] std::vector<std::string> lines(std::size_t limit) const;

 private:
  [[nodiscard]] std::vector<std::size_t> widths() const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace kvwmi::agent
