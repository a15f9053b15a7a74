#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using testing::Diagnostics;
using testing::error_of;
using testing::FakeGround;
using testing::FakeObject;
using testing::instance_event;
using testing::kClassError;
using testing::kNothing;
using testing::pop;
using testing::Popped;
using testing::tag;

constexpr const char* kProcessStart =
    "SELECT * FROM __InstanceCreationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Process'   AND "
    "TargetInstance.Name='a.exe'";

class EngineTest : public ::testing::Test {
 protected:
  void initialise() {
    supervision.p_strSupervisionEventName("agent");
    supervision.m_Initialize();
  }
  /// Watches a process start as supervision `id` of step 7.
  void watch_start(std::int32_t id, bool notify_if_undetected = false) {
    EXPECT_EQ(supervision.m_SuperviseProcess(7, id, "a.exe", true, false, 5, 0, 0, notify_if_undetected), 0);
  }
  int start_process() {
    FakeObject event = instance_event({});
    return ground.wmi.fire(kProcessStart, event);
  }

  FakeGround ground;
  Supervision supervision{ground};
};

TEST_F(EngineTest, ConstructionConnectsToNothing) {
  ground.wmi.installed = false;
  const Supervision other(ground);
  EXPECT_EQ(other.p_strSupervisionEventName(), "");
}

TEST_F(EngineTest, InitializeConnectsTwiceWithTheSecurityPrivilege) {
  initialise();
  EXPECT_EQ(ground.wmi.privileges, (std::vector<std::pair<std::int32_t, bool>>{{7, true}}));
  ASSERT_EQ(ground.wmi.connections.size(), 2U);
  for (const wmi::ConnectArguments& connection : ground.wmi.connections) {
    EXPECT_EQ(connection.server, ".");
    EXPECT_EQ(connection.user + connection.password + connection.locale + connection.authority, "");
    EXPECT_EQ(connection.security_flags, 0);
  }
  EXPECT_EQ(ground.wmi.connections[0].name_space, R"(root\CIMV2)");
  EXPECT_EQ(ground.wmi.contexts[0], std::nullopt);
  EXPECT_EQ(ground.wmi.connections[1].name_space, R"(root\DEFAULT)");
  ASSERT_TRUE(ground.wmi.contexts[1]);
  ASSERT_EQ(ground.wmi.contexts[1]->size(), 1U);
  EXPECT_EQ(ground.wmi.contexts[1]->front().name, "__ProviderArchitecture");
  EXPECT_EQ(ground.wmi.contexts[1]->front().value, wmi::Value(std::int16_t{32}));
}

TEST_F(EngineTest, A32BitProcessOnA64BitSystemAsksForThe64BitRegistry) {
  ground.fake_system_info.wow64 = 1;
  initialise();
  EXPECT_EQ(ground.wmi.contexts[1]->front().value, wmi::Value(std::int16_t{64}));
}

TEST_F(EngineTest, InitializeWithoutWmi) {
  ground.wmi.installed = false;
  const Error error = error_of([&] { supervision.m_Initialize(); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "KVWMI" + tag("m_Initialize"));
  EXPECT_EQ(error.description(), "WMI not installed");
}

TEST_F(EngineTest, OtherFailuresOfInitializeKeepTheirDescription) {
  ground.wmi.connect_error = wmi::wmi_error(wmi::Status::access_denied, wmi::source::kLocator);
  const Error error = error_of([&] { supervision.m_Initialize(); });
  EXPECT_EQ(error.number(), kClassError);
  EXPECT_EQ(error.source(), "SWbemLocator" + tag("m_Initialize"));
  EXPECT_EQ(error.description(), "Access denied ");
}

// The first connection is held, so a request is made; without a sink nothing of it arrives.
TEST_F(EngineTest, WhatInitializeDidBeforeItFailedStays) {
  ground.wmi.connect_errors.emplace(R"(root\DEFAULT)",
                                    wmi::wmi_error(wmi::Status::access_denied, wmi::source::kLocator));
  const Error error = error_of([&] { initialise(); });
  EXPECT_EQ(error.source(), "SWbemLocator" + tag("m_Initialize"));
  EXPECT_EQ(ground.wmi.held(), 1U);
  watch_start(3);
  EXPECT_EQ(start_process(), 0);
  const Error registry = error_of([&] { supervision.m_SuperviseRegistry(7, 4, R"(HKEY_USERS\a)"); });
  EXPECT_EQ(registry.description(), "Object variable or With block variable not set");
  supervision.m_SuperviseIPAddress(7, 5, "def", "");
  ground.fake_timers.fire();
  EXPECT_TRUE(ground.fake_ip_address_library.address_calls.empty()) << "not in the timer's list";
  supervision.m_Release();
  EXPECT_EQ(ground.wmi.held(), 0U);
}

TEST_F(EngineTest, WmiRequestsFailBeforeInitializeAndAfterRelease) {
  const auto refused = [&] {
    const Error error = error_of([&] { supervision.m_SuperviseProcess(7, 3, "a.exe"); });
    EXPECT_EQ(error.number(), kClassError);
    EXPECT_EQ(error.source(), "KVWMI" + tag("m_SuperviseProcess"));
    EXPECT_EQ(error.description(), "Object variable or With block variable not set");
  };
  refused();
  initialise();
  watch_start(3);
  supervision.m_Release();
  refused();
}

TEST_F(EngineTest, DeliveredEventIsQueuedAndSignalled) {
  initialise();
  watch_start(3);
  EXPECT_EQ(start_process(), 1);
  EXPECT_EQ(ground.fake_named_events.signalled, std::vector<std::string>{"agent"});
  EXPECT_EQ(pop(supervision, 6), kNothing);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

TEST_F(EngineTest, DetailOfTheEventIsQueued) {
  initialise();
  supervision.m_SuperviseProcessorLoadPercentage(7, 3, 1, 80);
  FakeObject event = instance_event({{"LoadPercentage", wmi::Value(std::int32_t{93})}});
  EXPECT_EQ(ground.wmi.fire(ground.wmi.subscriptions.front().query, event), 1);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, "Value: 93 %"}));
}

