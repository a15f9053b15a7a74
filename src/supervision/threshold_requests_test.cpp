#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "kvwmi/codes.h"
#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using namespace condition;
using namespace testing;
using namespace unit;

const std::string kHead = "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA ";
// Two blanks before these ANDs, one before that of the condition.
const std::string kDiskHead =
    kHead + "'Win32_LogicalDisk'  AND TargetInstance.DriveType=3  AND TargetInstance.DeviceID=";
const std::string kDiskCapacity = "SELECT * FROM Win32_LogicalDisk WHERE DriveType=3  AND DeviceID=";
const std::string kOperatingSystem = "SELECT * FROM Win32_OperatingSystem";

/// The arguments that all members of the family share, in their own order.
struct Arguments {
  std::int32_t condition = kLess;
  std::string value = "10";
  std::int32_t unit = kBytes;
  std::int32_t period = 5;
  std::int32_t group_period = 0;
  std::int32_t group_threshold = 0;
  bool notify_if_undetected = false;
};

/// One member of the family.
struct Member {
  std::string method;
  std::function<std::int32_t(Supervision&, const Arguments&)> call;
  std::string where;  ///< the query's text from the class on, up to the condition
  std::string property;
  std::int16_t type;
  std::string capacity_query;
  std::string capacity_property;
  std::string missing;
  bool in_kilobytes;  ///< whether WMI has the property in kilobytes
};

template <typename Method>
auto unnamed(Method method) {
  return [method](Supervision& s, const Arguments& a) {
    return (s.*method)(7, 3, a.condition, Currency::from_text(a.value), a.unit, a.period, a.group_period,
                       a.group_threshold, a.notify_if_undetected);
  };
}

template <typename Method>
auto named(Method method, std::string name) {
  return [method, name](Supervision& s, const Arguments& a) {
    return (s.*method)(7, 3, name, a.condition, Currency::from_text(a.value), a.unit, a.period,
                       a.group_period, a.group_threshold, a.notify_if_undetected);
  };
}

const std::vector<Member>& sizes() {
  static const std::vector<Member> members{
      {"m_SuperviseDiskFreeSpace", named(&Supervision::m_SuperviseDiskFreeSpace, "C:\\"),
       "'Win32_LogicalDisk'  AND TargetInstance.DriveType=3  AND TargetInstance.DeviceID='C:'",
       "TargetInstance.FreeSpace", 2, kDiskCapacity + "'C:'", "Size", "Cannot retrieve disk capacity: 'C:'",
       false},
      // A percentage of the paging files, not of the physical memory.
      {"m_SuperviseProcessMemorySize", named(&Supervision::m_SuperviseProcessMemorySize, "a.exe"),
       "'Win32_Process'  AND TargetInstance.Name='a.exe'", "TargetInstance.WorkingSetSize", 21,
       kOperatingSystem, "SizeStoredInPagingFiles", "Cannot retrieve memory capacity", false},
      {"m_SuperviseFreePhysicalMemorySize", unnamed(&Supervision::m_SuperviseFreePhysicalMemorySize),
       "'Win32_OperatingSystem'", "TargetInstance.FreePhysicalMemory", 23, kOperatingSystem,
       "TotalVisibleMemorySize", "Cannot retrieve memory capacity", true},
      {"m_SuperviseFreeVirtualMemorySize", unnamed(&Supervision::m_SuperviseFreeVirtualMemorySize),
       "'Win32_OperatingSystem'", "TargetInstance.FreeVirtualMemory", 28, kOperatingSystem,
       "TotalVirtualMemorySize", "Cannot retrieve memory capacity", true},
      {"m_SuperviseFreePagingFilesSize", unnamed(&Supervision::m_SuperviseFreePagingFilesSize),
       "'Win32_OperatingSystem'", "TargetInstance.FreeSpaceInPagingFiles", 31, kOperatingSystem,
       "SizeStoredInPagingFiles", "Cannot retrieve memory capacity", true},
  };
  return members;
}

