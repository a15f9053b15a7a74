#include "wmi/events/event_engine.h"

#include <gtest/gtest.h>

#include <deque>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "frame/wmi_status.h"
#include "wmi/memory_provider.h"
#include "wmi/service.h"

namespace kvwmi::embedded {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using wmi::Status;

/// A subscriber's loop that runs when the test says so.
class TestLoop final : public Delivery {
 public:
  void post(std::function<void()> work) override {
    if (fails) throw std::runtime_error("no loop");
    work_.push_back(std::move(work));
  }
  void run() {
    while (!work_.empty()) {
      const auto work = std::move(work_.front());
      work_.pop_front();
      work();
    }
  }
  [[nodiscard]] std::size_t waiting() const { return work_.size(); }

  bool fails = false;

 private:
  std::deque<std::function<void()>> work_;
};

class EngineNotifier final : public Notifier {
 public:
  EngineNotifier(std::shared_ptr<EventEngine> engine, const TimePoint& now)
      : engine_(std::move(engine)), now_(now) {}
  void subscribe(const NotificationRequest& request) override { engine_->subscribe(request, now_); }

 private:
  std::shared_ptr<EventEngine> engine_;
  const TimePoint& now_;
};

std::string text_of(const wmi::Value& value) {
  if (const auto* text = value.get_if<std::string>()) return *text;
  if (const auto* number = value.get_if<std::int32_t>()) return std::to_string(*number);
  if (const auto* truth = value.get_if<bool>()) return *truth ? "True" : "False";
  return value.is_null() ? "Null" : "?";
}

std::string property(wmi::Object& event, std::string_view object, std::string_view name) {
  const wmi::Value value = event.get(object);
  const auto* instance = value.get_if<std::shared_ptr<wmi::Object>>();
  return instance == nullptr ? "no object" : text_of((*instance)->get(name));
}

struct EventEngineTest : ::testing::Test {
  TimePoint now = TimePoint(seconds(1000));
  TestLoop* loop = nullptr;
  std::shared_ptr<TestLoop> shared_loop = std::make_shared<TestLoop>();
  std::vector<Error> failures;
  std::shared_ptr<EventSettings> settings = std::make_shared<EventSettings>();
  std::shared_ptr<EventEngine> engine;
  Service service;
  std::shared_ptr<MemoryProvider> services = std::make_shared<MemoryProvider>(
      MemoryClass{.name = "Win32_Service",
                  .properties = {{"Name", cim::CimType::string, cim::kKey | cim::kNarrows},
                                 {"DisplayName", cim::CimType::string},
                                 {"State", cim::CimType::string},
                                 {"ProcessId", cim::CimType::uint32},
                                 {"Started", cim::CimType::boolean}},
                  .methods = {{"StartService", {}, [](std::size_t, auto) { return 0U; }}},
                  .superclasses = {"CIM_Service"}});
  std::shared_ptr<MemoryProvider> processes = std::make_shared<MemoryProvider>(
      MemoryClass{.name = "Win32_Process",
                  .properties = {{"Handle", cim::CimType::string, cim::kKey},
                                 {"Name", cim::CimType::string, cim::kIdentifies},
                                 {"WorkingSetSize", cim::CimType::uint64}},
                  .superclasses = {"CIM_Process", "CIM_LogicalElement"}});
  std::shared_ptr<MemoryProvider> threads = std::make_shared<MemoryProvider>(MemoryClass{
      .name = "Win32_Thread",
      .properties = {{"Handle", cim::CimType::string, cim::kKey}, {"Priority", cim::CimType::uint32}},
      .superclasses = {"CIM_Thread", "CIM_LogicalElement"}});
  std::shared_ptr<wmi::Services> connection;
  std::vector<std::string> seen;
  std::shared_ptr<wmi::Sink> sink;

