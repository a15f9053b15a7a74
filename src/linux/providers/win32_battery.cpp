#include <map>

#include "linux/parsers/scan.h"
#include "linux/providers/factories.h"
#include "linux/providers/failure.h"
#include "linux/providers/operating_system.h"
#include "linux/providers/row.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

std::string line(const std::string& folder, std::string_view file) {
  return read_line(folder + "/" + std::string(file)).value_or("");
}
std::optional<std::uint64_t> number_line(const std::string& folder, std::string_view file) {
  // The kernel shows a current that flows out as a negative number on some machines.
  const auto number = parsers::to_number<std::int64_t>(line(folder, file));
  if (!number) return std::nullopt;
  const auto bits = static_cast<std::uint64_t>(*number);
  return *number < 0 ? 0 - bits : bits;
}

std::string kernel_name(const std::string& folder) {
  return folder.substr(folder.rfind('/') + 1);
}

/// Model and serial number, which stay with a battery in whichever bay it sits; the kernel's name without.
std::string identifier(const std::string& folder) {
  const std::string model = line(folder, "model_name");
  const std::string serial = line(folder, "serial_number");
  const std::string text = model + (model.empty() || serial.empty() ? "" : " ") + serial;
  return text.empty() ? kernel_name(folder) : text;
}

/// Win32_Battery.BatteryStatus
enum Status : std::uint32_t {
  discharging = 1,
  on_mains = 2,
  full = 3,
  low = 4,
  critical = 5,
  charging = 6,
  charging_high = 7,
  charging_low = 8,
  charging_critical = 9,
  undefined = 10,
};

class Row final : public cim::Instance {
 public:
  Row(const cim::Class& schema, const Machine& machine, std::string folder, std::string identifier,
      bool on_mains_power)
      : Instance(schema),
        machine_(machine),
        folder_(std::move(folder)),
        identifier_(std::move(identifier)),
        on_mains_power_(on_mains_power) {}

  Value device_id() { return Value(identifier_); }
  Value name() {
    const std::string model = line(folder_, "model_name");
    return Value(model.empty() ? kernel_name(folder_) : model);
  }

  /// Mains power decides: a machine that has it does not run on the battery, whether that is being charged,
  /// is full or rests. Without it the battery's own word counts.
  Value battery_status() {
    const std::string status = line(folder_, "status");
    const std::string level = line(folder_, "capacity_level");
    if (on_mains_power_ || status == "Not charging") return number(std::uint32_t{on_mains});
    if (status == "Full") return number(std::uint32_t{full});
    if (status == "Charging") {
      if (level == "High") return number(std::uint32_t{charging_high});
      if (level == "Low") return number(std::uint32_t{charging_low});
      if (level == "Critical") return number(std::uint32_t{charging_critical});
      return number(std::uint32_t{charging});
    }
    if (status == "Discharging") {
      if (level == "Low") return number(std::uint32_t{low});
      if (level == "Critical") return number(std::uint32_t{critical});
      return number(std::uint32_t{discharging});
    }
    return number(std::uint32_t{undefined});
  }

  Value charge_remaining() {
    if (const auto percent = number_line(folder_, "capacity"))
      return number(std::min<std::uint64_t>(*percent, 100));
    for (const std::string kind : {"energy", "charge"}) {
      const auto now = number_line(folder_, kind + "_now");
      const auto most = number_line(folder_, kind + "_full");
      if (now && most && *most > 0)
        return number(std::min<std::uint64_t>((*now * 100 + *most / 2) / *most, 100));
    }
    return {};
  }

  Value run_time() {
    const auto minutes = minutes_until("time_to_empty_now", "_now");
    return line(folder_, "status") == "Discharging" ? or_null(minutes) : Value();
  }
  Value charge_time() {
    if (line(folder_, "status") != "Charging") return {};
    return or_null(minutes_until("time_to_full_now", ""));
  }

  Value design_capacity() { return or_null(milliwatt_hours("full_design")); }
  Value full_capacity() { return or_null(milliwatt_hours("full")); }
  Value design_voltage() {
    const auto microvolts = number_line(folder_, "voltage_min_design");
    return microvolts ? number(*microvolts / 1000) : Value();
  }

