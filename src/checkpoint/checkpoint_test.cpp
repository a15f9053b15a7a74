#include "kvwmi/checkpoint.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "frame/testing/fake_ground.h"
#include "frame/testing/local_ground.h"
#include "frame/testing/raises.h"

namespace kvwmi {
namespace {

using testing::FakeGround;
using testing::FakeObject;
using testing::Objects;
using testing::Raised;
using testing::raised_by;
using wmi::NamedValues;
using wmi::Value;

constexpr std::int32_t kClassError = static_cast<std::int32_t>(0x80040211);

std::shared_ptr<FakeObject> object(NamedValues values) {
  return std::make_shared<FakeObject>(std::move(values));
}

/// One instance with one property for each value.
Objects objects(const char* property, const std::vector<Value>& values) {
  Objects result;
  for (const Value& value : values) result.push_back(object({{property, value}}));
  return result;
}

/// A probe of a machine where the tests say what WMI answers.
class CheckPointTest : public ::testing::Test {
 protected:
  FakeGround ground;
  CheckPoint check{ground};

  void answer(const std::string& query, Objects found) { ground.wmi.answer(query, std::move(found)); }
  [[nodiscard]] std::vector<std::string> queries() const { return ground.wmi.queries; }
};

// Construction

TEST(CheckPointConstruction, ConnectsOnceToTheLocalMachine) {
  FakeGround ground;
  const CheckPoint check(ground);
  ASSERT_EQ(ground.wmi.connections.size(), 1U);
  EXPECT_EQ(ground.wmi.connections.front().server, ".");
  EXPECT_EQ(ground.wmi.connections.front().name_space, R"(root\CIMV2)");
  EXPECT_TRUE(ground.wmi.queries.empty());
}

TEST(CheckPointConstruction, TheConnectionIsHeldAsLongAsTheObject) {
  FakeGround ground;
  {
    const CheckPoint check(ground);
    EXPECT_EQ(ground.wmi.held(), 1U);
    EXPECT_EQ(ground.wmi.locators, 0);
  }
  EXPECT_EQ(ground.wmi.held(), 0U);
}

TEST(CheckPointConstruction, WithoutTheScriptingComponentWmiIsNotInstalled) {
  FakeGround ground;
  ground.wmi.installed = false;
  EXPECT_EQ(raised_by([&] { return std::make_unique<CheckPoint>(ground); }),
            (Raised{kClassError, "KVWMI\r\n\tKVWMI : CheckPoint.Class_Initialize", "WMI not installed"}));
}

TEST(CheckPointConstruction, ARefusedConnectionKeepsWmisDescription) {
  FakeGround ground;
  ground.wmi.connect_error = wmi::wmi_error(wmi::Status::access_denied, wmi::source::kLocator);
  EXPECT_EQ(raised_by([&] { return std::make_unique<CheckPoint>(ground); }),
            (Raised{kClassError, "SWbemLocator\r\n\tKVWMI : CheckPoint.Class_Initialize", "Access denied "}));
}

TEST(CheckPointConstruction, StandsOnTheLocalGroundUnlessToldOtherwise) {
  testing::fake_local_ground().wmi.connections.clear();
  const CheckPoint check;
  EXPECT_EQ(testing::fake_local_ground().wmi.connections.size(), 1U);
}

// Every method alike

/// Everything a method can write to, holding something else before the call.
struct Outputs {
  std::int32_t number = 77;
  bool flag = true;
  Currency size = Currency::from_integer(77);