  EventEngineTest() {
    loop = shared_loop.get();
    settings->on_failure = [this](const Error& error) { failures.push_back(error); };
    settings->wall_time = [] { return std::uint64_t{133'000'000'000'000'000}; };
    engine = std::make_shared<EventEngine>(settings, [] {});
    service.set_notifier(std::make_shared<EngineNotifier>(engine, now));
    for (const auto& provider : {services, processes, threads}) service.add(provider);
    wmi::ConnectArguments arguments;
    arguments.name_space = wmi::kCimv2;
    connection = service.create_locator()->connect_server(arguments);
    sink = make_sink();
  }

  /// A sink that notes each event: what the context says, the class, the target's key and the rest.
  std::shared_ptr<wmi::Sink> make_sink() {
    return std::make_shared<EventSink>(
        [this](wmi::Object& event, const wmi::NamedValues& context) {
          seen.push_back(described(event, context));
        },
        shared_loop);
  }
  static std::string described(wmi::Object& event, const wmi::NamedValues& context) {
    std::string text;
    if (!context.empty()) text = text_of(context.front().value) + ' ';
    text += event.class_name();
    if (event.class_name() == "__AggregateEvent") {
      const wmi::Value representative = event.get("Representative");
      return text + " x" + text_of(event.get("NumberOfEvents")) + " {" +
             described(**representative.get_if<std::shared_ptr<wmi::Object>>(), {}) + '}';
    }
    const wmi::Value target = event.get("TargetInstance");
    const auto& instance = *target.get_if<std::shared_ptr<wmi::Object>>();
    const bool is_service = instance->class_name() == "Win32_Service";
    return text + ' ' + text_of(instance->get(is_service ? "Name" : "Handle"));
  }

  void subscribe(const std::string& query, const std::string& context = "") {
    wmi::NamedValues values;
    if (!context.empty()) values.push_back({"Id", wmi::Value(context)});
    connection->exec_notification_query_async(sink, query, "WQL", 0, nullptr, values);
  }
  std::size_t add_service(const std::string& name, const std::string& state) {
    return services->add({{"Name", name}, {"DisplayName", name + " service"}, {"State", state}});
  }
  std::size_t add_process(const std::string& handle, const std::string& name) {
    return processes->add({{"Handle", handle}, {"Name", name}, {"WorkingSetSize", std::uint64_t{100}}});
  }
  /// Lets time pass and does what becomes due.
  void pass(milliseconds time) {
    const TimePoint end = now + time;
    for (;;) {
      const auto due = engine->due();
      if (!due || *due > end) break;
      now = std::max(now, *due);
      engine->run_one(now);
    }
    now = end;
    loop->run();
  }
  std::vector<std::string> take() { return std::exchange(seen, {}); }

  Error refused(const std::string& query) {
    try {
      subscribe(query);
    } catch (const Error& error) {
      return error;
    }
    ADD_FAILURE() << "accepted: " << query;
    return {0, "", ""};
  }
};

using Texts = std::vector<std::string>;

constexpr const char* kProcessStarts =
    "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'"
    "   AND TargetInstance.Name='a'";

TEST_F(EventEngineTest, WhatIsThereAtTheSubscriptionIsNoEvent) {
  add_process("1", "a");
  subscribe(kProcessStarts);
  pass(seconds(3));
  EXPECT_EQ(take(), Texts{});
  add_process("2", "a");
  EXPECT_EQ(take(), Texts{}) << "found at the next poll, not before";
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 2"});
  pass(seconds(3));
  EXPECT_EQ(take(), Texts{}) << "once";
}

TEST_F(EventEngineTest, AWatchOfOneOddNameSharesNoPollWithAWatchOfTwo) {
  const std::string starts =
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND ";
  subscribe(starts + "TargetInstance.Name='a\n0=sb'");
  subscribe(starts + "(TargetInstance.Name='a' OR TargetInstance.Name='b')");
  EXPECT_EQ(engine->polls(), 2U);
  add_service("b", "Running");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent b"});
}

TEST_F(EventEngineTest, WhatLivesWithinOnePeriodIsNotSeen) {
  subscribe(kProcessStarts);
  const auto row = add_process("1", "a");
  processes->remove(row);
  pass(seconds(2));
  EXPECT_EQ(take(), Texts{});
}

TEST_F(EventEngineTest, DeletionShowsTheInstanceAsItLastWas) {
  const auto row = add_process("1", "a");
  std::string working_set;
  sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        working_set = property(event, "TargetInstance", "WorkingSetSize");
        seen.push_back(described(event, {}));
      },
      shared_loop);
  subscribe(
      "SELECT * FROM __InstanceDeletionEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
      "TargetInstance.Name='A'");
  processes->set(row, "WorkingSetSize", std::uint64_t{200});
  pass(seconds(1));
  processes->remove(row);
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceDeletionEvent 1"});
  EXPECT_EQ(working_set, "200");
}

TEST_F(EventEngineTest, ModificationShowsBothStates) {
  const auto row = add_service("spool", "Running");
  Texts states;
  sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        states.push_back(property(event, "PreviousInstance", "State") + " -> " +
                         property(event, "TargetInstance", "State"));
      },
      shared_loop);
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'Win32_Service'  AND "
      "TargetInstance.DisplayName='spool service' AND ((PreviousInstance.State<>'Running' AND "
      "TargetInstance.State='Running') OR (PreviousInstance.State<>'Stopped' AND "
      "TargetInstance.State='Stopped'))");
  services->set(row, "State", "Stopped");
  pass(seconds(5));
  EXPECT_EQ(std::exchange(states, {}), Texts{"Running -> Stopped"})
      << "the baseline counts for the first poll";
  pass(seconds(5));
  EXPECT_EQ(states, Texts{});
  services->set(row, "State", "Paused");
  pass(seconds(5));
  EXPECT_EQ(states, Texts{});
  services->set(row, "State", "Running");
  pass(seconds(5));
  EXPECT_EQ(states, Texts{"Paused -> Running"});
}

TEST_F(EventEngineTest, AnyPropertyMakesAModificationEvenOneThatTheConditionDoesNotName) {
  const auto row = add_service("spool", "Running");
  add_service("other", "Running");
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service'  AND "
      "TargetInstance.DisplayName='spool service'");
  pass(seconds(1));
  services->set(row, "ProcessId", std::uint64_t{77});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent spool"});
  pass(seconds(2));
  EXPECT_EQ(take(), Texts{});
}