class ThresholdTest : public RequestTest, public ::testing::WithParamInterface<Member> {
 protected:
  std::string query_of(const Arguments& arguments) {
    EXPECT_EQ(GetParam().call(supervision, arguments), 0);
    return ground.wmi.subscriptions.back().query;
  }
  std::string expected(const std::string& condition, const std::string& group = "") const {
    return kHead + GetParam().where + " AND " + GetParam().property + condition + group;
  }
  void answer_capacity(wmi::Value value) {
    ground.wmi.answer(GetParam().capacity_query, Objects{std::make_shared<FakeObject>(wmi::NamedValues{
                                                     {GetParam().capacity_property, std::move(value)}})});
  }
};

INSTANTIATE_TEST_SUITE_P(Sizes, ThresholdTest, ::testing::ValuesIn(sizes()),
                         [](const auto& member) { return member.param.method; });

TEST_P(ThresholdTest, EveryCondition) {
  const char* operators[]{">", "<", ">=", "<=", "=", "<>"};
  for (std::int32_t condition = 1; condition <= 6; ++condition) {
    EXPECT_EQ(query_of({.condition = condition, .value = "2048", .unit = kKilobytes}),
              expected(operators[condition - 1] + std::string(GetParam().in_kilobytes ? "2048" : "2097152")));
  }
}

TEST_P(ThresholdTest, EveryConditionWithEveryUnitAndGrouping) {
  const char* operators[]{">", "<", ">=", "<=", "=", "<>"};
  // Of a capacity of 1,000,000 a quarter; the memory's is in kilobytes, the disk's in what its space is in.
  const bool capacity_in_kilobytes = GetParam().type != 2;
  answer_capacity(wmi::Value("1000000"));
  struct Amount {
    std::int32_t unit;
    const char *value, *bytes, *kilobytes;
  };
  const Amount amounts[]{
      {kBytes, "4096", "4096", "4"},
      {kKilobytes, "512", "524288", "512"},
      {kMegabytes, "10", "10485760", "10240"},
      {kGigabytes, "10", "10737418240", "10485760"},
      {kPercent, "25", capacity_in_kilobytes ? "256000000" : "250000", "250000"},
  };
  for (std::int32_t condition = 1; condition <= 6; ++condition) {
    for (const Amount& amount : amounts) {
      for (const Grouping& grouping : kGroupings) {
        const std::string threshold = GetParam().in_kilobytes ? amount.kilobytes : amount.bytes;
        EXPECT_EQ(query_of({.condition = condition,
                            .value = amount.value,
                            .unit = amount.unit,
                            .group_period = grouping.period,
                            .group_threshold = grouping.threshold}),
                  expected(operators[condition - 1] + threshold, grouping.clause));
      }
    }
  }
  EXPECT_EQ(ground.wmi.subscriptions.size(), 6U * 5U * 4U);
}

