#include "frame/wmi_status.h"
#include "kvwmi/error.h"
#include "linux/providers/factories.h"
#include "linux/testing/no_descriptors.h"
#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using namespace testing;

class RecordedBattery : public ::testing::Test {
 protected:
  RecordedBattery() {
    machine.become_laptop();
    provider = providers::make_win32_battery(machine);
  }
  void supply(std::string_view file, std::string_view text) {
    machine.write("/sys/class/power_supply/" + std::string(file), std::string(text) + "\n");
  }
  std::shared_ptr<cim::Instance> battery() {
    Rows rows = rows_of(*provider);
    if (rows.size() != 1) throw std::runtime_error("not one row");
    return rows.front();
  }
  std::uint64_t status() { return number_of(*battery(), "BatteryStatus"); }

  RecordedMachine machine;
  std::unique_ptr<embedded::Provider> provider;
};

TEST_F(RecordedBattery, IsTheMachinesOwnAndNotTheMouses) {
  const auto row = battery();
  EXPECT_EQ(text_of(*row, "DeviceID"), "DX-45N 4711");
  EXPECT_EQ(text_of(*row, "Name"), "DX-45N");
  EXPECT_EQ(text_of(*row, "Caption"), "Internal Battery");
  EXPECT_EQ(number_of(*row, "BatteryStatus"), 1U);
  EXPECT_EQ(number_of(*row, "EstimatedChargeRemaining"), 37U);
  EXPECT_EQ(number_of(*row, "EstimatedRunTime"), 100U) << "minutes: 16.65 Wh at 9.99 W";
  EXPECT_TRUE(get(*row, "TimeToFullCharge").is_null());
  EXPECT_EQ(number_of(*row, "DesignCapacity"), 50000U) << "milliwatt-hours";
  EXPECT_EQ(number_of(*row, "FullChargeCapacity"), 45000U);
  EXPECT_EQ(number_of(*row, "DesignVoltage"), 11400U) << "millivolts";
  EXPECT_EQ(number_of(*row, "Chemistry"), 8U);
  EXPECT_EQ(text_of(*row, "Status"), "OK");
}

TEST_F(RecordedBattery, WithoutADescriptorItIsNotGone) {
  const auto row = battery();
  {
    const NoDescriptors shortage;
    EXPECT_THROW(rows_of(*provider), Error);
    EXPECT_THROW(get(*row, "BatteryStatus"), Error);
  }
  EXPECT_EQ(number_of(*row, "BatteryStatus"), 1U);
}

TEST_F(RecordedBattery, TwoOfOneModelWithoutASerialNumberHaveKeysOfTheirOwn) {
  for (const std::string name : {"BAT1", "BAT2"}) {
    supply(name + "/type", "Battery");
    supply(name + "/model_name", "Twin");
  }
  EXPECT_EQ(texts_of(rows_of(*provider), "DeviceID"),
            (std::vector<std::string>{"DX-45N 4711", "Twin BAT1", "Twin BAT2"}));
  EXPECT_EQ(texts_of(rows_of(*provider, {equals(*provider, "DeviceID", "twin bat2")}), "DeviceID"),
            std::vector<std::string>{"Twin BAT2"});
  supply("BAT2/serial_number", "2");
  EXPECT_EQ(texts_of(rows_of(*provider), "DeviceID"),
            (std::vector<std::string>{"DX-45N 4711", "Twin", "Twin 2"}));
}

TEST_F(RecordedBattery, MainsPowerDecidesTheStatus) {
  supply("AC/online", "1");
  for (const char* state : {"Charging", "Full", "Not charging", "Discharging", "Unknown"}) {
    supply("BAT0/status", state);
    EXPECT_EQ(status(), 2U) << state;
  }
}