TEST_F(EventEngineTest, AThresholdFiresAtEveryChangeWhileItHolds) {
  const auto row = add_process("1", "a");
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'  AND "
      "TargetInstance.Name='a' AND TargetInstance.WorkingSetSize>500");
  for (const std::uint64_t size : {400U, 600U, 700U, 700U, 300U, 800U}) {
    processes->set(row, "WorkingSetSize", size);
    pass(seconds(1));
    seen.push_back(std::to_string(size));
  }
  EXPECT_EQ(take(), (Texts{"400", "__InstanceModificationEvent 1", "600", "__InstanceModificationEvent 1",
                           "700", "700", "300", "__InstanceModificationEvent 1", "800"}));
}

TEST_F(EventEngineTest, ChangingIntoTheConditionIsAModificationNotACreation) {
  const auto row = add_service("spool", "Stopped");
  subscribe(
      "SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
      "TargetInstance.State='Running'");
  services->set(row, "State", "Running");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent spool"});
}

constexpr const char* kComesToRun =
    "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
    "TargetInstance.State='Running'";

TEST_F(EventEngineTest, AConditionMayAskWhatAnInstanceWasBeforeItsLookUpFoundIt) {
  const auto seven = services->add({{"Name", "a"}, {"State", "Stopped"}, {"ProcessId", std::uint64_t{7}}});
  const auto eight = services->add({{"Name", "b"}, {"State", "Stopped"}, {"ProcessId", std::uint64_t{8}}});
  subscribe(kComesToRun + std::string(" AND PreviousInstance.ProcessId=7"));
  for (const auto row : {seven, eight}) services->set(row, "State", "Running");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent a"});
}

TEST_F(EventEngineTest, GroupsMayBeMadeByWhatAnInstanceWasBeforeItsLookUpFoundIt) {
  const auto seven = services->add({{"Name", "a"}, {"State", "Stopped"}, {"ProcessId", std::uint64_t{7}}});
  const auto eight = services->add({{"Name", "b"}, {"State", "Stopped"}, {"ProcessId", std::uint64_t{8}}});
  subscribe(kComesToRun + std::string(" GROUP WITHIN 5 BY PreviousInstance.ProcessId"));
  for (const auto row : {seven, eight}) services->set(row, "State", "Running");
  pass(seconds(10));
  EXPECT_EQ(take(), (Texts{"__AggregateEvent x1 {__InstanceModificationEvent a}",
                           "__AggregateEvent x1 {__InstanceModificationEvent b}"}));
}

TEST_F(EventEngineTest, NothingIsReadOfInstancesThatCanNeverComeIntoTheCondition) {
  add_process("1", "a");
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
      "TargetInstance.Name='b' AND PreviousInstance.WorkingSetSize<500");
  EXPECT_EQ(processes->last_columns(), (std::vector<std::size_t>{0, 1})) << "another name is another process";
}

TEST_F(EventEngineTest, OperationEventsAreAllThreeKinds) {
  subscribe("SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service'");
  const auto row = add_service("spool", "Running");
  pass(seconds(1));
  services->set(row, "State", "Stopped");
  pass(seconds(1));
  services->remove(row);
  pass(seconds(1));
  EXPECT_EQ(take(), (Texts{"__InstanceCreationEvent spool", "__InstanceModificationEvent spool",
                           "__InstanceDeletionEvent spool"}));
}

TEST_F(EventEngineTest, AnOperationQueryMayAskForTheKind) {
  subscribe(
      "SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
      "__CLASS='__InstanceDeletionEvent'");
  const auto row = add_service("spool", "Running");
  pass(seconds(1));
  services->remove(row);
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceDeletionEvent spool"});
}

TEST_F(EventEngineTest, ASuperclassCoversAllItsClasses) {
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'CIM_LogicalElement'");
  add_process("1", "a");
  threads->add({{"Handle", "9"}});
  add_service("spool", "Running");  // no logical element here
  pass(seconds(1));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"__InstanceCreationEvent 1", "__InstanceCreationEvent 9"}));
  EXPECT_EQ(engine->polls(), 2U);
}

TEST_F(EventEngineTest, EachContextComesBackWithItsEvents) {
  subscribe(kProcessStarts, "one");
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
      "(TargetInstance.Name='b' OR TargetInstance.Name='A')",
      "two");
  add_process("1", "a");
  pass(seconds(1));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"one __InstanceCreationEvent 1", "two __InstanceCreationEvent 1"}));
  EXPECT_EQ(events.size(), 2U);
}

TEST_F(EventEngineTest, SubscriptionsOnOneClassAndPeriodShareThePoll) {
  for (int i = 0; i < 100; ++i) {
    subscribe(
        "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
        "TargetInstance.Name='p" +
        std::to_string(i) + "'");
  }
  EXPECT_EQ(engine->polls(), 1U);
  const std::size_t before = processes->enumerations();
  add_process("1", "p7");
  pass(seconds(1));
  EXPECT_EQ(processes->enumerations(), before + 1);
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 2 WHERE TargetInstance ISA 'Win32_Process'");
  EXPECT_EQ(engine->polls(), 2U);
}

// ---- change tokens