TEST_P(ThresholdTest, EveryUnit) {
  struct Case {
    std::int32_t unit;
    const char *value, *bytes, *kilobytes;
  };
  const Case cases[]{
      {kBytes, "4096", "4096", "4"},
      {kBytes, "1536", "1536", "2"},  // 1.5 kilobytes: halves to the even neighbour
      {kKilobytes, "512", "524288", "512"},
      {kMegabytes, "10", "10485760", "10240"},
      {kGigabytes, "10", "10737418240", "10485760"},
      {5, "4096", "4096", "4"},  // any other code counts as bytes
      {-1, "4096", "4096", "4"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(query_of({.value = c.value, .unit = c.unit}),
              expected(std::string("<") + (GetParam().in_kilobytes ? c.kilobytes : c.bytes)));
  }
  EXPECT_EQ(ground.wmi.queries, std::vector<std::string>{}) << "only a percentage needs the capacity";
}

TEST_P(ThresholdTest, EveryGrouping) {
  const std::string condition = "<0";
  EXPECT_EQ(query_of({.value = "0", .group_period = 60, .group_threshold = 3}),
            expected(condition, " GROUP WITHIN 60 HAVING NumberOfEvents>=3"));
  EXPECT_EQ(query_of({.value = "0", .group_period = 60}), expected(condition, " GROUP WITHIN 60"));
  EXPECT_EQ(query_of({.value = "0", .group_threshold = 3}), expected(condition));
}

TEST_P(ThresholdTest, PercentageOfTheCapacity) {
  answer_capacity(wmi::Value("1000000"));
  // The memory capacities are in kilobytes, whatever the compared property is in.
  const bool disk = GetParam().type == 2;
  const std::string quarter = disk || GetParam().in_kilobytes ? "250000" : "256000000";
  EXPECT_EQ(query_of({.value = "25", .unit = kPercent}), expected("<" + quarter));
  EXPECT_EQ(ground.wmi.queries, std::vector<std::string>{GetParam().capacity_query});
}

TEST_P(ThresholdTest, PercentageHalvesGoToTheEvenNeighbour) {
  const bool kilobytes_to_bytes = GetParam().type == 21;
  for (const auto& [capacity, rounded] : {std::pair{"25", 12}, std::pair{"27", 14}}) {  // 12.5 and 13.5
    ground.wmi.answers.clear();
    answer_capacity(wmi::Value(capacity));
    EXPECT_EQ(query_of({.value = "50", .unit = kPercent}),
              expected("<" + std::to_string(kilobytes_to_bytes ? rounded * 1024 : rounded)));
  }
}

TEST_P(ThresholdTest, PercentageWithGrouping) {
  answer_capacity(wmi::Value("0.0001"));
  EXPECT_EQ(query_of({.value = "0", .unit = kPercent, .group_period = 60}),
            expected("<0", " GROUP WITHIN 60"));
}

TEST_P(ThresholdTest, PercentageWithoutACapacityFails) {
  const auto refused = [&] {
    const Error error = error_of([&] {
      GetParam().call(supervision, {.value = "25", .unit = kPercent, .notify_if_undetected = true});
    });
    EXPECT_EQ(error.number(), kClassError);
    EXPECT_EQ(error.source(), "KVWMI" + tag(GetParam().method));
    EXPECT_EQ(error.description(), GetParam().missing);
    EXPECT_TRUE(ground.wmi.subscriptions.empty());
    expect_unregistered();
  };
  refused();  // no object at all
  for (const wmi::Value& value : {wmi::Value("0"), wmi::Value("-1"), wmi::Value()}) {
    ground.wmi.answers.clear();
    answer_capacity(value);
    refused();
  }
}

TEST_P(ThresholdTest, PercentageBeyondTheCurrencyRangeFails) {
  answer_capacity(wmi::Value("900000000000000"));
  const Error error = error_of([&] { GetParam().call(supervision, {.value = "25", .unit = kPercent}); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "KVWMI" + tag(GetParam().method));
  EXPECT_EQ(error.description(), "Overflow");
}

TEST_P(ThresholdTest, UnknownConditionFailsUnderBothTags) {
  const Error error =
      error_of([&] { GetParam().call(supervision, {.condition = 7, .notify_if_undetected = true}); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "KVWMI" + tag("strGetConditionFilter") + tag(GetParam().method));
  EXPECT_EQ(error.description(), "Condition unknown: '7'");
  EXPECT_TRUE(ground.wmi.subscriptions.empty());
  expect_unregistered();
}

TEST_P(ThresholdTest, ValueBeyondTheCurrencyRangeFails) {
  const Error error =
      error_of([&] { GetParam().call(supervision, {.value = "900000000", .unit = kGigabytes}); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "KVWMI" + tag("strGetConditionFilter") + tag(GetParam().method));
  EXPECT_EQ(error.description(), "Overflow");
}

TEST_P(ThresholdTest, RefusedSubscriptionIsNotRegistered) {
  const Error refusal = wmi::wmi_error(wmi::Status::quota_violation, wmi::source::kServices);
  ground.wmi.errors.insert_or_assign(expected("<0"), refusal);
  const Error error =
      error_of([&] { GetParam().call(supervision, {.value = "0", .notify_if_undetected = true}); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), refusal.source() + tag(GetParam().method));
  EXPECT_EQ(error.description(), refusal.description());
  expect_unregistered();
}

TEST_P(ThresholdTest, ContextAndRegistration) {
  query_of({.notify_if_undetected = true});
  const kvwmi::testing::Subscription& subscription = ground.wmi.subscriptions.back();
  EXPECT_EQ(subscription.name_space, R"(root\CIMV2)");
  EXPECT_FALSE(subscription.options);
  ASSERT_EQ(subscription.context.size(), 3U);
  EXPECT_EQ(subscription.context[0].name, "SupervisionId");
  EXPECT_EQ(subscription.context[0].value, wmi::Value(std::int32_t{3}));
  EXPECT_EQ(subscription.context[1].name, "CurrentStepId");
  EXPECT_EQ(subscription.context[1].value, wmi::Value(std::int32_t{7}));
  EXPECT_EQ(subscription.context[2].name, "SupervisionType");
  EXPECT_EQ(subscription.context[2].value, wmi::Value(GetParam().type));
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

class DiskTest : public ThresholdTest {};
INSTANTIATE_TEST_SUITE_P(Disk, DiskTest, ::testing::Values(sizes().front()));

TEST_P(DiskTest, DriveIsTheFirstCharacterOfTheName) {
  const std::pair<const char*, const char*> cases[]{{"C", "C:"},    {"C:", "C:"}, {"C:\\", "C:"},
                                                    {"data", "d:"}, {"", ":"},    {"é:", "é:"}};
  for (const auto& [name, drive] : cases) {
    supervision.m_SuperviseDiskFreeSpace(7, 3, name, kLess, Currency::from_integer(10), kGigabytes);
    EXPECT_EQ(ground.wmi.subscriptions.back().query,
              kDiskHead + "'" + drive + "' AND TargetInstance.FreeSpace<10737418240");
  }
}

TEST_P(DiskTest, PercentageOfADriveThatIsNotThereNamesIt) {
  const Error error = error_of([&] {
    supervision.m_SuperviseDiskFreeSpace(7, 3, "Q:\\", kLess, Currency::from_integer(10), kPercent);
  });
  EXPECT_EQ(error.description(), "Cannot retrieve disk capacity: 'Q:'");
}

TEST_P(DiskTest, GroupedEventShowsTheFreeSpaceOfItsRepresentative) {
  query_of({.group_period = 60, .group_threshold = 3});
  FakeObject event = aggregate_event(instance_event({{"FreeSpace", wmi::Value("77")}}), 3);
  EXPECT_EQ(ground.wmi.fire(ground.wmi.subscriptions.back().query, event), 1);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, "Value: 77 Bytes"}));
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

class ProcessorTest : public ::testing::Test {
 protected:
  FakeGround ground;
  Supervision supervision{ground};
};

TEST_F(ProcessorTest, Queries) {
  supervision.m_Initialize();
  const std::string where = "'Win32_Processor' AND TargetInstance.LoadPercentage";
  supervision.m_SuperviseProcessorLoadPercentage(7, 3, 1, 80);
  EXPECT_EQ(ground.wmi.subscriptions.back().query, kHead + where + ">80");
  EXPECT_EQ(ground.wmi.subscriptions.back().context[2].value, wmi::Value(std::int16_t{27}));
  supervision.m_SuperviseProcessorLoadPercentage(7, 3, 6, -1, 5, 60, 3);
  EXPECT_EQ(ground.wmi.subscriptions.back().query,
            kHead + where + "<>-1 GROUP WITHIN 60 HAVING NumberOfEvents>=3");
  supervision.m_Release();
}

TEST_F(ProcessorTest, EveryConditionWithEveryGrouping) {
  supervision.m_Initialize();
  const char* operators[]{">", "<", ">=", "<=", "=", "<>"};
  for (std::int32_t condition = 1; condition <= 6; ++condition) {
    for (const Grouping& grouping : kGroupings) {
      supervision.m_SuperviseProcessorLoadPercentage(7, 3, condition, 80, 5, grouping.period,
                                                     grouping.threshold);
      EXPECT_EQ(ground.wmi.subscriptions.back().query,
                kHead + "'Win32_Processor' AND TargetInstance.LoadPercentage" + operators[condition - 1] +
                    "80" + grouping.clause);
    }
  }
  supervision.m_Release();
}

TEST_F(ProcessorTest, UnknownConditionFailsBeforeAnythingElse) {
  const Error error = error_of([&] { supervision.m_SuperviseProcessorLoadPercentage(7, 3, 0, 80); });
  EXPECT_EQ(error.source(),
            "KVWMI" + tag("strGetConditionFilter") + tag("m_SuperviseProcessorLoadPercentage"));
  EXPECT_EQ(error.description(), "Condition unknown: '0'");
}

TEST_F(ProcessorTest, NotInitialised) {
  const Error error = error_of([&] { supervision.m_SuperviseProcessorLoadPercentage(7, 3, 1, 80); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "KVWMI" + tag("m_SuperviseProcessorLoadPercentage"));
}

}  // namespace
}  // namespace kvwmi::supervision
