#include "agent/checks.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

#include "kvwmi/codes.h"

namespace kvwmi::agent {
namespace {

template <typename Output>
Answer ask_machine(CheckPoint& check_point, std::int32_t (CheckPoint::*method)(Output&)) {
  Output value{};
  const std::int32_t result = (check_point.*method)(value);
  return {result, value};
}

template <typename Output>
Answer ask_named(CheckPoint& check_point, const std::string& name,
                 std::int32_t (CheckPoint::*method)(const std::string&, Output&)) {
  Output value{};
  const std::int32_t result = (check_point.*method)(name, value);
  return {result, value};
}

template <auto method>
Answer machine(CheckPoint& check_point, const std::string&) {
  return ask_machine(check_point, method);
}

template <auto method>
Answer named(CheckPoint& check_point, const std::string& name) {
  return ask_named(check_point, name, method);
}

std::string code_and(std::int32_t code, std::string_view meaning) {
  return std::string(meaning) + " (" + std::to_string(code) + ")";
}

std::string power_source(const Answer& answer) {
  const std::int32_t code = std::get<std::int32_t>(answer.value);
  return code_and(code, code == kvwmi::power_source::kBattery ? "on battery" : "on mains power");
}

std::string service_state(const Answer& answer) {
  static constexpr std::array<std::string_view, 8> kStates{"in no known state", "Stopped", "Start Pending",
                                                           "Stop Pending",      "Running", "Continue Pending",
                                                           "Pause Pending",     "Paused"};
  const std::int32_t code = std::get<std::int32_t>(answer.value);
  return code_and(code, kStates.at(static_cast<std::size_t>(code)));
}

std::string existence(const Answer& answer) {
  return std::get<bool>(answer.value) ? "yes" : "no";
}

std::string percentage(const Answer& answer) {
  return std::to_string(std::get<std::int32_t>(answer.value)) + " %";
}

/// "12,345,678".
std::string grouped(std::string digits) {
  const std::size_t first = digits.starts_with('-') ? 1 : 0;
  const std::size_t end = std::min(digits.find('.'), digits.size());
  for (std::size_t place = end; place > first + 3;) digits.insert(place -= 3, ",");
  return digits;
}

/// The size as WMI counts it, and rounded in the unit that suits it.
std::string size_in(const Answer& answer, std::string_view unit, double unit_bytes) {
  static constexpr std::array<const char*, 5> kUnits{"bytes", "KB", "MB", "GB", "TB"};
  const Currency size = std::get<Currency>(answer.value);
  std::string exact = grouped(size.to_text()) + " " + std::string(unit);
  double rounded = size.to_double() * unit_bytes;
  std::size_t scale = 0;
  for (; rounded >= 1024.0 && scale + 1 < kUnits.size(); ++scale) rounded /= 1024.0;
  if (scale < 2) return exact;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), " (%.1f %s)", rounded, kUnits[scale]);
  return exact + text.data();
}
std::string bytes(const Answer& answer) {
  return size_in(answer, "bytes", 1.0);
}
std::string kilobytes(const Answer& answer) {
  return size_in(answer, "KB", 1024.0);
}

constexpr std::string_view kProcessName = "a process's image name, such as bash";
constexpr std::string_view kServiceName = "a service's display name";
constexpr std::string_view kNoProcess = "no such process";
constexpr std::string_view kNoSystem = "WMI has no operating system object";
constexpr std::string_view kNoSize = "the operating system tells no size";
constexpr std::string_view kNone;

constexpr std::array<Check, 13> kChecks{{
    {"power-source", "m_GetPowerSource", "f_lngState", kNone, "mains power or battery", kNone, kNone,
     machine<&CheckPoint::m_GetPowerSource>, power_source},
    {"service-state", "m_GetServiceState", "f_lngState", kServiceName, "state of a service",
     "no service has this display name", "the service tells no state", named<&CheckPoint::m_GetServiceState>,
     service_state},
    {"service-exists", "m_GetServiceExistence", "f_blnExist", kServiceName, "whether there is such a service",
     kNone, kNone, named<&CheckPoint::m_GetServiceExistence>, existence},
    {"process-exists", "m_GetProcessExistence", "f_blnExist", kProcessName, "whether such a process runs",
     kNone, kNone, named<&CheckPoint::m_GetProcessExistence>, existence},
    {"process-memory", "m_GetProcessMemorySize", "f_curSize", kProcessName,
     "working set of the first such process", kNoProcess, "the process tells no size",
     named<&CheckPoint::m_GetProcessMemorySize>, bytes},
    {"process-cpu", "m_GetProcessCPULoadPercentage", "f_lngPercentage", kProcessName,
     "share of the machine's processor time that all such processes use, over half a second", kNoProcess,
     "no counter was usable", named<&CheckPoint::m_GetProcessCPULoadPercentage>, percentage},
    {"free-memory", "m_GetFreePhysicalMemorySize", "f_curSize", kNone, "physical memory to be had", kNoSystem,
     kNoSize, machine<&CheckPoint::m_GetFreePhysicalMemorySize>, kilobytes},
    {"memory", "m_GetPhysicalMemorySize", "f_curSize", kNone, "physical memory in all", kNoSystem, kNoSize,
     machine<&CheckPoint::m_GetPhysicalMemorySize>, kilobytes},
    {"free-virtual-memory", "m_GetFreeVirtualMemorySize", "f_curSize", kNone,
     "memory and paging space to be had", kNoSystem, kNoSize,
     machine<&CheckPoint::m_GetFreeVirtualMemorySize>, kilobytes},
    {"virtual-memory", "m_GetVirtualMemorySize", "f_curSize", kNone, "memory and paging space in all",
     kNoSystem, kNoSize, machine<&CheckPoint::m_GetVirtualMemorySize>, kilobytes},
    {"free-paging", "m_GetFreePagingFilesSize", "f_curSize", kNone, "paging space to be had", kNoSystem,
     kNoSize, machine<&CheckPoint::m_GetFreePagingFilesSize>, kilobytes},
    {"paging", "m_GetPagingFilesSize", "f_curSize", kNone, "paging space in all", kNoSystem, kNoSize,
     machine<&CheckPoint::m_GetPagingFilesSize>, kilobytes},
    {"processor-load", "m_GetProcessorLoadPercentage", "f_lngPercentage", kNone,
     "mean load of the processors", "there is no processor", "no processor tells its load",
     machine<&CheckPoint::m_GetProcessorLoadPercentage>, percentage},
}};

}  // namespace

std::span<const Check> checks() {
  return kChecks;
}

const Check* find_check(std::string_view name) {
  const auto* found =
      std::find_if(kChecks.begin(), kChecks.end(), [&](const Check& check) { return check.name == name; });
  return found == kChecks.end() ? nullptr : found;
}

std::vector<std::string> check_names() {
  std::vector<std::string> result;
  for (const Check& check : kChecks) result.emplace_back(check.name);
  return result;
}

std::string describe(const Check& check, const Answer& answer) {
  switch (answer.result) {
    case 0:
      return check.words(answer);
    case 1:
      return std::string(check.nothing);
    default:
      return std::string(check.untold);
  }
}

}  // namespace kvwmi::agent
