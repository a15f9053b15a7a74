#include "wmi/cim/datetime.h"

#include <algorithm>
#include <array>

#include "frame/text.h"

namespace kvwmi::cim {
namespace {

using namespace std::chrono_literals;
using Microseconds = DateTime::Microseconds;
using Kind = DateTime::Kind;
using std::chrono::days;

constexpr std::size_t kLength = 25;
constexpr std::size_t kSign = 21;  // index of '+', '-' or ':'

constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

constexpr bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// All of `text` as an unsigned number of at most nine digits.
std::optional<unsigned> number(std::string_view text) {
  if (text.empty() || text.size() > 9 || !std::all_of(text.begin(), text.end(), is_digit))
    return std::nullopt;
  unsigned value = 0;
  for (const char c : text) value = value * 10 + static_cast<unsigned>(c - '0');
  return value;
}

std::optional<Microseconds> date(unsigned year, unsigned month, unsigned day) {
  const std::chrono::year_month_day ymd{std::chrono::year(static_cast<int>(year)), std::chrono::month(month),
                                        std::chrono::day(day)};
  if (year > 9999 || month > 12 || day > 31 || !ymd.ok()) return std::nullopt;
  return std::chrono::sys_days(ymd).time_since_epoch();
}

std::optional<Microseconds> time_of_day(unsigned hour, unsigned minute, unsigned second, unsigned micro) {
  if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second) +
         Microseconds(micro);
}

Microseconds within_day(Microseconds reading) {
  return reading - std::chrono::floor<days>(reading);
}

void append_digits(std::string& text, std::int64_t value, std::size_t width) {
  const std::string digits = std::to_string(value);
  if (digits.size() < width) text.append(width - digits.size(), '0');
  text += digits;
}

constexpr std::array<std::string_view, 12> kMonths{"january",   "february", "march",    "april",
                                                   "may",       "june",     "july",     "august",
                                                   "september", "october",  "november", "december"};

/// Number of the month of that English name or of its first three letters.
std::optional<unsigned> month_named(std::string_view word) {
  const std::string folded = fold_case(word);
  for (std::size_t i = 0; i < kMonths.size(); ++i) {
    if (folded == kMonths[i] || folded == kMonths[i].substr(0, 3)) return static_cast<unsigned>(i + 1);
  }
  return std::nullopt;
}

}  // namespace

/// Reads the free forms of a date or time from left to right. Every step gives nullopt or false where the
/// text is none of them.
struct DateTimeParser {
  std::string_view rest;

  void skip_blanks() {
    while (!rest.empty() && rest.front() == ' ') rest.remove_prefix(1);
  }
  bool skip(char wanted) {
    if (rest.empty() || rest.front() != wanted) return false;
    rest.remove_prefix(1);
    return true;
  }
  template <typename Accepts>
  std::string_view take(Accepts accepts) {
    const auto end = std::find_if_not(rest.begin(), rest.end(), accepts);
    const std::string_view taken = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
    rest.remove_prefix(taken.size());
    return taken;
  }
  /// A number of at least `least` and at most `most` digits.
  std::optional<unsigned> take_number(std::size_t least, std::size_t most) {
    const std::string_view digits = take(is_digit);
    return digits.size() >= least && digits.size() <= most ? number(digits) : std::nullopt;
  }

  std::optional<Microseconds> take_date() {
    if (!rest.empty() && is_letter(rest.front())) {
      const auto month = month_named(take(is_letter));
      skip_blanks();
      const auto day = take_number(1, 2);
      skip(',');
      skip_blanks();
      const auto year = take_number(4, 4);
      return month && day && year ? date(*year, *month, *day) : std::nullopt;
    }
    const auto first = take_number(1, 4);
    if (!first || rest.empty()) return std::nullopt;
    if (const char separator = rest.front(); separator == '/' || separator == '-') {
      rest.remove_prefix(1);
      const auto second = take_number(1, 2);
      if (!skip(separator)) return std::nullopt;
      const bool slashed = separator == '/';
      const auto third = slashed ? take_number(4, 4) : take_number(1, 2);
      if (!second || !third) return std::nullopt;
      return slashed ? date(*third, *first, *second) : date(*first, *second, *third);
    }
    skip_blanks();
    const auto month = month_named(take(is_letter));
    skip_blanks();
    const auto year = take_number(4, 4);
    return month && year ? date(*year, *month, *first) : std::nullopt;
  }