/// Looks at processes for a subscription, counted.
struct TokenTest : EventEngineTest {
  /// How many of the next polls, one a second, enumerate.
  std::size_t looks(int polls) {
    const std::size_t before = processes->enumerations();
    pass(seconds(polls));
    return processes->enumerations() - before;
  }
  /// For a look at everything there is, and the two that may follow it.
  void settle() { static_cast<void>(looks(3)); }
};

TEST_F(TokenTest, WithEverythingVouchedForNoPollLooksUntilSomethingChanges) {
  const auto row = add_process("1", "a");
  subscribe(kProcessStarts);
  settle();
  EXPECT_EQ(looks(30), 0U);
  processes->set(row, "WorkingSetSize", std::uint64_t{200});
  EXPECT_EQ(looks(10), 0U) << "nobody asks for that";
  add_process("2", "a");
  EXPECT_EQ(looks(1), 1U);
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 2"});
}

TEST_F(TokenTest, ANewNameThatIsVouchedForIsFoundAtTheNextPoll) {
  const auto row = add_process("1", "sh");
  subscribe(kProcessStarts);
  settle();
  EXPECT_EQ(looks(30), 0U);
  processes->set(row, "Name", "a");
  EXPECT_EQ(looks(1), 1U);
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
}

TEST_F(TokenTest, WhatGotItsNameBeforeASubscriptionIsNotNewToIt) {
  const auto row = add_process("1", "sh");
  subscribe(kProcessStarts, "first");
  settle();
  subscribe(kProcessStarts, "second");
  processes->set(row, "Name", "a");
  subscribe(kProcessStarts, "late");
  pass(seconds(3));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"first __InstanceCreationEvent 1", "second __InstanceCreationEvent 1"}));
}

TEST_F(TokenTest, WhereOnlyTheRowsAreVouchedForEveryTenthPollLooksForNewNames) {
  const auto row = add_process("1", "sh");
  processes->vouch_only_for({"Handle"});
  subscribe(kProcessStarts);
  settle();
  for (int polls = 0; looks(1) == 0; ++polls) ASSERT_LT(polls, 10);
  EXPECT_EQ(looks(9), 0U);
  EXPECT_EQ(looks(1), 1U);
  processes->set(row, "Name", "a");
  EXPECT_EQ(looks(9), 0U);
  EXPECT_EQ(take(), Texts{});
  EXPECT_EQ(looks(1), 1U);
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
}

TEST_F(TokenTest, TwoPollsAfterANewcomerLookForItsName) {
  for (const std::vector<std::string>& vouched : {Texts{"Handle"}, Texts{"Handle", "Name"}}) {
    processes->vouch_only_for(vouched);
    sink = make_sink();
    subscribe(kProcessStarts);
    settle();
    const auto row = add_process(vouched.back(), "sh");
    EXPECT_EQ(looks(1), 1U) << "it has come";
    EXPECT_EQ(looks(2), 2U);
    EXPECT_EQ(looks(1), 0U);
    processes->remove(row);
    settle();
  }
}

TEST_F(TokenTest, ACommonTokenOfRowsIsNotEnoughForOtherProperties) {
  const auto row = add_process("1", "a");
  processes->vouch_only_for({"Handle"});
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' AND "
      "TargetInstance.WorkingSetSize>500");
  settle();
  EXPECT_EQ(looks(5), 5U);
  processes->set(row, "WorkingSetSize", std::uint64_t{600});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent 1"});
}

// ---- ends

TEST_F(EventEngineTest, ARowThatEndsWhileItIsReadGivesItsDeletionAlone) {
  const auto row = add_process("1", "a");
  subscribe("SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'");
  processes->set(row, "Name", cim::Value());
  const auto brief = processes->add({{"Handle", "2"}});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceDeletionEvent 1"});
  processes->remove(row);
  processes->remove(brief);
  pass(seconds(2));
  EXPECT_EQ(take(), Texts{});
}

// ---- order

/// A class that takes its time, and tells when it is asked.
class SlowProvider final : public Provider {
 public:
  SlowProvider(const std::string& name, std::function<void()> asked)
      : memory_(MemoryClass{.name = name, .properties = {{"Id", cim::CimType::string, cim::kKey}}}),
        asked_(std::move(asked)) {}
  const cim::Class& schema() const override { return memory_.schema(); }
  void enumerate(const Request& request, const RowSink& sink) override {
    asked_();
    memory_.enumerate(request, sink);
  }

 private:
  MemoryProvider memory_;
  std::function<void()> asked_;
};

TEST_F(EventEngineTest, OfThePollsThatAreDueAtOnceTheQuickOnesComeFirst) {
  TimePoint clock{};
  settings->clock = [&] { return clock; };
  Texts asked;
  for (const auto& [name, takes] : {std::pair("Test_Slow", 250), std::pair("Test_Quick", 1)}) {
    service.add(std::make_shared<SlowProvider>(name, [&, name = name, takes = takes] {
      asked.emplace_back(name);
      clock += milliseconds(takes);
    }));
  }
  const std::string from = "SELECT * FROM __InstanceCreationEvent WITHIN ";
  subscribe(from + "10 WHERE TargetInstance ISA 'Test_Slow'");
  subscribe(from + "1 WHERE TargetInstance ISA 'Test_Quick'");
  pass(milliseconds(9900));
  asked.clear();
  pass(milliseconds(100));
  EXPECT_EQ(asked, (Texts{"Test_Quick", "Test_Slow"}));
}