TEST_F(RecordedBattery, WithoutMainsPowerItsOwnWordCounts) {
  const auto with = [&](const char* state, const char* level) {
    supply("BAT0/status", state);
    supply("BAT0/capacity_level", level);
    return status();
  };
  EXPECT_EQ(with("Discharging", "Normal"), 1U);
  EXPECT_EQ(with("Not charging", "Normal"), 2U);
  EXPECT_EQ(with("Full", "Full"), 3U);
  EXPECT_EQ(with("Discharging", "Low"), 4U);
  EXPECT_EQ(with("Discharging", "Critical"), 5U);
  EXPECT_EQ(with("Charging", "Normal"), 6U);
  EXPECT_EQ(with("Charging", "High"), 7U);
  EXPECT_EQ(with("Charging", "Low"), 8U);
  EXPECT_EQ(with("Charging", "Critical"), 9U);
  EXPECT_EQ(with("Unknown", ""), 10U);
}

TEST_F(RecordedBattery, ChargeFollowsFromContentsWhereItIsNotTold) {
  machine.remove("/sys/class/power_supply/BAT0/capacity");
  EXPECT_EQ(number_of(*battery(), "EstimatedChargeRemaining"), 37U);
  supply("BAT0/energy_now", "46000000");
  EXPECT_EQ(number_of(*battery(), "EstimatedChargeRemaining"), 100U) << "never more";
  supply("BAT0/energy_full", "0");
  EXPECT_TRUE(get(*battery(), "EstimatedChargeRemaining").is_null());
}

TEST_F(RecordedBattery, ContentsToldAsChargeAreTurnedIntoEnergy) {
  for (const char* file : {"energy_full_design", "energy_full", "energy_now", "power_now"}) {
    machine.remove("/sys/class/power_supply/BAT0/" + std::string(file));
  }
  supply("BAT0/charge_full_design", "4000000");
  supply("BAT0/charge_full", "1900000");
  supply("BAT0/charge_now", "1000000");
  supply("BAT0/current_now", "-500000");
  const auto row = battery();
  EXPECT_EQ(number_of(*row, "DesignCapacity"), 45600U) << "4 Ah at 11.4 V";
  EXPECT_EQ(number_of(*row, "EstimatedRunTime"), 120U) << "a current that flows out may be negative";
  EXPECT_EQ(text_of(*row, "Status"), "Degraded") << "less than half is left";
}

TEST_F(RecordedBattery, TheLeastNumberHasASizeToo) {
  supply("BAT0/voltage_min_design", "-9223372036854775808");
  EXPECT_EQ(number_of(*battery(), "DesignVoltage"), 9223372036854775U);
}

TEST_F(RecordedBattery, TimeToFull) {
  supply("BAT0/status", "Charging");
  supply("BAT0/time_to_full_now", "1800");
  EXPECT_EQ(number_of(*battery(), "TimeToFullCharge"), 30U);
  EXPECT_TRUE(get(*battery(), "EstimatedRunTime").is_null());
}

TEST_F(RecordedBattery, EmptyBayAndNamelessBattery) {
  machine.remove("/sys/class/power_supply/BAT0/model_name");
  machine.remove("/sys/class/power_supply/BAT0/serial_number");
  EXPECT_EQ(text_of(*battery(), "DeviceID"), "BAT0");
  supply("BAT0/present", "0");
  EXPECT_TRUE(rows_of(*provider).empty());
}

TEST_F(RecordedBattery, IsFoundByItsIdentifier) {
  EXPECT_EQ(rows_of(*provider, {equals(*provider, "DeviceID", "dx-45n 4711")}).size(), 1U);
  EXPECT_EQ(rows_of(*provider, {equals(*provider, "DeviceID", "x")}).size(), 0U);
}

TEST(Win32Battery, MachineWithoutPowerSuppliesHasNone) {
  RecordedMachine machine;
  const auto provider = providers::make_win32_battery(machine);
  std::filesystem::create_directories(machine.sys + "/class");
  EXPECT_TRUE(rows_of(*provider).empty());
}

TEST(Win32Battery, WithoutDeviceFoldersNothingCanBeSaid) {
  const RecordedMachine machine;
  const auto provider = providers::make_win32_battery(machine);
  try {
    rows_of(*provider);
    FAIL();
  } catch (const Error& error) {
    EXPECT_TRUE(wmi::is_status(error, wmi::Status::provider_failure));
  }
}

}  // namespace
}  // namespace kvwmi::ground
