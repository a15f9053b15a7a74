#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvwmi::cim {

/// A CIM datetime: an instant with its UTC offset, or an interval. Constants in queries may also be clock
/// readings without an offset, or a time of day alone.
class DateTime {
 public:
  using Microseconds = std::chrono::microseconds;
  using Instant = std::chrono::sys_time<Microseconds>;

  enum class Kind : std::uint8_t { instant, clock_reading, time_of_day, interval };

  [[nodiscard]] static DateTime instant(Instant utc, std::chrono::minutes offset = {}) {
    return {Kind::instant, utc.time_since_epoch() + offset, offset};
  }
  [[nodiscard]] static DateTime interval(Microseconds length) { return {Kind::interval, length, {}}; }

  /// The 25-character form: `yyyymmddHHMMSS.mmmmmm`, a sign and three digits of minutes, or for an interval
  /// `ddddddddHHMMSS.mmmmmm:000`. Asterisks stand for nothing and are refused.
  [[nodiscard]] static std::optional<DateTime> parse(std::string_view text);
  /// A constant of a query: the 25-character form, or a date (`Jan 21 1932`, `January 21, 1932`, `21 Jan
  /// 1932`, `1/21/1932`, `1932-01-21`), a time (`10:05`, `10:05:30`, `10:05:30:250`, `10:05:30.250`, each
  /// with AM or PM behind it or not), or both. Names are English in any case, numbers in US order.
  [[nodiscard]] static std::optional<DateTime> parse_constant(std::string_view text);

  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  /// The instant in UTC; only for an instant.
  [[nodiscard]] Instant utc() const { return Instant(reading_ - offset_); }
  /// Length of an interval, or what the clock shows: since 1970, or since midnight for a time of day.
  [[nodiscard]] Microseconds reading() const noexcept { return reading_; }
  [[nodiscard]] std::chrono::minutes offset() const noexcept { return offset_; }

  /// The 25-character form of an instant or interval. Years run from 0 to 9999.
  [[nodiscard]] std::string text() const;

  /// Two instants compare as points in time whatever their offsets. A clock reading compares with what an
  /// instant's own clock shows, a time of day with the time that it shows. An interval compares with
  /// intervals only; anything else is unordered.
  friend std::partial_ordering compare(const DateTime& a, const DateTime& b);

 private:
  friend struct DateTimeParser;
  DateTime(Kind kind, Microseconds reading, std::chrono::minutes offset)
      : kind_(kind), reading_(reading), offset_(offset) {}

  Kind kind_;
  Microseconds reading_;
  std::chrono::minutes offset_;
};

[[nodiscard]] std::partial_ordering compare(const DateTime& a, const DateTime& b);

}  // namespace kvwmi::cim