// ---- equalities

TEST_F(EventEngineTest, AKeyNarrowsTheEnumeration) {
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
      "TargetInstance.Name='Spool'");
  ASSERT_EQ(services->last_equalities().size(), 1U);
  EXPECT_EQ(*services->last_equalities()[0].constant.get_if<std::string>(), "Spool");
  const auto row = add_service("spool", "Running");
  const auto other = add_service("other", "Running");
  pass(seconds(1));
  services->set(row, "State", "Stopped");
  services->set(other, "State", "Stopped");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent spool"});
}

TEST_F(EventEngineTest, AnotherIdentityUnderTheSameKeyIsAnEndAndABeginning) {
  const auto row = add_process("1", "sh");
  subscribe("SELECT * FROM __InstanceOperationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'");
  processes->set(row, "Name", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), (Texts{"__InstanceDeletionEvent 1", "__InstanceCreationEvent 1"}));
}

TEST_F(EventEngineTest, NullComparesAsUnknown) {
  subscribe(
      "SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service' AND "
      "PreviousInstance.ProcessId<>5");
  const auto row = add_service("spool", "Running");
  pass(seconds(1));
  services->set(row, "ProcessId", std::uint64_t{6});  // from NULL: not different from 5
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{});
  services->set(row, "ProcessId", std::uint64_t{7});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceModificationEvent spool"});
}

TEST_F(EventEngineTest, EventsLookLikeWmis) {
  sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        for (const wmi::Property& p : event.properties()) seen.push_back(p.name);
        seen.push_back(text_of(event.get("__CLASS")) + ' ' + text_of(event.get("__SUPERCLASS")));
        seen.push_back("path " + text_of(event.get("__PATH")));
        seen.push_back("time " + text_of(event.get("TIME_CREATED")));
        seen.push_back("security " + text_of(event.get("SECURITY_DESCRIPTOR")));
        const wmi::Value target = event.get("targetinstance");
        const auto& instance = *target.get_if<std::shared_ptr<wmi::Object>>();
        try {
          instance->call("StartService", {});
        } catch (const Error& error) {
          seen.push_back(error.description());
        }
      },
      shared_loop);
  subscribe("SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service'");
  const auto row = add_service("spool", "Running");
  pass(seconds(1));
  services->set(row, "State", "Stopped");
  pass(seconds(1));
  EXPECT_EQ(take(), (Texts{"PreviousInstance", "SECURITY_DESCRIPTOR", "TargetInstance", "TIME_CREATED",
                           "__InstanceModificationEvent __InstanceOperationEvent", "path Null",
                           "time 133000000000000000", "security Null", "Invalid method "}));
}

TEST_F(EventEngineTest, OnlySelectedPropertiesAreThere) {
  sink = std::make_shared<EventSink>(
      [&](wmi::Object& event, const wmi::NamedValues&) {
        seen.push_back(property(event, "TargetInstance", "State"));  // a dotted name brings the whole object
        try {
          static_cast<void>(event.get("TIME_CREATED"));
        } catch (const Error& error) {
          seen.push_back(error.description());
        }
      },
      shared_loop);
  subscribe(
      "SELECT TargetInstance.Name FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA "
      "'Win32_Service'");
  add_service("spool", "Running");
  pass(seconds(1));
  EXPECT_EQ(take(), (Texts{"Running", "Not found "}));
}

// ---- groups

TEST_F(EventEngineTest, AGroupBeginsWithItsFirstEvent) {
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' GROUP WITHIN "
      "10",
      "ctx");
  pass(seconds(5));  // nothing happens: no group
  add_process("1", "a");
  pass(seconds(1));
  add_process("2", "a");
  add_process("3", "b");
  pass(seconds(8));
  EXPECT_EQ(take(), Texts{});
  pass(seconds(2));
  EXPECT_EQ(take(), Texts{"ctx __AggregateEvent x3 {__InstanceCreationEvent 1}"});
  pass(seconds(30));
  EXPECT_EQ(take(), Texts{}) << "no group without an event";
  add_process("4", "a");
  pass(seconds(11));
  EXPECT_EQ(take(), Texts{"ctx __AggregateEvent x1 {__InstanceCreationEvent 4}"});
}

TEST_F(EventEngineTest, HavingDiscardsSmallGroupsWithTheirCount) {
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' GROUP WITHIN "
      "5 "
      "HAVING NumberOfEvents>=2");
  add_process("1", "a");
  pass(seconds(8));
  EXPECT_EQ(take(), Texts{});
  add_process("2", "a");
  pass(seconds(8));
  EXPECT_EQ(take(), Texts{}) << "the discarded one does not count";
  add_process("3", "a");
  add_process("4", "a");
  pass(seconds(8));
  EXPECT_EQ(take(), Texts{"__AggregateEvent x2 {__InstanceCreationEvent 3}"});
}

