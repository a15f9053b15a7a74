#include "frame/platform.h"

namespace kvwmi {
namespace {

std::string digits(std::int64_t value, std::size_t width) {
  const std::string text = std::to_string(value);
  return text.size() < width ? std::string(width - text.size(), '0') + text : text;
}

}  // namespace

std::string SystemInfo::date_text(std::chrono::local_days date) {
  const std::chrono::year_month_day day(date);
  return digits(int(day.year()), 4) + "-" + digits(unsigned(day.month()), 2) + "-" +
         digits(unsigned(day.day()), 2);
}

std::string SystemInfo::time_text(std::chrono::seconds since_midnight) {
  const std::chrono::hh_mm_ss time(since_midnight);
  return digits(time.hours().count(), 2) + ":" + digits(time.minutes().count(), 2) + ":" +
         digits(time.seconds().count(), 2);
}

}  // namespace kvwmi