  friend bool operator==(const Outputs&, const Outputs&) = default;
};

/// One method with its query, its outputs as it leaves them when the query fails, and its result when the
/// query finds nothing.
struct Method {
  const char* name;
  const char* query;
  std::int32_t (*call)(CheckPoint&, Outputs&);
  Outputs reset;
  std::int32_t status_of_nothing;
};

constexpr const char* kServices = "SELECT * FROM Win32_Service WHERE DisplayName='some name'";
constexpr const char* kProcesses = "SELECT * FROM Win32_Process WHERE Name='some name'";
constexpr const char* kSystem = "SELECT * FROM Win32_OperatingSystem";
constexpr const char* kProcessors = "SELECT * FROM Win32_Processor";
constexpr const char* kBatteries = "SELECT * FROM Win32_Battery";

const std::vector<Method> kExistences{
    {"m_GetServiceExistence",
     kServices,
     [](CheckPoint& check, Outputs& out) { return check.m_GetServiceExistence("some name", out.flag); },
     {.flag = false},
     0},
    {"m_GetProcessExistence",
     kProcesses,
     [](CheckPoint& check, Outputs& out) { return check.m_GetProcessExistence("some name", out.flag); },
     {.flag = false},
     0},
};

const std::vector<Method> kPropertyReaders{
    {"m_GetPowerSource",
     kBatteries,
     [](CheckPoint& check, Outputs& out) { return check.m_GetPowerSource(out.number); },
     {.number = 25},
     0},
    {"m_GetServiceState",
     kServices,
     [](CheckPoint& check, Outputs& out) { return check.m_GetServiceState("some name", out.number); },
     {.number = 0},
     1},
    {"m_GetProcessMemorySize",
     kProcesses,
     [](CheckPoint& check, Outputs& out) { return check.m_GetProcessMemorySize("some name", out.size); },
     {.size = {}},
     1},
    {"m_GetProcessCPULoadPercentage",
     kProcesses,
     [](CheckPoint& check, Outputs& out) {
       return check.m_GetProcessCPULoadPercentage("some name", out.number);
     },
     {.number = 0},
     1},
    {"m_GetFreePhysicalMemorySize",
     kSystem,
     [](CheckPoint& check, Outputs& out) { return check.m_GetFreePhysicalMemorySize(out.size); },
     {.size = {}},
     1},
    {"m_GetPhysicalMemorySize",
     kSystem,
     [](CheckPoint& check, Outputs& out) { return check.m_GetPhysicalMemorySize(out.size); },
     {.size = {}},
     1},
    {"m_GetFreeVirtualMemorySize",
     kSystem,
     [](CheckPoint& check, Outputs& out) { return check.m_GetFreeVirtualMemorySize(out.size); },
     {.size = {}},
     1},
    {"m_GetVirtualMemorySize",
     kSystem,
     [](CheckPoint& check, Outputs& out) { return check.m_GetVirtualMemorySize(out.size); },
     {.size = {}},
     1},
    {"m_GetFreePagingFilesSize",
     kSystem,
     [](CheckPoint& check, Outputs& out) { return check.m_GetFreePagingFilesSize(out.size); },
     {.size = {}},
     1},
    {"m_GetPagingFilesSize",
     kSystem,
     [](CheckPoint& check, Outputs& out) { return check.m_GetPagingFilesSize(out.size); },
     {.size = {}},
     1},
    {"m_GetProcessorLoadPercentage",
     kProcessors,
     [](CheckPoint& check, Outputs& out) { return check.m_GetProcessorLoadPercentage(out.number); },
     {.number = 0},
     1},
};

std::string method_name(const ::testing::TestParamInfo<Method>& method) {
  return method.param.name;
}

/// The failure of `method` whose inner error is `status`, raised by `source`.
Raised wmi_failure(const Method& method, const char* source, const char* description) {
  return {kClassError, std::string(source) + "\r\n\tKVWMI : CheckPoint." + method.name, description};
}

class EveryMethod : public ::testing::TestWithParam<Method> {
 protected:
  FakeGround ground;
  CheckPoint check{ground};
  Outputs outputs;

