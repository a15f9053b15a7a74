#include "kvwmi/checkpoint.h"

#include <array>
#include <chrono>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/connection.h"
#include "frame/conversion.h"
#include "kvwmi/codes.h"

namespace kvwmi {
namespace {

constexpr MethodFrame kFrame{"CheckPoint", kCheckPointError};

/// Status results.
constexpr std::int32_t kAnswered = 0;
constexpr std::int32_t kNoObject = 1;
constexpr std::int32_t kNoValue = 2;

constexpr std::int32_t kBatteryStatusOnMains = 2;

constexpr const char* kOperatingSystem = "SELECT * FROM Win32_OperatingSystem";

constexpr std::array<std::pair<std::string_view, std::int32_t>, 7> kServiceStates{{
    {"Stopped", service_state::kStopped},
    {"Start Pending", service_state::kStartPending},
    {"Stop Pending", service_state::kStopPending},
    {"Running", service_state::kRunning},
    {"Continue Pending", service_state::kContinuePending},
    {"Pause Pending", service_state::kPausePending},
    {"Paused", service_state::kPaused},
}};

std::string service_query(const std::string& name) {
  return "SELECT * FROM Win32_Service WHERE DisplayName='" + name + "'";
}

std::string process_query(const std::string& name) {
  return "SELECT * FROM Win32_Process WHERE Name='" + name + "'";
}

/// The property of the query's first object, handed to `take`; the status tells what was missing.
template <typename Take>
std::int32_t probe_first(wmi::Services& services, const std::string& query, std::string_view property,
                         Take take) {
  const auto set = services.exec_query(query);
  const auto object = wmi::first_of(*set);
  if (!object) return kNoObject;
  const wmi::Value value = object->get(property);
  if (value.is_null()) return kNoValue;
  take(value);
  return kAnswered;
}

/// Calls `use` for each object of the query, which tells whether the object was usable.
template <typename Use>
std::int32_t probe_all(wmi::Services& services, const std::string& query, Use use) {
  const auto set = services.exec_query(query);
  if (set->count() < 1) return kNoObject;
  std::int32_t status = kNoValue;
  for (const auto objects = set->enumerate(); const auto object = objects->next();) {
    if (use(*object)) status = kAnswered;
  }
  return status;
}

std::int32_t probe_existence(wmi::Services& services, const std::string& query, bool& exists) {
  exists = services.exec_query(query)->count() >= 1;
  return kAnswered;
}

std::int32_t probe_size(wmi::Services& services, const std::string& query, std::string_view property,
                        Currency& size) {
  size = Currency();
  return probe_first(services, query, property, [&](const wmi::Value& value) { size = to_currency(value); });
}

/// Raw processor time at one moment.
struct CpuSample {
  Currency total;
  Currency process;
};

std::int32_t take_sample(wmi::Services& services, const std::string& query, CpuSample& sample) {
  return probe_all(services, query, [&](wmi::Object& counter) {
    // Names first: the first one may take WMI a look at every process, and the times are to be of one moment.
    const wmi::Value name = counter.get("Name");
    const wmi::Value time = counter.get("PercentProcessorTime");
    if (time.is_null() || name.is_null()) return false;
    (to_text(name) == "_Total" ? sample.total : sample.process) += to_currency(time);
    return true;
  });
}

}  // namespace

CheckPoint::CheckPoint() : CheckPoint(local_ground()) {}

CheckPoint::CheckPoint(Ground& ground)
    : ground_(ground), services_(connect_at_construction(ground, kFrame)) {}

CheckPoint::~CheckPoint() = default;

std::int32_t CheckPoint::m_GetPowerSource(std::int32_t& f_lngState) {
  return kFrame("m_GetPowerSource", [&] {
    f_lngState = power_source::kMains;
    probe_first(*services_, "SELECT * FROM Win32_Battery", "BatteryStatus", [&](const wmi::Value& status) {
      if (to_long(status) != kBatteryStatusOnMains) f_lngState = power_source::kBattery;
    });
    return kAnswered;
  });
}

std::int32_t CheckPoint::m_GetServiceState(const std::string& f_strName, std::int32_t& f_lngState) {
  return kFrame("m_GetServiceState", [&] {
    f_lngState = 0;
    return probe_first(*services_, service_query(f_strName), "State", [&](const wmi::Value& value) {
      const std::string state = to_text(value);
      for (const auto& [text, code] : kServiceStates) {
        if (state == text) f_lngState = code;
      }
    });
  });
}

std::int32_t CheckPoint::m_GetServiceExistence(const std::string& f_strName, bool& f_blnExist) {
  return kFrame("m_GetServiceExistence", [&] {
    f_blnExist = false;
    return probe_existence(*services_, service_query(f_strName), f_blnExist);
  });
}

std::int32_t CheckPoint::m_GetProcessExistence(const std::string& f_strName, bool& f_blnExist) {
  return kFrame("m_GetProcessExistence", [&] {
    f_blnExist = false;
    return probe_existence(*services_, process_query(f_strName), f_blnExist);
  });
}

std::int32_t CheckPoint::m_GetProcessMemorySize(const std::string& f_strName, Currency& f_curSize) {
  return kFrame("m_GetProcessMemorySize", [&] {
    return probe_size(*services_, process_query(f_strName), "WorkingSetSize", f_curSize);
  });
}

std::int32_t CheckPoint::m_GetProcessCPULoadPercentage(const std::string& f_strName,
                                                       std::int32_t& f_lngPercentage) {
  return kFrame("m_GetProcessCPULoadPercentage", [&] {
    f_lngPercentage = 0;
    std::string counters = "SELECT * FROM Win32_PerfRawData_PerfProc_Process WHERE Name='_Total'";
    std::int32_t status = probe_all(*services_, process_query(f_strName), [&](wmi::Object& process) {
      const wmi::Value id = process.get("ProcessId");
      if (id.is_null()) return false;
      counters += " OR IDProcess=" + std::to_string(to_long(id));
      return true;
    });
    if (status != kAnswered) return status;

    CpuSample first;
    status = take_sample(*services_, counters, first);
    if (status != kAnswered) return status;
    ground_.clock().sleep(std::chrono::milliseconds(500));
    CpuSample second;
    status = take_sample(*services_, counters, second);
    if (status == kAnswered) {
      const double share =
          divide((second.process - first.process).to_double(), (second.total - first.total).to_double());
      f_lngPercentage = round_to_long(share * 100.0);
    }
    return status;
  });
}

std::int32_t CheckPoint::m_GetFreePhysicalMemorySize(Currency& f_curSize) {
  return kFrame("m_GetFreePhysicalMemorySize",
                [&] { return probe_size(*services_, kOperatingSystem, "FreePhysicalMemory", f_curSize); });
}

std::int32_t CheckPoint::m_GetPhysicalMemorySize(Currency& f_curSize) {
  return kFrame("m_GetPhysicalMemorySize", [&] {
    return probe_size(*services_, kOperatingSystem, "TotalVisibleMemorySize", f_curSize);
  });
}

std::int32_t CheckPoint::m_GetFreeVirtualMemorySize(Currency& f_curSize) {
  return kFrame("m_GetFreeVirtualMemorySize",
                [&] { return probe_size(*services_, kOperatingSystem, "FreeVirtualMemory", f_curSize); });
}

std::int32_t CheckPoint::m_GetVirtualMemorySize(Currency& f_curSize) {
  return kFrame("m_GetVirtualMemorySize", [&] {
    return probe_size(*services_, kOperatingSystem, "TotalVirtualMemorySize", f_curSize);
  });
}

std::int32_t CheckPoint::m_GetFreePagingFilesSize(Currency& f_curSize) {
  return kFrame("m_GetFreePagingFilesSize", [&] {
    return probe_size(*services_, kOperatingSystem, "FreeSpaceInPagingFiles", f_curSize);
  });
}

std::int32_t CheckPoint::m_GetPagingFilesSize(Currency& f_curSize) {
  return kFrame("m_GetPagingFilesSize", [&] {
    return probe_size(*services_, kOperatingSystem, "SizeStoredInPagingFiles", f_curSize);
  });
}

std::int32_t CheckPoint::m_GetProcessorLoadPercentage(std::int32_t& f_lngPercentage) {
  return kFrame("m_GetProcessorLoadPercentage", [&] {
    f_lngPercentage = 0;
    std::int32_t counted = 0;
    const std::int32_t status =
        probe_all(*services_, "SELECT * FROM Win32_Processor", [&](wmi::Object& processor) {
          const wmi::Value load = processor.get("LoadPercentage");
          if (load.is_null()) return false;
          f_lngPercentage = checked_add(f_lngPercentage, to_long(load));
          counted = checked_add(counted, 1);
          return true;
        });
    if (status != kNoObject) {
      // Processors that all told none make this 0/0, which is a failure.
      f_lngPercentage = round_to_long(divide(f_lngPercentage, counted));
    }
    return status;
  });
}

}  // namespace kvwmi
