#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using namespace testing;

const std::string kClassQuery = "SELECT * FROM meta_class WHERE __Class = 'Win32_NTLogEvent'";
const std::string kHead =
    "SELECT * FROM __InstanceCreationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_NTLogEvent'";

std::shared_ptr<FakeObject> class_with(const std::vector<std::string>& properties) {
  wmi::NamedValues values;
  for (const std::string& property : properties) values.push_back({property, wmi::Value()});
  return std::make_shared<FakeObject>(values, "Win32_NTLogEvent");
}

class EventLogTest : public RequestTest {
 protected:
  void SetUp() override {
    RequestTest::SetUp();
    know_classes({class_with({"Logfile", "EventType", "Type"})});
  }
  void know_classes(Objects classes) {
    ground.wmi.answers.clear();
    ground.wmi.answer(kClassQuery, std::move(classes));
  }
  /// The query of the one subscription that a request makes.
  std::string query_of(const std::string& log, std::int32_t type, const std::string& source,
                       std::int32_t code, std::int32_t group_period = 0, std::int32_t group_threshold = 0) {
    ground.wmi.subscriptions.clear();
    EXPECT_EQ(
        supervision.m_SuperviseEventLog(7, 3, log, type, source, code, 5, group_period, group_threshold), 0);
    EXPECT_EQ(ground.wmi.subscriptions.size(), 1U);
    return ground.wmi.subscriptions.empty() ? "" : ground.wmi.subscriptions.front().query;
  }
  void expect_neither_asked_nor_registered() {
    EXPECT_EQ(subscribed(ground), Queries{});
    expect_unregistered();
  }
};

TEST_F(EventLogTest, DefaultsFilterNothing) {
  EXPECT_EQ(supervision.m_SuperviseEventLog(7, 3), 0);
  ASSERT_EQ(ground.wmi.subscriptions.size(), 1U);
  const kvwmi::testing::Subscription& subscription = ground.wmi.subscriptions.front();
  EXPECT_EQ(subscription.query, kHead);
  EXPECT_FALSE(subscription.sink.expired());
  EXPECT_EQ(subscription.name_space, R"(root\CIMV2)");
  EXPECT_EQ(subscription.language, "WQL");
  EXPECT_EQ(subscription.flags, 0);
  EXPECT_FALSE(subscription.options);
  EXPECT_EQ(entries(subscription.context), (Entries{{"SupervisionId", wmi::Value(3)},
                                                    {"CurrentStepId", wmi::Value(7)},
                                                    {"SupervisionType", wmi::Value(std::int16_t{26})}}));
  EXPECT_EQ(ground.wmi.queries, Queries{kClassQuery});
}

// One blank before each AND, unlike the other watches.
TEST_F(EventLogTest, Filters) {
  EXPECT_EQ(query_of("System", 1, "Disk", 11),
            kHead +
                " AND TargetInstance.Logfile='System' AND TargetInstance.EventType=1 AND "
                "TargetInstance.SourceName='Disk' AND TargetInstance.EventCode=11");
  EXPECT_EQ(query_of("System", 0, "", -1), kHead + " AND TargetInstance.Logfile='System'");
  EXPECT_EQ(query_of("", 2, "", -1), kHead + " AND TargetInstance.EventType=2");
  EXPECT_EQ(query_of("", -2, "", -1), kHead + " AND TargetInstance.EventType=-2");
  EXPECT_EQ(query_of("", 0, "Disk", -1), kHead + " AND TargetInstance.SourceName='Disk'");
  EXPECT_EQ(query_of("it's", 0, "it's", -1),
            kHead + " AND TargetInstance.Logfile='it's' AND TargetInstance.SourceName='it's'");
}

TEST_F(EventLogTest, PeriodAndGroup) {
  EXPECT_EQ(query_of("System", 0, "", -1, 60, 3),
            kHead + " AND TargetInstance.Logfile='System' GROUP WITHIN 60 HAVING NumberOfEvents>=3");
  supervision.m_SuperviseEventLog(7, 3, "", 0, "", -1, 30);
  EXPECT_EQ(ground.wmi.subscriptions.back().query,
            "SELECT * FROM __InstanceCreationEvent WITHIN 30 WHERE TargetInstance ISA 'Win32_NTLogEvent'");
}