  std::int32_t call() { return GetParam().call(check, outputs); }
};

TEST_P(EveryMethod, MakesExactlyItsQuery) {
  EXPECT_EQ(call(), GetParam().status_of_nothing);
  EXPECT_EQ(ground.wmi.queries, (std::vector<std::string>{GetParam().query}));
}

TEST_P(EveryMethod, ResetsItsOutputAndKeepsItWhenWmiFails) {
  ground.wmi.errors.emplace(GetParam().query,
                            wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kServices));
  EXPECT_EQ(raised_by([&] { return call(); }),
            wmi_failure(GetParam(), "SWbemServicesEx", "Provider failure "));
  EXPECT_EQ(outputs, GetParam().reset);
}

TEST_P(EveryMethod, HoldsNothingButTheConnectionAfterACall) {
  EXPECT_EQ(call(), GetParam().status_of_nothing);
  EXPECT_EQ(ground.wmi.held(), 1U);
}

TEST_P(EveryMethod, CallsAreIndependent) {
  ground.wmi.errors.emplace(GetParam().query, wmi::wmi_error(wmi::Status::failed, wmi::source::kServices));
  static_cast<void>(raised_by([&] { return call(); }));
  ground.wmi.errors.clear();
  EXPECT_EQ(call(), GetParam().status_of_nothing);
  EXPECT_EQ(ground.wmi.connections.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Existences, EveryMethod, ::testing::ValuesIn(kExistences), method_name);
INSTANTIATE_TEST_SUITE_P(PropertyReaders, EveryMethod, ::testing::ValuesIn(kPropertyReaders), method_name);

class PropertyReader : public EveryMethod {};

TEST_P(PropertyReader, AnObjectWithoutThePropertyFailsWithWmisError) {
  ground.wmi.answer(GetParam().query, {object({})});
  EXPECT_EQ(raised_by([&] { return call(); }), wmi_failure(GetParam(), "SWbemObjectEx", "Not found "));
  EXPECT_EQ(outputs, GetParam().reset);
  EXPECT_EQ(ground.wmi.held(), 1U) << "only the connection";
}

INSTANTIATE_TEST_SUITE_P(CheckPoint, PropertyReader, ::testing::ValuesIn(kPropertyReaders), method_name);

TEST(CheckPointMethods, AreThirteen) {
  EXPECT_EQ(kExistences.size() + kPropertyReaders.size(), 13U);
}

TEST_F(CheckPointTest, ASingleQuoteInANameGoesIntoTheQueryAsItIs) {
  // No escaping: WMI refuses the query, and its refusal is what the caller sees.
  const std::string query = "SELECT * FROM Win32_Process WHERE Name='it's'";
  ground.wmi.errors.emplace(query, wmi::wmi_error(wmi::Status::invalid_query, wmi::source::kServices));
  bool exists = true;
  EXPECT_EQ(raised_by([&] { return check.m_GetProcessExistence("it's", exists); }),
            (Raised{kClassError, "SWbemServicesEx\r\n\tKVWMI : CheckPoint.m_GetProcessExistence",
                    "Invalid query "}));
  EXPECT_FALSE(exists);
}

// Power source

class PowerSource : public CheckPointTest {
 protected:
  std::int32_t state_of(const std::vector<Value>& statuses) {
    answer(kBatteries, objects("BatteryStatus", statuses));
    std::int32_t state = 0;
    EXPECT_EQ(check.m_GetPowerSource(state), 0);
    return state;
  }
};

TEST_F(PowerSource, NoBatteryIsMainsPower) {
  EXPECT_EQ(state_of({}), 25);
}

TEST_F(PowerSource, BatteryStatusNullIsMainsPower) {
  EXPECT_EQ(state_of({Value()}), 25);
}

TEST_F(PowerSource, BatteryStatusTwoIsMainsPower) {
  EXPECT_EQ(state_of({Value(2)}), 25);
}

TEST_F(PowerSource, AnyOtherBatteryStatusIsBattery) {
  for (const std::int32_t status : {0, 1, 3, 6, 11, -1}) {
    ground.wmi.answers.clear();
    EXPECT_EQ(state_of({Value(status)}), 26) << status;
  }
}

TEST_F(PowerSource, OnlyTheFirstBatteryCounts) {
  EXPECT_EQ(state_of({Value(2), Value(1)}), 25);
  ground.wmi.answers.clear();
  EXPECT_EQ(state_of({Value(1), Value(2)}), 26);
  ground.wmi.answers.clear();
  EXPECT_EQ(state_of({Value(), Value(1)}), 25);
}

// Services

class ServiceState : public CheckPointTest {
 protected:
  struct Answer {
    std::int32_t status;
    std::int32_t state;
    friend bool operator==(const Answer&, const Answer&) = default;
  };
  Answer ask(const std::vector<Value>& states) {
    ground.wmi.answers.clear();
    answer(kServices, objects("State", states));
    Answer result{0, 99};
    result.status = check.m_GetServiceState("some name", result.state);
    return result;
  }
};

TEST_F(ServiceState, EveryStateHasItsCode) {
  const std::vector<std::pair<const char*, std::int32_t>> codes{
      {"Stopped", 1},          {"Start Pending", 2}, {"Stop Pending", 3}, {"Running", 4},
      {"Continue Pending", 5}, {"Pause Pending", 6}, {"Paused", 7}};
  for (const auto& [text, code] : codes) EXPECT_EQ(ask({Value(text)}), (Answer{0, code})) << text;
}

TEST_F(ServiceState, AnyOtherTextIsZeroAndAnswered) {
  // Case and blanks count.
  for (const char* text : {"Unknown", "running", "Running ", " Running", "StartPending", ""}) {
    EXPECT_EQ(ask({Value(text)}), (Answer{0, 0})) << text;
  }
}

TEST_F(ServiceState, UnknownServiceIsStatusOne) {
  EXPECT_EQ(ask({}), (Answer{1, 0}));
}

TEST_F(ServiceState, StateNullIsStatusTwo) {
  EXPECT_EQ(ask({Value()}), (Answer{2, 0}));
}

TEST_F(ServiceState, OnlyTheFirstServiceOfTheNameCounts) {
  EXPECT_EQ(ask({Value("Paused"), Value("Running")}), (Answer{0, 7}));
  EXPECT_EQ(ask({Value(), Value("Running")}), (Answer{2, 0}));
}

TEST_F(CheckPointTest, ServiceExistence) {
  bool exists = true;
  EXPECT_EQ(check.m_GetServiceExistence("some name", exists), 0);
  EXPECT_FALSE(exists);
  answer(kServices, {object({})});
  EXPECT_EQ(check.m_GetServiceExistence("some name", exists), 0);
  EXPECT_TRUE(exists);
}

// Processes

TEST_F(CheckPointTest, ProcessExistence) {
  bool exists = true;
  EXPECT_EQ(check.m_GetProcessExistence("some name", exists), 0);
  EXPECT_FALSE(exists);
}

TEST_F(CheckPointTest, SeveralProcessesOfOneNameExist) {
  answer(kProcesses, {object({}), object({}), object({})});
  bool exists = false;
  EXPECT_EQ(check.m_GetProcessExistence("some name", exists), 0);
  EXPECT_TRUE(exists);
}

TEST_F(CheckPointTest, AnEmptyNameIsAskedForLikeAnyOther) {
  bool exists = true;
  EXPECT_EQ(check.m_GetProcessExistence("", exists), 0);
  EXPECT_EQ(queries().back(), "SELECT * FROM Win32_Process WHERE Name=''");
}

// Sizes

struct SizeProbe {
  const char* name;
  const char* query;
  const char* property;
  std::int32_t (*call)(CheckPoint&, Currency&);
};

const std::vector<SizeProbe> kSizeProbes{
    {"ProcessMemory", kProcesses, "WorkingSetSize",
     [](CheckPoint& check, Currency& size) { return check.m_GetProcessMemorySize("some name", size); }},
    {"FreePhysicalMemory", kSystem, "FreePhysicalMemory",
     [](CheckPoint& check, Currency& size) { return check.m_GetFreePhysicalMemorySize(size); }},
    {"PhysicalMemory", kSystem, "TotalVisibleMemorySize",
     [](CheckPoint& check, Currency& size) { return check.m_GetPhysicalMemorySize(size); }},
    {"FreeVirtualMemory", kSystem, "FreeVirtualMemory",
     [](CheckPoint& check, Currency& size) { return check.m_GetFreeVirtualMemorySize(size); }},
    {"VirtualMemory", kSystem, "TotalVirtualMemorySize",
     [](CheckPoint& check, Currency& size) { return check.m_GetVirtualMemorySize(size); }},
    {"FreePagingFiles", kSystem, "FreeSpaceInPagingFiles",
     [](CheckPoint& check, Currency& size) { return check.m_GetFreePagingFilesSize(size); }},
    {"PagingFiles", kSystem, "SizeStoredInPagingFiles",
     [](CheckPoint& check, Currency& size) { return check.m_GetPagingFilesSize(size); }},
};

class Size : public ::testing::TestWithParam<SizeProbe> {
 protected:
  FakeGround ground;
  CheckPoint check{ground};
  Currency size = Currency::from_integer(77);

  std::int32_t ask(const std::vector<Value>& values) {
    ground.wmi.answers.clear();
    ground.wmi.answer(GetParam().query, objects(GetParam().property, values));
    return GetParam().call(check, size);
  }
};

TEST_P(Size, IsPassedOnUnscaled) {
  EXPECT_EQ(ask({Value("16384000")}), 0);
  EXPECT_EQ(size, Currency::from_integer(16'384'000));
}

TEST_P(Size, AThirtyTwoBitValueIsASizeToo) {
  EXPECT_EQ(ask({Value(4096)}), 0);
  EXPECT_EQ(size, Currency::from_integer(4096));
}

TEST_P(Size, NoObjectIsStatusOne) {
  EXPECT_EQ(ask({}), 1);
  EXPECT_EQ(size, Currency());
}

TEST_P(Size, NullIsStatusTwo) {
  EXPECT_EQ(ask({Value()}), 2);
  EXPECT_EQ(size, Currency());
}

TEST_P(Size, OnlyTheFirstObjectIsMeasured) {
  EXPECT_EQ(ask({Value("1000"), Value("2000")}), 0);
  EXPECT_EQ(size, Currency::from_integer(1000));
  EXPECT_EQ(ask({Value(), Value("2000")}), 2);
  EXPECT_EQ(size, Currency());
}

TEST_P(Size, TheLargestCurrencyFitsAndTheNextOverflows) {
  EXPECT_EQ(ask({Value("922337203685477")}), 0);
  EXPECT_EQ(size, Currency::from_integer(922'337'203'685'477));
  const auto raised = raised_by([&] { return ask({Value("922337203685478")}); });
  EXPECT_EQ(raised.number, kClassError);
  EXPECT_EQ(raised.description, "Overflow");
  EXPECT_EQ(size, Currency());
}

TEST_P(Size, TextThatIsNoNumberIsATypeMismatch) {
  const auto raised = raised_by([&] { return ask({Value("much")}); });
  EXPECT_EQ(raised.number, kClassError);
  EXPECT_EQ(raised.description, "Type mismatch");
  EXPECT_EQ(size, Currency());
}

INSTANTIATE_TEST_SUITE_P(CheckPoint, Size, ::testing::ValuesIn(kSizeProbes),
                         [](const auto& probe) { return std::string(probe.param.name); });

// Processor load

class ProcessorLoad : public CheckPointTest {
 protected:
  std::int32_t percentage = 77;

  std::int32_t ask(const std::vector<Value>& loads) {
    ground.wmi.answers.clear();
    answer(kProcessors, objects("LoadPercentage", loads));
    return check.m_GetProcessorLoadPercentage(percentage);
  }
  void expect_failure(const std::vector<Value>& loads, const char* description) {
    EXPECT_EQ(
        raised_by([&] { return ask(loads); }),
        (Raised{kClassError, "KVWMI\r\n\tKVWMI : CheckPoint.m_GetProcessorLoadPercentage", description}));
  }
};

TEST_F(ProcessorLoad, FiftyAndFiftyOneGiveFifty) {
  EXPECT_EQ(ask({Value(50), Value(51)}), 0);
  EXPECT_EQ(percentage, 50);
}

TEST_F(ProcessorLoad, FiftyOneAndFiftyTwoGiveFiftyTwo) {
  EXPECT_EQ(ask({Value(51), Value(52)}), 0);
  EXPECT_EQ(percentage, 52);
}

TEST_F(ProcessorLoad, OneProcessor) {
  EXPECT_EQ(ask({Value(100)}), 0);
  EXPECT_EQ(percentage, 100);
}

TEST_F(ProcessorLoad, ThirdsRoundToTheNearest) {
  EXPECT_EQ(ask({Value(10), Value(10), Value(12)}), 0);
  EXPECT_EQ(percentage, 11);
}

TEST_F(ProcessorLoad, ProcessorsThatTellNoneDoNotCount) {
  EXPECT_EQ(ask({Value(), Value(30), Value(), Value(40)}), 0);
  EXPECT_EQ(percentage, 35);
}

TEST_F(ProcessorLoad, NoProcessorIsStatusOne) {
  EXPECT_EQ(ask({}), 1);
  EXPECT_EQ(percentage, 0);
}

TEST_F(ProcessorLoad, ProcessorsThatAllTellNoneAreZeroByZero) {
  expect_failure({Value(), Value()}, "Overflow");
  EXPECT_EQ(percentage, 0);
}

TEST_F(ProcessorLoad, ASumThatDoesNotFitIsAnOverflow) {
  const std::int32_t most = std::numeric_limits<std::int32_t>::max();
  expect_failure({Value(most), Value(1)}, "Overflow");
  // The output keeps the sum as it was before.
  EXPECT_EQ(percentage, most);
}

TEST_F(ProcessorLoad, ALoadThatIsNoNumberIsATypeMismatch) {
  expect_failure({Value(20), Value("high")}, "Type mismatch");
  EXPECT_EQ(percentage, 20);
}

// Processor load of a process

class CpuLoad : public CheckPointTest {
 protected:
  std::int32_t percentage = 77;

  void processes(const std::vector<Value>& ids) { answer(kProcesses, objects("ProcessId", ids)); }
  static std::string counters(const std::string& identifiers) {
    return "SELECT * FROM Win32_PerfRawData_PerfProc_Process WHERE Name='_Total'" + identifiers;
  }
  static std::shared_ptr<FakeObject> counter(const char* name, const char* time) {
    return object({{"Name", Value(name)}, {"PercentProcessorTime", Value(time)}});
  }
  std::int32_t ask() { return check.m_GetProcessCPULoadPercentage("some name", percentage); }
  /// Measures one process from its two samples, each the machine's time and the process's.
  std::int32_t measure(const char* total1, const char* process1, const char* total2, const char* process2) {
    ground.wmi.answers.clear();
    processes({Value(10)});
    answer(counters(" OR IDProcess=10"), {counter("_Total", total1), counter("some name", process1)});
    answer(counters(" OR IDProcess=10"), {counter("_Total", total2), counter("some name", process2)});
    return ask();
  }
  void expect_failure(const std::function<std::int32_t()>& call, const char* description) {
    EXPECT_EQ(
        raised_by(call),
        (Raised{kClassError, "KVWMI\r\n\tKVWMI : CheckPoint.m_GetProcessCPULoadPercentage", description}));
    EXPECT_EQ(percentage, 0);
  }
};

TEST_F(CpuLoad, IsTheShareOfTheWholeMachine) {
  EXPECT_EQ(measure("1000000", "100", "1010000", "2600"), 0);
  EXPECT_EQ(percentage, 25);
}

TEST_F(CpuLoad, NoProcessMakesNoCounterQuery) {
  EXPECT_EQ(ask(), 1);
  EXPECT_EQ(percentage, 0);
  EXPECT_EQ(queries(), (std::vector<std::string>{kProcesses}));
  EXPECT_TRUE(ground.fake_clock.sleeps.empty());
}

TEST_F(CpuLoad, ProcessesWithoutIdentifiersAreStatusTwo) {
  processes({Value(), Value()});
  EXPECT_EQ(ask(), 2);
  EXPECT_EQ(percentage, 0);
  EXPECT_EQ(queries(), (std::vector<std::string>{kProcesses}));
}

TEST_F(CpuLoad, SleepsHalfASecondBetweenTheSamples) {
  EXPECT_EQ(measure("0", "0", "100", "0"), 0);
  EXPECT_EQ(ground.fake_clock.sleeps,
            (std::vector<std::chrono::milliseconds>{std::chrono::milliseconds(500)}));
  EXPECT_EQ(queries(), (std::vector<std::string>{kProcesses, counters(" OR IDProcess=10"),
                                                 counters(" OR IDProcess=10")}));
}

TEST_F(CpuLoad, ReadsNamesBeforeTimes) {
  processes({Value(10)});
  const auto process = counter("some name", "0");
  const auto total = counter("_Total", "0");
  answer(counters(" OR IDProcess=10"), {process, total});
  answer(counters(" OR IDProcess=10"), {counter("some name", "10"), counter("_Total", "100")});
  EXPECT_EQ(ask(), 0);
  const std::vector<std::string> order{"Name", "PercentProcessorTime"};
  EXPECT_EQ(process->reads, order);
  EXPECT_EQ(total->reads, order);
}

TEST_F(CpuLoad, SeveralProcessesEnterTheQueryInTheirOrderAndAreSummed) {
  processes({Value(30), Value(), Value(10), Value(20)});
  const std::string query = counters(" OR IDProcess=30 OR IDProcess=10 OR IDProcess=20");
  answer(query, {counter("some name", "5"), counter("_Total", "100"), counter("some name#1", "5")});
  answer(query, {counter("_Total", "200"), counter("some name", "15"), counter("some name#1", "35")});
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(percentage, 40);
  EXPECT_EQ(queries(), (std::vector<std::string>{kProcesses, query, query}));
}

TEST_F(CpuLoad, AnIdentifierAboveTheSignedRangeIsWrittenAsWmiHandsItOut) {
  processes({Value(static_cast<std::int32_t>(0xFFFFFFFC))});
  EXPECT_EQ(ask(), 1);
  EXPECT_EQ(queries().back(), counters(" OR IDProcess=-4"));
}

TEST_F(CpuLoad, OnlyTheExactTotalNameIsTheTotal) {
  processes({Value(10)});
  const std::string query = counters(" OR IDProcess=10");
  answer(query, {counter("_Total", "0"), counter("_total", "0"), counter("_Total ", "0")});
  answer(query, {counter("_Total", "100"), counter("_total", "10"), counter("_Total ", "20")});
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(percentage, 30);
}

TEST_F(CpuLoad, CountersWithoutATimeOrANameAreSkipped) {
  processes({Value(10)});
  const std::string query = counters(" OR IDProcess=10");
  const auto nameless = object({{"Name", Value()}, {"PercentProcessorTime", Value("1000")}});
  const auto timeless = object({{"Name", Value("some name")}, {"PercentProcessorTime", Value()}});
  answer(query, {nameless, timeless, counter("_Total", "0"), counter("some name", "0")});
  answer(query, {timeless, counter("_Total", "100"), counter("some name", "50"), nameless});
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(percentage, 50);
}

TEST_F(CpuLoad, AFirstSampleWithoutCountersIsStatusOne) {
  processes({Value(10)});
  EXPECT_EQ(ask(), 1);
  EXPECT_EQ(percentage, 0);
  EXPECT_EQ(queries().size(), 2U);
  EXPECT_TRUE(ground.fake_clock.sleeps.empty());
}

TEST_F(CpuLoad, AFirstSampleWithoutUsableCountersIsStatusTwo) {
  processes({Value(10)});
  answer(counters(" OR IDProcess=10"), {object({{"Name", Value("x")}, {"PercentProcessorTime", Value()}})});
  EXPECT_EQ(ask(), 2);
  EXPECT_EQ(queries().size(), 2U);
}

TEST_F(CpuLoad, ASecondSampleWithoutCountersIsStatusOne) {
  processes({Value(10)});
  answer(counters(" OR IDProcess=10"), {counter("_Total", "100"), counter("some name", "1")});
  answer(counters(" OR IDProcess=10"), {});
  EXPECT_EQ(ask(), 1);
  EXPECT_EQ(percentage, 0);
}

TEST_F(CpuLoad, ASecondSampleWithoutUsableCountersIsStatusTwo) {
  processes({Value(10)});
  answer(counters(" OR IDProcess=10"), {counter("_Total", "100"), counter("some name", "1")});
  answer(counters(" OR IDProcess=10"), {object({{"Name", Value()}, {"PercentProcessorTime", Value("1")}})});
  EXPECT_EQ(ask(), 2);
  EXPECT_EQ(percentage, 0);
}

TEST_F(CpuLoad, AProcessThatEndsBetweenTheSamplesContributesLess) {
  processes({Value(10), Value(20)});
  const std::string query = counters(" OR IDProcess=10 OR IDProcess=20");
  answer(query, {counter("_Total", "100"), counter("a", "10"), counter("b", "10")});
  answer(query, {counter("_Total", "200"), counter("b", "60")});
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(percentage, 40);
}

TEST_F(CpuLoad, AProcessThatUsesNoTimeIsZero) {
  EXPECT_EQ(measure("1000", "50", "2000", "50"), 0);
  EXPECT_EQ(percentage, 0);
}

TEST_F(CpuLoad, HalvesGoToTheEvenNeighbour) {
  EXPECT_EQ(measure("0", "0", "1000", "25"), 0);
  EXPECT_EQ(percentage, 2);
  EXPECT_EQ(measure("0", "0", "1000", "35"), 0);
  EXPECT_EQ(percentage, 4);
}

TEST_F(CpuLoad, IsComputedInDoublePrecision) {
  // As doubles 575 / 1000 * 100 is 57.49999999999999; anything more precise would be the half that goes
  // to 58.
  EXPECT_EQ(measure("0", "0", "1000", "575"), 0);
  EXPECT_EQ(percentage, 57);
}

TEST_F(CpuLoad, CountersThatWentBackGiveANegativeShare) {
  EXPECT_EQ(measure("0", "1000", "1000", "0"), 0);
  EXPECT_EQ(percentage, -100);
}

TEST_F(CpuLoad, NoTimeOnTheTotalIsADivisionByZero) {
  expect_failure([&] { return measure("500", "0", "500", "10"); }, "Division by zero");
}

TEST_F(CpuLoad, NoTimeAnywhereIsZeroByZero) {
  expect_failure([&] { return measure("500", "10", "500", "10"); }, "Overflow");
}

TEST_F(CpuLoad, TheLargestCounterFits) {
  EXPECT_EQ(measure("0", "0", "922337203685477", "922337203685477"), 0);
  EXPECT_EQ(percentage, 100);
}

TEST_F(CpuLoad, ACounterTooLargeForCurrencyIsAnOverflow) {
  expect_failure([&] { return measure("922337203685478", "0", "0", "0"); }, "Overflow");
}

TEST_F(CpuLoad, ASumTooLargeForCurrencyIsAnOverflow) {
  processes({Value(10)});
  answer(counters(" OR IDProcess=10"), {counter("a", "900000000000000"), counter("b", "900000000000000")});
  expect_failure([&] { return ask(); }, "Overflow");
}

TEST_F(CpuLoad, AShareThatDoesNotFitIsAnOverflow) {
  expect_failure([&] { return measure("0", "0", "1", "900000000000000"); }, "Overflow");
}

TEST_F(CpuLoad, AFailingCounterQueryIsTheFailureOfTheMethod) {
  processes({Value(10)});
  ground.wmi.errors.emplace(counters(" OR IDProcess=10"),
                            wmi::wmi_error(wmi::Status::provider_failure, wmi::source::kServices));
  EXPECT_EQ(raised_by([&] { return ask(); }),
            (Raised{kClassError, "SWbemServicesEx\r\n\tKVWMI : CheckPoint.m_GetProcessCPULoadPercentage",
                    "Provider failure "}));
  EXPECT_EQ(percentage, 0);
}

}  // namespace
}  // namespace kvwmi
