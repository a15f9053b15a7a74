#include "wmi/events/event_engine.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "frame/wmi_status.h"
#include "wmi/events/testing/engine_fixture.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::seconds;
using testing::EventEngineTest;
using testing::kProcessStarts;
using wmi::Status;

TEST_F(EventEngineTest, RefusesWithWmisNumbers) {
  struct Case {
    std::string query;
    Status status;
    std::string place;  ///< what the diagnostic points at
  };
  const std::string isa = "WHERE TargetInstance ISA 'Win32_Process'";
  for (const Case& c : std::vector<Case>{
           {"SELECT * FROM __InstanceCreationEvent " + isa, Status::registration_too_precise, ""},
           {"SELECT * FROM Win32_Process WITHIN 1", Status::not_event_class, "Win32_Process"},
           {"SELECT * FROM __AggregateEvent WITHIN 1", Status::not_event_class, "__AggregateEvent"},
           {"SELECT * FROM __Nothing WITHIN 1", Status::invalid_class, "__Nothing"},
           {"SELECT * FROM __TimerEvent WITHIN 1", Status::provider_not_capable, "__TimerEvent"},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1", Status::registration_too_broad, ""},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance.Name='a'",
            Status::registration_too_broad, ""},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Nothing'",
            Status::invalid_class, "'Win32_Nothing'"},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 " + isa + " AND TargetInstance.Nothing=1",
            Status::invalid_query, "TargetInstance.Nothing"},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 " + isa + " AND PreviousInstance.Name='a'",
            Status::invalid_query, "PreviousInstance.Name"},
           {"SELECT Nothing FROM __InstanceCreationEvent WITHIN 1 " + isa, Status::invalid_query, "Nothing"},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 " + isa + " AND TargetInstance.Name='it's'",
            Status::unparsable_query, ""},
           {"SELECT * FROM __InstanceCreationEvent WITHIN -5 " + isa, Status::unparsable_query, ""},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 0 " + isa, Status::invalid_query, "0 "},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 0.001 " + isa, Status::invalid_query, "0.001"},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 5000000000 " + isa, Status::invalid_query,
            "5000000000"},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 " + isa + " GROUP BY TargetInstance.Name",
            Status::missing_group_within, ""},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 " + isa + " GROUP WITHIN -10",
            Status::unparsable_query, "-10"},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 " + isa + " GROUP WITHIN 5 BY TargetInstance",
            Status::aggregating_by_object, ""},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 " + isa + " GROUP WITHIN 5 BY TIME_CREATED.X",
            Status::property_not_an_object, "TIME_CREATED.X"},
           {"SELECT * FROM __InstanceCreationEvent WITHIN 1 " + isa +
                " GROUP WITHIN 5 BY TargetInstance.Nothing",
            Status::invalid_query, "TargetInstance.Nothing"},
           {"nonsense", Status::unparsable_query, "nonsense"},
       }) {
    const Error error = refused(c.query);
    EXPECT_TRUE(wmi::is_status(error, c.status)) << c.query << '\n' << error.description();
    EXPECT_EQ(error.source(), "SWbemServicesEx");
    const QueryDiagnostic* diagnostic = error.query_diagnostic();
    ASSERT_NE(diagnostic, nullptr) << c.query;
    EXPECT_EQ(diagnostic->query.substr(diagnostic->offset).substr(0, c.place.size()), c.place) << c.query;
  }
  EXPECT_EQ(engine->polls(), 0U);
}

TEST_F(EventEngineTest, ARefusalNamesWhatWasProbablyMeant) {
  const auto message = [&](const std::string& query) {
    const Error error = refused(query);
    if (error.query_diagnostic() == nullptr) return std::string();
    EXPECT_EQ(error.query_diagnostic()->fault, QueryDiagnostic::Fault::name) << query;
    return error.query_diagnostic()->message;
  };
  const std::string isa = " WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'";
  EXPECT_EQ(message("SELECT * FROM __InstanceCreation WITHIN 1"),
            "there is no class '__InstanceCreation'; nearest: __InstanceCreationEvent");
  EXPECT_EQ(message("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Process'"),
            "there is no class 'Process'; nearest: CIM_Process, Win32_Process");
  EXPECT_EQ(message("SELECT * FROM __InstanceCreationEvent" + isa + " AND TargetInstance.Nme='a'"),
            "__InstanceCreationEvent has no property 'TargetInstance.Nme'; nearest: Name");
  EXPECT_EQ(message("SELECT Target FROM __InstanceCreationEvent" + isa),
            "__InstanceCreationEvent has no property 'Target'; nearest: TargetInstance");
  EXPECT_EQ(
      message("SELECT * FROM __InstanceModificationEvent" + isa + " GROUP WITHIN 5 BY PreviousInstance.Nme"),
      "__InstanceModificationEvent has no property 'PreviousInstance.Nme'; nearest: Name");
}

TEST_F(EventEngineTest, RefusesAForeignSinkAndUnknownFlags) {
  class OtherSink final : public wmi::Sink {};
  sink = std::make_shared<OtherSink>();
  EXPECT_TRUE(wmi::is_status(refused(kProcessStarts), Status::invalid_parameter));
  sink = make_sink();
  EXPECT_THROW(connection->exec_notification_query_async(sink, kProcessStarts, "WQL", 0x4000, nullptr, {}),
               Error);
}

TEST_F(EventEngineTest, TakesNoMoreSubscriptionsThanItsQuota) {
  settings->most_subscriptions = 2;
  subscribe(kProcessStarts);
  subscribe(kProcessStarts);
  EXPECT_TRUE(wmi::is_status(refused(kProcessStarts), Status::quota_violation));
  sink = make_sink();  // ends those of the first one
  pass(seconds(0));
  subscribe(kProcessStarts);
}

}  // namespace
}  // namespace kvwmi::embedded