TEST_F(EngineTest, WithoutAnEventNameRecordsAreQueuedAndNothingIsSignalled) {
  supervision.m_Initialize();
  watch_start(3);
  start_process();
  EXPECT_EQ(ground.fake_named_events.signalled, std::vector<std::string>{});
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

TEST_F(EngineTest, EventNameIsStoredUnchecked) {
  for (const char* name : {"a", "", R"(Global\any thing)"}) {
    supervision.p_strSupervisionEventName(name);
    EXPECT_EQ(supervision.p_strSupervisionEventName(), name);
  }
}

TEST_F(EngineTest, FailedSignalLeavesTheRecordQueued) {
  Diagnostics diagnostics;
  initialise();
  watch_start(3);
  ground.fake_named_events.error = Error(5, "kernel", "denied");
  start_process();
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
  ASSERT_EQ(diagnostics.errors.size(), 1U);
  EXPECT_EQ(diagnostics.errors[0].number(), 5);
  EXPECT_EQ(diagnostics.errors[0].source(), "kernel" + tag("lngSignalEvent") + tag("Notify"));
}

TEST_F(EngineTest, ReleaseKeepsTheQueueAndEndsDelivery) {
  initialise();
  watch_start(3);
  start_process();
  supervision.m_Release();
  EXPECT_EQ(start_process(), 0);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

TEST_F(EngineTest, ReleaseWithoutInitializeIsHarmless) {
  supervision.m_Release();
  supervision.m_Release();
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

// m_Release adds no line and no number of its own.
TEST_F(EngineTest, AnErrorOfTheReleaseGoesToTheCallerAsItIs) {
  initialise();
  supervision.m_SuperviseWindow(7, 3, "Title");
  ground.fake_timers.kill_error = Error(5, "kernel", "denied");
  const Error error = error_of([&] { supervision.m_Release(); });
  EXPECT_EQ(error.number(), 5);
  EXPECT_EQ(error.source(),
            "kernel\r\n\tKVWMI : SupervisionTimer.StopSupervisionPolling"
            "\r\n\tKVWMI : SupervisionTimer.DetachSupervisionPollingTimer");
  EXPECT_EQ(error.description(), "denied");
  ground.fake_timers.kill_error.reset();
  supervision.m_Release();
}

TEST_F(EngineTest, EngineMayBeInitialisedAgainAfterRelease) {
  initialise();
  supervision.m_Release();
  supervision.m_Initialize();
  watch_start(3);
  EXPECT_EQ(start_process(), 1);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

// Called twice, the engine is in the timer's list twice.
TEST_F(EngineTest, InitialisedTwiceItIsPolledTwiceAndNeedsTwoReleases) {
  initialise();
  supervision.m_Initialize();
  supervision.m_SuperviseIPAddress(7, 3, "def", "", true, true, 5);
  ground.fake_timers.fire();
  ground.fake_clock.now += std::chrono::seconds(10);
  ground.fake_timers.fire();
  EXPECT_EQ(ground.fake_ip_address_library.address_calls.size(), 3U);
  supervision.m_Release();
  EXPECT_EQ(ground.fake_timers.running.size(), 1U);
  supervision.m_Release();
  EXPECT_EQ(ground.fake_timers.running.size(), 0U);
}

// The second sink takes the first one's place, and with it go the watches that were asked for before.
TEST_F(EngineTest, InitialisedTwiceItHearsOnlyOfLaterWatches) {
  initialise();
  watch_start(3);
  supervision.m_Initialize();
  EXPECT_EQ(ground.wmi.held(), 2U) << "the first connections are let go";
  EXPECT_EQ(start_process(), 0);
  watch_start(4);
  EXPECT_EQ(start_process(), 1);
  EXPECT_EQ(pop(supervision, 7), (Popped{4, ""}));
  supervision.m_Release();
  supervision.m_Release();
}

TEST_F(EngineTest, CopiesShareTheEngine) {
  initialise();
  Supervision copy(supervision);
  watch_start(3);
  start_process();
  EXPECT_EQ(copy.p_strSupervisionEventName(), "agent");
  EXPECT_EQ(pop(copy, 7), (Popped{3, ""}));
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

TEST_F(EngineTest, UndetectedWatchesOfAllStepsAreReportedAtEveryCall) {
  initialise();
  const auto watch = [&](std::int32_t step, std::int32_t id, const char* name, bool notify_if_undetected) {
    supervision.m_SuperviseProcess(step, id, name, true, false, 5, 0, 0, notify_if_undetected);
  };
  watch(5, 1, "never.exe", true);
  watch(5, 2, "never.exe", false);
  watch(6, 1, "a.exe", true);
  watch(9, 4, "never.exe", true);
  start_process();

  for (int call = 0; call < 2; ++call) {
    supervision.m_PushUndetectedEventInfos();
    EXPECT_EQ(pop(supervision, 5), (Popped{1, ""}));
    EXPECT_EQ(pop(supervision, 5), kNothing);
    EXPECT_EQ(pop(supervision, 6), kNothing);
    EXPECT_EQ(pop(supervision, 9), (Popped{4, ""}));
    EXPECT_EQ(pop(supervision, 9), kNothing);
  }
  EXPECT_EQ(ground.fake_named_events.signalled, std::vector<std::string>{}) << "the agent asked for them";
}

TEST_F(EngineTest, AWatchThatFiresAfterItsReportIsNotReportedAgain) {
  initialise();
  watch_start(3, true);
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
  start_process();
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

TEST_F(EngineTest, AWatchForAbsenceOnlyRemembersThatItFired) {
  initialise();
  watch_start(3, true);
  start_process();
  EXPECT_EQ(pop(supervision, 7), kNothing);
  EXPECT_EQ(ground.fake_named_events.signalled, std::vector<std::string>{});
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

// The first registration's flag counts for every later watch under the same identifiers.
TEST_F(EngineTest, SecondWatchUnderTheSameIdentifiersKeepsTheFirstFlag) {
  initialise();
  watch_start(3, true);
  watch_start(3, false);
  EXPECT_EQ(start_process(), 2);
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

TEST_F(EngineTest, TwoWatchesUnderOneKeyBothReport) {
  initialise();
  watch_start(3);
  watch_start(3);
  EXPECT_EQ(start_process(), 2);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

// Supervision 0 cannot be told from an empty queue by its identifier alone; the record is there all the same.
TEST_F(EngineTest, SupervisionZeroIsQueuedLikeAnyOther) {
  initialise();
  supervision.m_SuperviseProcessorLoadPercentage(7, 0, 1, 80);
  FakeObject event = instance_event({{"LoadPercentage", wmi::Value(std::int32_t{93})}});
  ground.wmi.fire(ground.wmi.subscriptions.front().query, event);
  EXPECT_EQ(pop(supervision, 7), (Popped{0, "Value: 93 %"}));
}

class SinkTest : public EngineTest {
 protected:
  void SetUp() override {
    initialise();
    watch_start(3);
    sink = std::static_pointer_cast<kvwmi::testing::FakeSink>(ground.wmi.subscriptions.front().sink.lock());
  }
  void deliver(FakeObject event, const wmi::NamedValues& context) { sink->handler(event, context); }
  static wmi::NamedValues context_without(const std::string& key) {
    wmi::NamedValues context{{"SupervisionId", wmi::Value(std::int32_t{3})},
                             {"CurrentStepId", wmi::Value(std::int32_t{7})},
                             {"SupervisionType", wmi::Value(std::int16_t{20})}};
    std::erase_if(context, [&](const wmi::NamedValue& entry) { return entry.name == key; });
    return context;
  }
  /// Nothing was queued, signalled or marked as detected.
  void expect_dropped() {
    EXPECT_EQ(pop(supervision, 7), kNothing);
    EXPECT_EQ(ground.fake_named_events.signalled, std::vector<std::string>{});
  }

  Diagnostics diagnostics;
  std::shared_ptr<kvwmi::testing::FakeSink> sink;
};

TEST_F(SinkTest, EventOfAKeyThatWasNeverRegisteredIsDroppedWithoutATrace) {
  wmi::NamedValues context = context_without("SupervisionId");
  context.push_back({"SupervisionId", wmi::Value(std::int32_t{4})});
  deliver(instance_event({}), context);
  expect_dropped();
  EXPECT_EQ(diagnostics.errors.size(), 0U);
}

TEST_F(SinkTest, EventWithoutAContextKeyIsDropped) {
  for (const char* key : {"SupervisionId", "CurrentStepId", "SupervisionType"}) {
    deliver(instance_event({}), context_without(key));
    expect_dropped();
  }
  EXPECT_EQ(diagnostics.errors.size(), 3U);
  deliver(instance_event({}), context_without(""));
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

TEST_F(SinkTest, EventThatCannotBeReadIsDroppedAndTheNextOneArrives) {
  deliver(FakeObject({}, "__InstanceCreationEvent"), context_without(""));
  expect_dropped();
  ASSERT_EQ(diagnostics.errors.size(), 1U);
  EXPECT_EQ(diagnostics.errors[0].description(), "Not found ");
  deliver(instance_event({}), context_without(""));
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

TEST_F(SinkTest, EventThatCannotBeReadIsNotMarkedAsDetected) {
  supervision.m_SuperviseProcess(8, 1, "b.exe", true, false, 5, 0, 0, true);
  const wmi::NamedValues context = ground.wmi.subscriptions.back().context;
  deliver(FakeObject({}, "__InstanceCreationEvent"), context);
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 8), (Popped{1, ""}));
  deliver(instance_event({}), context);
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 8), kNothing);
}

TEST_F(SinkTest, FileThatDoesNotMatchIsNotMarkedAsDetected) {
  supervision.m_SuperviseProcess(8, 1, "b.exe", true, false, 5, 0, 0, true);
  const wmi::NamedValues context{{"SupervisionId", wmi::Value(std::int32_t{1})},
                                 {"CurrentStepId", wmi::Value(std::int32_t{8})},
                                 {"SupervisionType", wmi::Value(std::int16_t{32})},
                                 {"FileName", wmi::Value("*.log")}};
  const auto file = [](const char* path) { return instance_event({{"PartComponent", wmi::Value(path)}}); };
  deliver(file(R"(CIM_DataFile.Name="c:\\report.txt")"), context);
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 8), (Popped{1, ""}));
  deliver(file(R"(CIM_DataFile.Name="c:\\report.log")"), context);
  supervision.m_PushUndetectedEventInfos();
  EXPECT_EQ(pop(supervision, 8), kNothing);
}

TEST_F(SinkTest, ASinkThatOutlivesItsEngineDropsItsEvents) {
  supervision.m_Release();
  supervision = Supervision(ground);
  deliver(instance_event({}), context_without(""));
  expect_dropped();
  EXPECT_EQ(diagnostics.errors.size(), 0U);
}

class EngineLifeTest : public ::testing::Test {
 protected:
  std::unique_ptr<Supervision> watching() {
    auto supervision = std::make_unique<Supervision>(ground);
    supervision->p_strSupervisionEventName("agent");
    supervision->m_Initialize();
    supervision->m_SuperviseNetworkInterfaces(7, 1, "interfaces.def");
    return supervision;
  }

  FakeGround ground;
};

TEST_F(EngineLifeTest, AnInitialisedEngineStaysAliveUntilItIsReleased) {
  auto supervision = watching();
  Supervision reference(*supervision);
  supervision = nullptr;
  reference = Supervision(ground);
  ground.fake_timers.fire();
  EXPECT_EQ(ground.fake_ip_address_library.interface_calls.size(), 1U);
  EXPECT_EQ(ground.fake_file_system.deleted, std::vector<std::string>{});
}

TEST_F(EngineLifeTest, DestructionDeletesTheDefinitionFilesOfInterfaceWatchesOnly) {
  auto supervision = watching();
  supervision->m_SuperviseNetworkInterfaces(7, 2, "more.def");
  supervision->m_SuperviseIPAddress(7, 3, "addresses.def", "");
  const auto other = watching();  // wants interfaces.def too
  supervision->m_Release();
  EXPECT_EQ(ground.fake_file_system.deleted, std::vector<std::string>{});
  supervision = nullptr;
  EXPECT_EQ(ground.fake_file_system.deleted, (std::vector<std::string>{"interfaces.def", "more.def"}));
  other->m_Release();
}

TEST_F(EngineLifeTest, AFileThatCannotBeDeletedHoldsUpNothing) {
  auto supervision = watching();
  supervision->m_SuperviseNetworkInterfaces(7, 2, "more.def");
  supervision->m_Release();
  ground.fake_file_system.delete_error = Error(70, "kernel", "Permission denied");
  supervision = nullptr;
  EXPECT_EQ(ground.fake_file_system.deleted, (std::vector<std::string>{"interfaces.def", "more.def"}));
}

TEST_F(EngineLifeTest, ACompanionLivesAsLongAsTheEngineAndItsTimer) {
  auto companion = std::make_shared<int>();
  const std::weak_ptr<int> alive = companion;
  auto supervision = std::make_unique<Supervision>(ground, std::move(companion));
  supervision->m_Initialize();
  supervision->m_SuperviseWindow(7, 1, "Title");
  Supervision reference(*supervision);
  supervision = nullptr;
  EXPECT_FALSE(alive.expired());
  reference.m_Release();
  EXPECT_FALSE(alive.expired());
  reference = Supervision(ground);
  EXPECT_TRUE(alive.expired());
}

// The timer that a watch of a never initialised engine starts outlives the engine.
TEST_F(EngineLifeTest, ACompanionLivesAsLongAsATimerThatOutlivesTheEngine) {
  auto companion = std::make_shared<int>();
  const std::weak_ptr<int> alive = companion;
  Supervision(ground, std::move(companion)).m_SuperviseWindow(7, 1, "Title");
  EXPECT_FALSE(alive.expired());
  ground.fake_timers.running.clear();
  EXPECT_TRUE(alive.expired());
}

TEST_F(EngineLifeTest, ReleasedAndDestroyedFromInsideATick) {
  for (int i = 0; i < 1'000; ++i) {
    auto supervision = watching();
    supervision->m_SuperviseIPAddress(7, 2, "addresses.def", "", true, true, 5);
    ground.fake_ip_address_library.address_result = 1;
    ground.fake_named_events.on_signal = [&] {
      supervision->m_Release();
      supervision = nullptr;
    };
    ground.fake_timers.fire();
    EXPECT_EQ(supervision, nullptr);
    ASSERT_TRUE(ground.fake_timers.running.empty());
    ground.fake_named_events.on_signal = nullptr;
  }
  EXPECT_EQ(ground.fake_file_system.deleted.size(), 1'000U);
}

TEST_F(EngineLifeTest, ReleasedAndDestroyedFromInsideADeliveredEvent) {
  for (int i = 0; i < 1'000; ++i) {
    ground.wmi.subscriptions.clear();
    auto supervision = watching();
    supervision->m_SuperviseProcess(7, 3, "a.exe", true, false);
    ground.fake_named_events.on_signal = [&] {
      supervision->m_Release();
      supervision = nullptr;
    };
    FakeObject event = instance_event({});
    ASSERT_EQ(ground.wmi.fire(kProcessStart, event), 1);
    EXPECT_EQ(supervision, nullptr);
    ASSERT_TRUE(ground.fake_timers.running.empty());
    ASSERT_EQ(ground.wmi.fire(kProcessStart, event), 0);
    ground.fake_named_events.on_signal = nullptr;
  }
  EXPECT_EQ(ground.fake_file_system.deleted.size(), 1'000U);
}

TEST_F(EngineLifeTest, CreatedInitialisedReleasedAndDestroyedManyTimes) {
  for (int i = 0; i < 1'000; ++i) {
    ground.wmi.subscriptions.clear();
    const auto supervision = watching();
    supervision->m_SuperviseProcess(7, 3, "a.exe", true, false);
    FakeObject event = instance_event({});
    ASSERT_EQ(ground.wmi.fire(kProcessStart, event), 1);
    ground.fake_timers.fire();
    ASSERT_EQ(pop(*supervision, 7), (Popped{3, ""}));
    supervision->m_Release();
    ASSERT_TRUE(ground.fake_timers.running.empty());
  }
  EXPECT_EQ(ground.fake_file_system.deleted.size(), 1'000U);
}

}  // namespace
}  // namespace kvwmi::supervision