TEST_F(EventEngineTest, ByMakesOneGroupForEachValue) {
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process' GROUP WITHIN "
      "5 "
      "BY TargetInstance.Name");
  add_process("1", "a");
  add_process("2", "b");
  add_process("3", "A");  // texts are the same in any case
  pass(seconds(8));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"__AggregateEvent x2 {__InstanceCreationEvent 1}",
                                   "__AggregateEvent x1 {__InstanceCreationEvent 2}"}));
}

// ---- sinks

TEST_F(EventEngineTest, DroppingTheSinkEndsItsSubscriptionsAtOnce) {
  subscribe(kProcessStarts);
  add_process("1", "a");
  now += seconds(1);
  engine->run_one(now);
  EXPECT_EQ(loop->waiting(), 1U);
  sink.reset();
  loop->run();
  EXPECT_EQ(take(), Texts{}) << "what was posted before is not delivered after";
  pass(seconds(0));
  EXPECT_EQ(engine->polls(), 0U);
}

TEST_F(EventEngineTest, ASinkMayBeDroppedInsideItsDelivery) {
  auto held = std::make_shared<int>(7);
  sink = std::make_shared<EventSink>(
      [this, held](wmi::Object& event, const wmi::NamedValues&) {
        sink.reset();
        EXPECT_EQ(*held, 7) << "the handler is still there";
        seen.push_back(described(event, {}));
      },
      shared_loop);
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'");
  add_process("1", "a");
  add_process("2", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
  EXPECT_EQ(held.use_count(), 1) << "the handler ends on its own thread";
  pass(seconds(5));
  EXPECT_EQ(engine->polls(), 0U);
}

TEST_F(EventEngineTest, OtherSinksGoOn) {
  subscribe(kProcessStarts, "first");
  const auto other = std::exchange(sink, make_sink());
  subscribe(kProcessStarts, "second");
  sink.reset();
  add_process("1", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"first __InstanceCreationEvent 1"});
}