  Value chemistry() {
    const std::string technology = line(folder_, "technology");
    if (technology == "Li-ion") return number(6U);
    if (technology == "Li-poly") return number(8U);
    if (technology == "NiMH") return number(5U);
    if (technology == "NiCd") return number(4U);
    return number(technology.empty() || technology == "Unknown" ? 2U : 1U);
  }
  Value status() {
    const std::string health = line(folder_, "health");
    const bool sound = health.empty() || health == "Good" || health == "Unknown";
    const auto design = milliwatt_hours("full_design");
    const auto most = milliwatt_hours("full");
    const bool worn = design && most && *most * 2 < *design;
    return Value(sound && !worn ? "OK" : "Degraded");
  }
  Value computer() { return Value(computer_name(machine_)); }

 private:
  /// Batteries tell their contents as energy or as charge at a voltage.
  [[nodiscard]] std::optional<std::uint64_t> milliwatt_hours(const std::string& what) const {
    if (const auto microwatt_hours = number_line(folder_, "energy_" + what)) return *microwatt_hours / 1000;
    const auto microampere_hours = number_line(folder_, "charge_" + what);
    auto microvolts = number_line(folder_, "voltage_min_design");
    if (!microvolts) microvolts = number_line(folder_, "voltage_now");
    if (!microampere_hours || !microvolts) return std::nullopt;
    return *microampere_hours / 1000 * (*microvolts / 1000) / 1000;
  }

  /// From the kernel's own estimate in seconds, else from what is left (or missing) and the present flow.
  [[nodiscard]] std::optional<std::uint64_t> minutes_until(std::string_view estimate,
                                                           std::string_view left) const {
    if (const auto seconds = number_line(folder_, estimate); seconds && *seconds > 0) return *seconds / 60;
    for (const auto& [amount, flow] :
         {std::pair("energy", "power_now"), std::pair("charge", "current_now")}) {
      const auto now = number_line(folder_, std::string(amount) + "_now");
      const auto most = number_line(folder_, std::string(amount) + "_full");
      const auto rate = number_line(folder_, flow);
      if (!now || !rate || *rate == 0) continue;
      if (!left.empty()) return *now * 60 / *rate;
      if (most && *most >= *now) return (*most - *now) * 60 / *rate;
    }
    return std::nullopt;
  }

  const Machine& machine_;
  std::string folder_;
  std::string identifier_;
  bool on_mains_power_;
};

using enum CimType;

