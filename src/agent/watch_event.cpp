#include "agent/watch_event.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "agent/table.h"

namespace kvwmi::agent {

nlohmann::ordered_json to_json(const WatchEvent& event) {
  nlohmann::ordered_json result{{"time", utc_text(event.time)},
                                {"step", event.step},
                                {"supervision", event.supervision},
                                {"detail", event.detail}};
  if (event.undetected) result["undetected"] = true;
  return result;
}

std::string subject(const WatchKind& kind, const WatchRequest& request) {
  return std::string(kind.name) + (request.name.empty() ? "" : " \"" + printable(request.name) + "\"");
}

std::string to_line(const WatchEvent& event, const std::string& subject) {
  return subject + (event.detail.empty() ? "" : "  " + printable(event.detail)) +
         (event.undetected ? "  has not fired" : "");
}

std::string utc_text(std::chrono::system_clock::time_point time) {
  using namespace std::chrono;
  const auto whole = floor<milliseconds>(time);
  const auto midnight = floor<days>(whole);
  const year_month_day date(midnight);
  const hh_mm_ss clock(whole - midnight);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", int(date.year()),
                unsigned(date.month()), unsigned(date.day()), int(clock.hours().count()),
                int(clock.minutes().count()), int(clock.seconds().count()), int(clock.subseconds().count()));
  return text.data();
}

std::string clock_text(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::array<char, 16> text{};
  std::strftime(text.data(), text.size(), "%H:%M:%S", std::localtime(&seconds));
  return text.data();
}

}  // namespace kvwmi::agent