TEST_F(EventLogTest, AllInAnyCaseIsEveryLog) {
  for (const char* log : {"", "All", "all", "ALL"}) EXPECT_EQ(query_of(log, 0, "", -1), kHead);
  EXPECT_EQ(query_of("Allx", 0, "", -1), kHead + " AND TargetInstance.Logfile='Allx'");
}

TEST_F(EventLogTest, EveryNegativeCodeIsAny) {
  EXPECT_EQ(query_of("", 0, "", 0), kHead + " AND TargetInstance.EventCode=0");
  EXPECT_EQ(query_of("", 0, "", -1), kHead);
  EXPECT_EQ(query_of("", 0, "", -5), kHead);
}

TEST_F(EventLogTest, TypeIsNoFilterWhereTheClassHasNone) {
  know_classes({class_with({"Logfile", "Type"})});
  EXPECT_EQ(query_of("", 2, "", -1), kHead);
  know_classes({class_with({"Logfile", "eventtype", "EventTypes"})});  // the exact name only
  EXPECT_EQ(query_of("", 2, "", -1), kHead);
  know_classes({class_with({"Logfile"}), class_with({"EventType"})});  // of the first class only
  EXPECT_EQ(query_of("", 2, "", -1), kHead);
}

TEST_F(EventLogTest, WithoutTheClassNothingIsSubscribed) {
  know_classes({});
  const Error error = error_of([&] { supervision.m_SuperviseEventLog(7, 3, "", 0, "", -1, 5, 0, 0, true); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "Win32_NTLogEvent" + tag("m_SuperviseEventLog"));
  EXPECT_EQ(error.description(), "Cannot find event log.");
  expect_neither_asked_nor_registered();
}

TEST_F(EventLogTest, RefusedWatchIsNotRegistered) {
  const Error refusal = wmi::wmi_error(wmi::Status::unparsable_query, wmi::source::kServices);
  for (const std::string& query : {kHead + " AND TargetInstance.Logfile='it's'", kClassQuery}) {
    ground.wmi.errors.insert_or_assign(query, refusal);
    const Error error =
        error_of([&] { supervision.m_SuperviseEventLog(7, 3, "it's", 0, "", -1, 5, 0, 0, true); });
    EXPECT_EQ(error.number(), kClassError);
    EXPECT_EQ(error.source(), refusal.source() + tag("m_SuperviseEventLog"));
    EXPECT_EQ(error.description(), refusal.description());
    expect_neither_asked_nor_registered();
  }
}

TEST_F(EventLogTest, NotInitialised) {
  Supervision other(ground);
  const Error error = error_of([&] { other.m_SuperviseEventLog(7, 3); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "KVWMI" + tag("m_SuperviseEventLog"));
  EXPECT_EQ(error.description(), "Object variable or With block variable not set");
}

TEST_F(EventLogTest, DetailOfAnEntry) {
  supervision.m_SuperviseEventLog(7, 3);
  FakeObject event =
      instance_event({{"Logfile", wmi::Value("System")},
                      {"Type", wmi::Value("Error")},
                      {"SourceName", wmi::Value("Disk")},
                      {"EventCode", wmi::Value(11)},
                      {"TimeGenerated", wmi::Value("20260131235958.123456+060")},
                      {"Message", wmi::Value("")},
                      {"InsertionStrings", wmi::Value(wmi::Value::Array{wmi::Value("first")})}});
  EXPECT_EQ(ground.wmi.fire(kHead, event), 1);
  EXPECT_EQ(pop(supervision, 7),
            (Popped{3,
                    "Log: System\r\nType: Error\r\nSource: Disk\r\nEvent ID: 11\r\nDate: 2026-01-31\r\nTime: "
                    "23:59:58\r\nDescription: first"}));
}

}  // namespace
}  // namespace kvwmi::supervision
