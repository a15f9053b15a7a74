#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <string_view>

#include "kvwmi/error.h"

namespace kvwmi::agent {

class Table;

/// Exit statuses of every command.
enum ExitStatus : int {
  kAnswered = 0,
  kRaised = 1,  ///< WMI or the component raised an error
  kUsage = 2,
  kStepCode = 3,       ///< answered, with a result other than 0
  kInterrupted = 130,  ///< asked to stop before it was done
};
/// The same for people.
inline constexpr const char* kExitStatuses =
    "Exit status:\n"
    "    0  answered; of a scenario: every step ended as it should\n"
    "    1  an error was raised, or the answer could not be written\n"
    "    2  usage, told in one line of text\n"
    "    3  answered with a result other than 0; of a scenario: a condition was not met in time, or a check\n"
    "       answered something else than expected\n"
    "  130  a scenario was stopped before its end\n";

/// What a command writes to: results for people or programs on `out`, complaints on `err`.
class Console {
 public:
  struct Style {
    bool json = false;
    bool colour = false;        ///< of what goes to `out`
    bool error_colour = false;  ///< of what goes to `err`
    bool live = false;          ///< whether a line may be overwritten: `err` is a terminal
    std::size_t width = 100;    ///< columns that a line for people may take
  };

  Console(std::ostream& out, std::ostream& err, Style style) : out_(out), err_(err), style_(style) {}

  [[nodiscard]] bool json() const noexcept { return style_.json; }
  [[nodiscard]] bool live() const noexcept { return style_.live; }
  [[nodiscard]] std::size_t width() const noexcept { return style_.width; }
  [[nodiscard]] std::ostream& out() noexcept { return out_; }

  void print(std::string_view line);
  void print(const Table& table);
  void print_json(const nlohmann::ordered_json& document);
  /// The same on a single line, for those who read while more is to come.
  void print_json_line(const nlohmann::ordered_json& document);

  /// A line on `err` that whatever comes next overwrites; nothing where nobody watches.
  void show_progress(std::string_view line);

  /// One line that names what is wrong; control characters are made visible.
  void complain(std::string_view line);
  /// A failure for people: its text and number, the place in a refused query, and where it comes from. Of a
  /// name that does not exist the first line says all.
  void complain(const Error& error);

  enum class Colour { bold, dim, red, yellow, green };
  /// `text` in a colour, where `out` has colours.
  [[nodiscard]] std::string paint(Colour colour, std::string_view text) const;

 private:
  void clear_progress();

  std::ostream& out_;
  std::ostream& err_;
  Style style_;
  bool progress_shown_ = false;
};

/// `text` without blanks and line ends at its end; WMI's texts have one.
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// The query's offending line with a caret under the place, two lines; where `width` columns do not hold the
/// line, the part of it around the place.
[[nodiscard]] std::string show_place(const QueryDiagnostic& diagnostic, std::size_t width);

}  // namespace kvwmi::agent