  std::optional<Microseconds> take_time() {
    auto hour = take_number(1, 2);
    if (!hour || !skip(':')) return std::nullopt;
    const auto minute = take_number(1, 2);
    std::optional<unsigned> second = 0;
    unsigned micro = 0;
    if (skip(':')) {
      second = take_number(1, 2);
      if (skip(':') || skip('.')) {
        const std::string_view digits = take(is_digit);
        const auto fraction = digits.size() <= 6 ? number(digits) : std::nullopt;
        if (!fraction) return std::nullopt;
        micro = *fraction;
        for (std::size_t i = digits.size(); i < 6; ++i) micro *= 10;
      }
    }
    if (!minute || !second) return std::nullopt;
    skip_blanks();
    if (const std::string half = fold_case(take(is_letter)); !half.empty()) {
      if ((half != "am" && half != "pm") || *hour < 1 || *hour > 12) return std::nullopt;
      hour = *hour % 12 + (half == "pm" ? 12U : 0U);
    }
    return time_of_day(*hour, *minute, *second, micro);
  }

  std::optional<DateTime> parse() {
    skip_blanks();
    const std::string_view whole = rest;
    if (const auto time = take_time(); time && at_end()) return DateTime{Kind::time_of_day, *time, {}};
    rest = whole;
    const auto day = take_date();
    if (!day) return std::nullopt;
    if (at_end()) return DateTime{Kind::clock_reading, *day, {}};
    if (!skip(' ')) return std::nullopt;
    skip_blanks();
    const auto time = take_time();
    if (!time || !at_end()) return std::nullopt;
    return DateTime{Kind::clock_reading, *day + *time, {}};
  }
  bool at_end() {
    const std::string_view before = rest;
    skip_blanks();
    if (rest.empty()) return true;
    rest = before;
    return false;
  }
};

std::optional<DateTime> DateTime::parse(std::string_view text) {
  if (text.size() != kLength || text[14] != '.') return std::nullopt;
  const auto field = [&](std::size_t first, std::size_t count) { return number(text.substr(first, count)); };
  const auto hour = field(8, 2);
  const auto minute = field(10, 2);
  const auto second = field(12, 2);
  const auto micro = field(15, 6);
  const auto zone = field(22, 3);
  if (!hour || !minute || !second || !micro || !zone) return std::nullopt;
  const auto time = time_of_day(*hour, *minute, *second, *micro);
  if (!time) return std::nullopt;

  const char sign = text[kSign];
  if (sign == ':') {
    const auto day_count = field(0, 8);
    if (!day_count || *zone != 0) return std::nullopt;
    return interval(days(*day_count) + *time);
  }
  if (sign != '+' && sign != '-') return std::nullopt;
  const auto year = field(0, 4);
  const auto month = field(4, 2);
  const auto day = field(6, 2);
  if (!year || !month || !day) return std::nullopt;
  const auto midnight = date(*year, *month, *day);
  if (!midnight) return std::nullopt;
  const std::chrono::minutes distance(*zone);
  return DateTime{Kind::instant, *midnight + *time, sign == '+' ? distance : -distance};
}

std::optional<DateTime> DateTime::parse_constant(std::string_view text) {
  if (const auto exact = parse(text)) return exact;
  return DateTimeParser{text}.parse();
}

std::string DateTime::text() const {
  const auto whole_days = std::chrono::floor<days>(reading_);
  const std::chrono::hh_mm_ss time(reading_ - whole_days);
  std::string result;
  if (kind_ == Kind::interval) {
    append_digits(result, whole_days.count(), 8);
  } else {
    const std::chrono::year_month_day ymd{std::chrono::sys_days(whole_days)};
    append_digits(result, static_cast<int>(ymd.year()), 4);
    append_digits(result, static_cast<unsigned>(ymd.month()), 2);
    append_digits(result, static_cast<unsigned>(ymd.day()), 2);
  }
  append_digits(result, time.hours().count(), 2);
  append_digits(result, time.minutes().count(), 2);
  append_digits(result, time.seconds().count(), 2);
  result.push_back('.');
  append_digits(result, time.subseconds().count(), 6);
  result.push_back(kind_ == Kind::interval ? ':' : offset_ < 0min ? '-' : '+');
  append_digits(result, std::chrono::abs(offset_).count(), 3);
  return result;
}

std::partial_ordering compare(const DateTime& a, const DateTime& b) {
  if ((a.kind_ == Kind::interval) != (b.kind_ == Kind::interval)) return std::partial_ordering::unordered;
  if (a.kind_ == Kind::instant && b.kind_ == Kind::instant) return a.utc() <=> b.utc();
  if (a.kind_ == Kind::time_of_day || b.kind_ == Kind::time_of_day) {
    return within_day(a.reading_) <=> within_day(b.reading_);
  }
  return a.reading_ <=> b.reading_;
}

}  // namespace kvwmi::cim