TEST_F(EventEngineTest, SubscriptionsThatComeAndGoLeaveNothingInTheSchedule) {
  subscribe(kProcessStarts);
  const auto kept = sink;
  for (int i = 0; i < 1000; ++i) {
    sink = make_sink();
    subscribe(kProcessStarts);
    sink.reset();
    while (engine->run_one(now)) continue;
    ASSERT_EQ(engine->scheduled(), 1U) << i;
  }
  add_process("1", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
}

TEST_F(EventEngineTest, ASinkThatIsNotServedLosesWhatIsTooMuch) {
  settings->most_pending = 3;
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Process'");
  for (int i = 0; i < 10; ++i) add_process(std::to_string(i), "a");
  now += seconds(1);
  engine->run_one(now);
  EXPECT_EQ(loop->waiting(), 3U);
  ASSERT_EQ(failures.size(), 1U) << "reported once";
  EXPECT_TRUE(wmi::is_status(failures[0], Status::queue_overflow));
  loop->run();
  add_process("late", "a");
  pass(seconds(1));
  EXPECT_EQ(take().back(), "__InstanceCreationEvent late");
}

// ---- failures

TEST_F(EventEngineTest, AProviderThatFailsAtTheSubscriptionMakesTheCallFail) {
  processes->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
  const Error error = refused(kProcessStarts);
  EXPECT_TRUE(wmi::is_status(error, Status::provider_failure));
  EXPECT_EQ(error.source(), "SWbemServicesEx");
  EXPECT_EQ(error.description(), "Provider failure ");
  processes->fail_with({});
  add_process("1", "a");
  pass(seconds(5));
  EXPECT_EQ(take(), Texts{}) << "nothing is left of the refused one";
  EXPECT_EQ(engine->polls(), 0U);
}

TEST_F(EventEngineTest, NothingIsLeftOfASubscriptionThatOneOfItsClassesRefuses) {
  for (const auto& failing : {processes, threads}) {
    failing->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
    static_cast<void>(
        refused("SELECT * FROM __InstanceCreationEvent WITHIN 1000 WHERE TargetInstance ISA "
                "'CIM_LogicalElement'"));
    failing->fail_with({});
    pass(seconds(0));
    EXPECT_EQ(engine->polls(), 0U) << "without waiting for a poll";
  }
}

TEST_F(EventEngineTest, AProviderThatFailsLaterLeavesTheOthersAndRecovers) {
  subscribe(kProcessStarts);
  subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Win32_Service'");
  processes->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
  add_process("1", "a");
  add_service("spool", "Running");
  pass(seconds(3));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent spool"});
  ASSERT_EQ(failures.size(), 1U) << "one report for a row of failures";
  EXPECT_EQ(failures[0].description(), "Provider failure ");
  processes->fail_with({});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"}) << "what came meanwhile is not lost";
  processes->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
  add_process("2", "a");
  pass(seconds(1));
  EXPECT_EQ(failures.size(), 2U);
}

TEST_F(EventEngineTest, AFailureForANewSubscriptionKeepsTheOld) {
  subscribe(kProcessStarts);
  processes->fail_with(wmi::wmi_error(Status::provider_failure, "somewhere"));
  add_process("1", "a");
  static_cast<void>(
      refused("SELECT * FROM __InstanceModificationEvent WITHIN 1 WHERE TargetInstance ISA "
              "'Win32_Process'"));
  processes->fail_with({});
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 1"});
}

/// Drives that may stop answering: then everything but the letter fails, and of some the letter too.
struct Drive {
  std::string letter, label;
  std::uint64_t free = 100;
  bool answers = true, has_letter = true;
};

class DriveRow final : public cim::Instance {
 public:
  DriveRow(const cim::Class& schema, Drive drive) : Instance(schema), drive_(std::move(drive)) {}
  cim::Value letter() { return drive_.has_letter ? drive_.letter : throw silence(); }
  cim::Value label() { return drive_.label; }
  cim::Value free_space() { return drive_.answers ? drive_.free : throw silence(); }

 private:
  static Error silence() { return wmi::wmi_error(Status::provider_failure, "somewhere"); }
  Drive drive_;
};

class Drives final : public Provider {
 public:
  const cim::Class& schema() const override {
    using enum cim::CimType;
    static constexpr cim::Property kProperties[]{
        {"DeviceID", string, cim::kKey, cim::Cost::free, "", cim::reader<&DriveRow::letter>},
        {"Label", string, cim::kIdentifies, cim::Cost::free, "", cim::reader<&DriveRow::label>},
        {"FreeSpace", uint64, cim::kPlain, cim::Cost::read, "", cim::reader<&DriveRow::free_space>},
    };
    static constexpr cim::Class kClass{.name = "Test_Drive",
                                       .superclasses = {},
                                       .description = "",
                                       .properties = kProperties,
                                       .methods = {}};
    return kClass;
  }
  void enumerate(const Request&, const RowSink& sink) override {
    for (const Drive& drive : drives) {
      if (!sink(std::make_shared<DriveRow>(schema(), drive))) return;
    }
  }

  std::vector<Drive> drives;
};

/// Watches over drives of which single ones fail while the others are read.
struct FailingRowsTest : EventEngineTest {
  std::shared_ptr<Drives> provider = std::make_shared<Drives>();
  std::vector<Drive>& drives = provider->drives;

  FailingRowsTest() {
    service.add(provider);
    sink = std::make_shared<EventSink>(
        [this](wmi::Object& event, const wmi::NamedValues&) { seen.push_back(event.class_name()); },
        shared_loop);
  }
  void subscribe_to(const char* event_class, const std::string& condition = "") {
    subscribe("SELECT * FROM " + std::string(event_class) +
              " WITHIN 1 WHERE TargetInstance ISA 'Test_Drive'" + condition);
  }
  Texts seen_after_a_second() {
    pass(seconds(1));
    return take();
  }
};

TEST_F(FailingRowsTest, ANewRowCountsFromTheTimeItAnswers) {
  subscribe_to("__InstanceModificationEvent", " AND TargetInstance.FreeSpace<10");
  drives.push_back({.letter = "E:", .label = "e", .answers = false});
  EXPECT_EQ(seen_after_a_second(), Texts{});
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives[0].answers = true;
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives[0].free = 5;
  EXPECT_EQ(seen_after_a_second(), Texts{"__InstanceModificationEvent"});
  EXPECT_EQ(failures.size(), 1U) << "one report for a row of failures";
}

TEST_F(FailingRowsTest, TheOtherRowsComeAndGoMeanwhile) {
  drives = {{.letter = "C:", .label = "c"}, {.letter = "D:", .label = "d"}};
  subscribe_to("__InstanceOperationEvent");
  drives.insert(drives.begin(), {.letter = "B:", .label = "b", .answers = false});
  drives[1].answers = false;
  drives.pop_back();
  drives.push_back({.letter = "E:", .label = "e"});
  EXPECT_EQ(seen_after_a_second(), (Texts{"__InstanceCreationEvent", "__InstanceDeletionEvent"}));
  EXPECT_EQ(seen_after_a_second(), Texts{}) << "what fails has neither come nor gone";
  for (Drive& drive : drives) drive.answers = true;
  EXPECT_EQ(seen_after_a_second(), Texts{"__InstanceCreationEvent"});
  EXPECT_EQ(seen_after_a_second(), Texts{});
}

TEST_F(FailingRowsTest, AReplacedRowIsToldAsAWholeOrNotYet) {
  drives = {{.letter = "C:", .label = "old"}};
  subscribe_to("__InstanceDeletionEvent");
  subscribe_to("__InstanceCreationEvent");
  drives[0].label = "new";
  drives[0].answers = false;
  EXPECT_EQ(seen_after_a_second(), Texts{});
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives[0].answers = true;
  EXPECT_EQ(seen_after_a_second(), (Texts{"__InstanceDeletionEvent", "__InstanceCreationEvent"}));
  EXPECT_EQ(seen_after_a_second(), Texts{});
}

TEST_F(FailingRowsTest, NothingIsGoneWhileARowCannotSayWhichItIs) {
  drives = {{.letter = "C:", .label = "c"}, {.letter = "D:", .label = "d"}};
  subscribe_to("__InstanceDeletionEvent");
  drives[0].has_letter = false;
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives.pop_back();
  EXPECT_EQ(seen_after_a_second(), Texts{});
  drives[0].has_letter = true;
  EXPECT_EQ(seen_after_a_second(), Texts{"__InstanceDeletionEvent"});
}

/// A class whose schema can be asked for a number of times only.
class FragileProvider final : public Provider {
 public:
  const cim::Class& schema() const override {
    if (left == 0) throw std::runtime_error("no schema");
    --left;
    return memory_.schema();
  }
  void enumerate(const Request& request, const RowSink& sink) override { memory_.enumerate(request, sink); }

  static constexpr int kMany = 1000;
  mutable int left = kMany;

 private:
  MemoryProvider memory_{
      MemoryClass{.name = "Test_Fragile", .properties = {{"Id", cim::CimType::string, cim::kKey}}}};
};

TEST_F(EventEngineTest, NothingRemainsOfASubscriptionThatFailsAnywhereOnItsWay) {
  const auto fragile = std::make_shared<FragileProvider>();
  service.add(fragile);
  int refusals = 0;
  for (;; ++refusals) {
    ASSERT_LT(refusals, FragileProvider::kMany);
    fragile->left = refusals;
    try {
      subscribe("SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE TargetInstance ISA 'Test_Fragile'");
      break;
    } catch (const Error&) {
      pass(milliseconds(0));
      EXPECT_EQ(engine->polls(), 0U) << refusals;
    }
  }
  EXPECT_GT(refusals, 0);
  EXPECT_EQ(engine->polls(), 1U);
}

TEST(EventChannelTest, AListenerAtTheAddressOfAnotherHearsOfTheClose) {
  const int address = 0;
  Texts heard;
  {
    EventSink sink([](wmi::Object&, const wmi::NamedValues&) {}, std::make_shared<TestLoop>());
    sink.channel()->on_close(&address, [&] { heard.emplace_back("first"); });
    sink.channel()->on_close(&address, [&] { heard.emplace_back("second"); });
  }
  EXPECT_EQ(heard, Texts{"second"});
}

/// A subscriber whose loop takes no work for a while.
struct FailingLoopTest : EventEngineTest {
  std::shared_ptr<TestLoop> failing_loop = std::make_shared<TestLoop>();
  int delivered = 0;
  std::shared_ptr<wmi::Sink> failing_sink = std::make_shared<EventSink>(
      [this](wmi::Object&, const wmi::NamedValues&) { ++delivered; }, failing_loop);

  void subscribe_failing(const std::string& query) {
    connection->exec_notification_query_async(failing_sink, query, "WQL", 0, nullptr, {});
    failing_loop->fails = true;
  }
};

TEST_F(FailingLoopTest, LosesItsEventsAndNobodyElses) {
  settings->most_pending = 1;
  subscribe_failing(kProcessStarts);
  subscribe(kProcessStarts);
  for (const char* handle : {"1", "2"}) {
    add_process(handle, "a");
    pass(seconds(1));
    ASSERT_TRUE(engine->due());
    EXPECT_GT(*engine->due(), now) << "what is due for ever is run for ever";
  }
  EXPECT_EQ(take(), (Texts{"__InstanceCreationEvent 1", "__InstanceCreationEvent 2"}));
  EXPECT_EQ(failures.size(), 1U) << "the first of a row";
  failing_loop->fails = false;
  add_process("3", "a");
  pass(seconds(1));
  failing_loop->run();
  EXPECT_EQ(delivered, 1) << "what was not taken does not wait";
}

TEST_F(FailingLoopTest, LosesTheGroupsThatEnd) {
  subscribe_failing(kProcessStarts + std::string(" GROUP WITHIN 2"));
  add_process("1", "a");
  pass(seconds(5));
  EXPECT_EQ(failures.size(), 1U);
  ASSERT_TRUE(engine->due());
  EXPECT_GT(*engine->due(), now);
}

TEST_F(FailingLoopTest, DoesNotHinderANewSubscription) {
  subscribe_failing(kProcessStarts);
  add_process("1", "a");
  subscribe(kProcessStarts);
  EXPECT_EQ(failures.size(), 1U) << "the event was found on the way";
  add_process("2", "a");
  pass(seconds(1));
  EXPECT_EQ(take(), Texts{"__InstanceCreationEvent 2"});
}

// ---- refusals

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

TEST_F(EventEngineTest, TheConditionMayLeaveOutTheClassInOneWayOnly) {
  subscribe(
      "SELECT * FROM __InstanceCreationEvent WITHIN 1 WHERE (TargetInstance ISA 'Win32_Process' AND "
      "TargetInstance.Name='a') OR (TargetInstance ISA 'Win32_Service' AND TargetInstance.State='Running')");
  EXPECT_EQ(engine->polls(), 2U);
  add_process("1", "a");
  add_process("2", "b");
  add_service("spool", "Running");
  add_service("other", "Stopped");
  pass(seconds(1));
  const Texts events = take();
  EXPECT_EQ(std::set<std::string>(events.begin(), events.end()),
            (std::set<std::string>{"__InstanceCreationEvent 1", "__InstanceCreationEvent spool"}));
}

}  // namespace
}  // namespace kvwmi::embedded
