#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::agent {

/// Columns that UTF-8 text takes on a terminal, one for each character.
[[nodiscard]] std::size_t display_width(std::string_view text);

/// `text` with its control characters made visible: tabs as blanks, others as \n, \r or \xNN.
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
