#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "support/load_process.h"

namespace kvwmi::tests {

/// A field of /proc/meminfo in kilobytes.
inline std::int64_t meminfo(const std::string& wanted) {
  std::ifstream file("/proc/meminfo");
  std::string name;
  std::int64_t value = 0;
  for (std::string line; file >> name >> value && std::getline(file, line);) {
    if (name == wanted + ":") return value;
  }
  ADD_FAILURE() << "no " << wanted;
  return 0;
}

/// The number of a detail "Value: NUMBER UNIT"; -1, with a failure of the test, where it is none.
inline std::int64_t value_in(const std::string& detail, const std::string& unit) {
  std::smatch match;
  const bool is_value = std::regex_match(detail, match, std::regex("Value: (0|[1-9][0-9]*) " + unit));
  EXPECT_TRUE(is_value) << detail;
  return is_value ? std::stoll(match[1]) : -1;
}

/// The detail of a watch of memory that has just arrived has to be the sum of these fields, give or take what
/// other programs take and leave meanwhile.
inline void expect_size(const std::string& detail, const std::vector<std::string>& fields) {
  std::int64_t figure = 0;
  for (const std::string& field : fields) figure += meminfo(field);
  const std::int64_t slack = meminfo("MemTotal") / 8;
  const std::int64_t told = value_in(detail, "Kilobytes");
  if (figure == 0) {
    EXPECT_EQ(told, 0);
  } else {
    EXPECT_GT(told, 0);
    EXPECT_NEAR(static_cast<double>(told), static_cast<double>(figure), static_cast<double>(slack));
  }
}

/// The processors' time since the start of the machine, in the kernel's ticks.
struct ProcessorTimes {
  std::int64_t idle = 0, all = 0;

  static ProcessorTimes now() {
    std::ifstream file("/proc/stat");
    std::string name;
    file >> name;
    ProcessorTimes times;
    // user nice system idle iowait irq softirq steal; guests are among the first two
    for (int field = 0; field < 8; ++field) {
      std::int64_t ticks = 0;
      file >> ticks;
      times.all += ticks;
      if (field == 3 || field == 4) times.idle += ticks;
    }
    return times;
  }
};

/// A machine whose processors are all busy while the object lives.
class BusyMachine {
 public:
  explicit BusyMachine(const std::string& name) {
    for (long i = 0; i < sysconf(_SC_NPROCESSORS_ONLN); ++i)
      load_.push_back(std::make_unique<LoadProcess>(name, 0, LoadProcess::Work::busy));
  }
  /// The detail of a watch of loads of 90 % and more, that has arrived since.
  void expect_load(const std::string& detail) const {
    const ProcessorTimes now = ProcessorTimes::now();
    const auto all = static_cast<double>(now.all - begin_.all);
    const double busy = all - static_cast<double>(now.idle - begin_.idle);
    const std::int64_t told = value_in(detail, "%");
    EXPECT_GE(told, 90);
    EXPECT_LE(told, 100);
    EXPECT_NEAR(static_cast<double>(told), busy / all * 100.0, 25.0);
  }

 private:
  std::vector<std::unique_ptr<LoadProcess>> load_;
  ProcessorTimes begin_ = ProcessorTimes::now();
};

}  // namespace kvwmi::tests
