#include "linux/clock.h"

#include <ctime>
#include <thread>

namespace kvwmi::ground {

std::chrono::local_seconds LinuxClock::local_now() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm local{};
  ::tzset();  // localtime_r alone knows the zone of the program's start
  ::localtime_r(&now, &local);
  return std::chrono::local_seconds(std::chrono::seconds(now + local.tm_gmtoff));
}

void LinuxClock::sleep(std::chrono::milliseconds duration) {
  std::this_thread::sleep_for(duration);
}

}  // namespace kvwmi::ground