constexpr Property kProperties[]{
    not_kept("Availability", uint16),
    not_kept("BatteryRechargeTime", uint32),
    {"BatteryStatus", uint16, cim::kPlain, Cost::read,
     "2 the machine has mains power, 1 discharging, 4 low, 5 critical; where no mains supply is known also 3 "
     "full, 6 "
     "charging, 7 to 9 charging and high, low, critical; 10 undefined.",
     cim::reader<&Row::battery_status>},
    {"Caption", string, cim::kPlain, Cost::free, "\"Internal Battery\".", always<"Internal Battery">},
    {"Chemistry", uint16, cim::kPlain, Cost::read,
     "1 other, 2 unknown, 4 nickel cadmium, 5 nickel metal hydride, 6 lithium ion, 8 lithium polymer.",
     cim::reader<&Row::chemistry>},
    not_kept("ConfigManagerErrorCode", uint32),
    not_kept("ConfigManagerUserConfig", boolean),
    {"CreationClassName", string, cim::kPlain, Cost::free, "Name of this class.", always<"Win32_Battery">},
    {"Description", string, cim::kPlain, Cost::free, "\"Internal Battery\".", always<"Internal Battery">},
    {"DesignCapacity", uint32, cim::kPlain, Cost::read, "Capacity when new, in milliwatt-hours.",
     cim::reader<&Row::design_capacity>},
    {"DesignVoltage", uint64, cim::kPlain, Cost::read, "Lowest design voltage in millivolts.",
     cim::reader<&Row::design_voltage>},
    {"DeviceID", string, cim::kKey | cim::kNarrows, Cost::free,
     "Model and serial number, with the kernel's name where that is the same for several.",
     cim::reader<&Row::device_id>},
    not_kept("ErrorCleared", boolean),
    not_kept("ErrorDescription", string),
    {"EstimatedChargeRemaining", uint16, cim::kPlain, Cost::read, "Charge in percent, 0 to 100.",
     cim::reader<&Row::charge_remaining>},
    {"EstimatedRunTime", uint32, cim::kPlain, Cost::read, "Minutes to empty; NULL unless discharging.",
     cim::reader<&Row::run_time>},
    not_kept("ExpectedBatteryLife", uint32),
    not_kept("ExpectedLife", uint32),
    {"FullChargeCapacity", uint32, cim::kPlain, Cost::read, "Present capacity when full, in milliwatt-hours.",
     cim::reader<&Row::full_capacity>},
    not_kept("InstallDate", datetime),
    not_kept("LastErrorCode", uint32),
    not_kept("MaxRechargeTime", uint32),
    {"Name", string, cim::kPlain, Cost::read, "Model of the battery.", cim::reader<&Row::name>},
    not_kept("PNPDeviceID", string),
    not_kept("PowerManagementCapabilities", uint16, cim::kArray),
    {"PowerManagementSupported", boolean, cim::kPlain, Cost::free, "Always false.", always_false},
    not_kept("SmartBatteryVersion", string),
    {"Status", string, cim::kPlain, Cost::read,
     R"("OK", or "Degraded" when it says so itself or holds less than half of what it was made for.)",
     cim::reader<&Row::status>},
    not_kept("StatusInfo", uint16),
    {"SystemCreationClassName", string, cim::kPlain, Cost::free, "Class of the computer.",
     always<"Win32_ComputerSystem">},
    {"SystemName", string, cim::kPlain, Cost::read, "Host name of the computer.",
     cim::reader<&Row::computer>},
    not_kept("TimeOnBattery", uint32),
    {"TimeToFullCharge", uint32, cim::kPlain, Cost::read, "Minutes to full; NULL unless charging.",
     cim::reader<&Row::charge_time>},
};
constexpr std::size_t kDeviceId = column(kProperties, "DeviceID");

constexpr std::string_view kSuperclasses[]{"CIM_Battery", "CIM_LogicalDevice", "CIM_LogicalElement",
                                           "CIM_ManagedSystemElement"};
constexpr cim::Class kSchema{
    .name = "Win32_Battery",
    .superclasses = kSuperclasses,
    .description = "The batteries that the machine runs on; none where it has none.",
    .properties = kProperties,
    .methods = {},
};

class Win32Battery final : public embedded::Provider {
 public:
  explicit Win32Battery(const Machine& machine) : machine_(machine) {}

  const cim::Class& schema() const override { return kSchema; }

  void enumerate(const embedded::Request& request, const embedded::RowSink& sink) override {
    // A kernel without power supplies has no such folder; without any of the folders nothing can be said.
    const std::string supplies = machine_.sys + "/class/power_supply/";
    const auto names = list_folder(supplies);
    if (!names && !list_folder(machine_.sys + "/class")) throw provider_failure();
    if (!names) return;

    bool on_mains_power = false;
    std::vector<std::pair<std::string, std::string>> batteries;  // folders and identifiers
    std::map<std::string, int> count;
    for (const std::string& name : *names) {
      const std::string folder = supplies + name;
      // Supplies of mice and the like say that they serve a device and not the machine.
      if (line(folder, "scope") == "Device") continue;
      const bool is_battery = line(folder, "type") == "Battery";
      if (is_battery && line(folder, "present") != "0") {
        batteries.emplace_back(folder, identifier(folder));
        ++count[batteries.back().second];
      }
      if (!is_battery && number_line(folder, "online").value_or(0) > 0) on_mains_power = true;
    }
    for (auto& [folder, key] : batteries) {
      // Two of one model that tell no serial number.
      if (count[key] > 1) key += " " + kernel_name(folder);
      if (!admits(request, {kDeviceId}, key)) continue;
      if (!sink(std::make_shared<Row>(kSchema, machine_, folder, std::move(key), on_mains_power))) return;
    }
  }

 private:
  const Machine& machine_;
};

}  // namespace

std::unique_ptr<embedded::Provider> make_win32_battery(const Machine& machine) {
  return std::make_unique<Win32Battery>(machine);
}

}  // namespace kvwmi::ground::providers
