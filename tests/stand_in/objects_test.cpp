#include <windows.h>

#include <gtest/gtest.h>
#include <objbase.h>

#include "frame/conversion.h"
#include "frame/ground.h"
#include "frame/wmi_status.h"
#include "stand_in/class_objects.h"
#include "stand_in/fake_backend.h"

// The Windows ground against the stand-in's objects: what goes in at one end comes out at the other.
namespace kvwmi::stand_in {
namespace {

using testing::FakeObject;
using wmi::Value;

constexpr std::array kTerminateParameters{cim::Parameter{"Reason", wmi::CimType::uint32}};
constexpr std::array kMethods{cim::Method{"Terminate", kTerminateParameters, "", nullptr},
                              cim::Method{"StopService", {}, "", nullptr}};
constexpr cim::Class kProcess{"Win32_Process", {}, "", {}, kMethods};

struct ObjectsTest : ::testing::Test {
  ObjectsTest() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    backend = std::make_shared<FakeBackend>();
    backend->classes = {&kProcess};
    stand_in.emplace(backend);
  }
  ~ObjectsTest() override { stand_in.reset(); }

  [[nodiscard]] kvwmi::testing::FakeWmi& wmi() { return backend->ground.wmi; }
  [[nodiscard]] static std::shared_ptr<wmi::Services> connect() {
    wmi::ConnectArguments arguments;
    arguments.name_space = wmi::kCimv2;
    return local_ground().create_locator()->connect_server(arguments);
  }
  static std::optional<Error> error_of(const std::function<void()>& action) {
    try {
      action();
    } catch (const Error& error) {
      return error;
    }
    return std::nullopt;
  }

  std::shared_ptr<FakeBackend> backend;
  std::optional<InProcessStandIn> stand_in;
};

TEST_F(ObjectsTest, ConnectsWithItsArgumentsContextAndPrivileges) {
  const wmi::NamedValues context{{"__ProviderArchitecture", Value(std::int16_t{64})}};
  wmi::ConnectArguments arguments;
  arguments.name_space = wmi::kDefault;
  arguments.locale = "MS_409";
  arguments.security_flags = 128;
  arguments.context = &context;
  const auto locator = local_ground().create_locator();
  locator->add_privilege(wmi::kPrivilegeSecurity, true);
  static_cast<void>(locator->connect_server(arguments));
  ASSERT_EQ(wmi().connections.size(), 1U);
  EXPECT_EQ(wmi().connections[0].server, ".");
  EXPECT_EQ(wmi().connections[0].name_space, wmi::kDefault);
  EXPECT_EQ(wmi().connections[0].locale, "MS_409");
  EXPECT_EQ(wmi().connections[0].security_flags, 128);
  ASSERT_TRUE(wmi().contexts[0]);
  ASSERT_EQ(wmi().contexts[0]->size(), 1U);
  EXPECT_EQ(wmi().contexts[0]->front().name, "__ProviderArchitecture");
  EXPECT_EQ(wmi().contexts[0]->front().value, Value(std::int16_t{64}));
  EXPECT_EQ(wmi().privileges, (std::vector{std::pair{wmi::kPrivilegeSecurity, true}}));
}

TEST_F(ObjectsTest, ValuesOfEveryKindArriveAsTheyAre) {
  const auto inner = std::make_shared<FakeObject>(wmi::NamedValues{{"Name", Value("inner")}}, "Inner");
  const wmi::NamedValues values{
      {"Nothing", Value()},
      {"Flag", Value(true)},
      {"Small", Value(std::int16_t{-3})},
      {"Whole", Value(std::int32_t{-2'000'000})},
      {"Text", Value("caf\xC3\xA9")},
      {"List", Value(Value::Array{Value("a"), Value("b")})},
      {"None", Value(Value::Array{})},
      {"Object", Value(std::static_pointer_cast<wmi::Object>(inner))},
  };
  wmi().answer("SELECT * FROM X", {std::make_shared<FakeObject>(values, "X")});
  const auto object = wmi::first_of(*connect()->exec_query("SELECT * FROM X"));
  ASSERT_NE(object, nullptr);
  for (const wmi::NamedValue& entry : values) {
    if (entry.name == "Object") continue;
    EXPECT_EQ(object->get(entry.name), entry.value) << entry.name;
  }
  const Value embedded = object->get("Object");
  ASSERT_NE(embedded.get_if<std::shared_ptr<wmi::Object>>(), nullptr);
  const auto& embedded_object = *embedded.get_if<std::shared_ptr<wmi::Object>>();
  EXPECT_EQ(embedded_object->class_name(), "Inner");
  EXPECT_EQ(embedded_object->get("Name"), Value("inner"));
  EXPECT_EQ(object->class_name(), "X");
  const auto properties = object->properties();
  ASSERT_EQ(properties.size(), values.size());
  EXPECT_EQ(properties[4].name, "Text");
}

TEST_F(ObjectsTest, AnUnknownPropertyIsNotFoundOnTheObject) {
  wmi().answer("q", {std::make_shared<FakeObject>(wmi::NamedValues{{"Name", Value("x")}}, "X")});
  const auto object = wmi::first_of(*connect()->exec_query("q"));
  const auto error = error_of([&] { static_cast<void>(object->get("Other")); });
  ASSERT_TRUE(error);
  EXPECT_TRUE(wmi::is_status(*error, wmi::Status::not_found));
  EXPECT_EQ(error->source(), "SWbemObjectEx");
  EXPECT_EQ(error->description(), "Not found ");
}

TEST_F(ObjectsTest, CallsMethodsWithAndWithoutArguments) {
  const auto process = std::make_shared<FakeObject>(wmi::NamedValues{{"Name", Value("x")}}, "Win32_Process");
  process->return_code = 21;
  wmi().answer("q", {process});
  const auto object = wmi::first_of(*connect()->exec_query("q"));
  EXPECT_EQ(object->call("Terminate", {{"Reason", Value(std::int32_t{1})}}), 21);
  EXPECT_EQ(object->call("StopService", {}), 21);
  ASSERT_EQ(process->calls.size(), 2U);
  EXPECT_EQ(process->calls[0].first, "Terminate");
  ASSERT_EQ(process->calls[0].second.size(), 1U);
  EXPECT_EQ(process->calls[0].second[0].name, "Reason");
  EXPECT_EQ(process->calls[0].second[0].value, Value(std::int32_t{1}));
  EXPECT_TRUE(process->calls[1].second.empty());
  EXPECT_TRUE(error_of([&] { object->call("Unknown", {}); }));
  EXPECT_TRUE(error_of([&] { object->call("Terminate", {{"Other", Value(std::int32_t{1})}}); }));
  EXPECT_EQ(process->calls.size(), 2U);
}

TEST_F(ObjectsTest, AnEventReachesItsSinkWithItsContext) {
  struct Seen {
    std::string class_name;
    Value name;
    wmi::NamedValues context;
  };
  std::vector<Seen> seen;
  auto sink = local_ground().create_sink([&](wmi::Object& event, const wmi::NamedValues& context) {
    seen.push_back({event.class_name(), event.get("Name"), context});
  });
  const wmi::NamedValues context{{"SupervisionId", Value(std::int32_t{3})},
                                 {"CurrentStepId", Value(std::int32_t{7})},
                                 {"SupervisionType", Value(std::int16_t{18})},
                                 {"FileName", Value("*.log")}};
  connect()->exec_notification_query_async(sink, "events", "WQL", 0, nullptr, context);
  FakeObject event({{"Name", Value("x")}}, "__InstanceModificationEvent");
  EXPECT_EQ(wmi().fire("events", event), 1);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0].class_name, "__InstanceModificationEvent");
  EXPECT_EQ(seen[0].name, Value("x"));
  ASSERT_EQ(seen[0].context.size(), context.size());
  for (std::size_t i = 0; i < context.size(); ++i) {
    EXPECT_EQ(seen[0].context[i].name, context[i].name);
    EXPECT_EQ(seen[0].context[i].value, context[i].value);
  }
  sink.reset();
  wmi().fire("events", event);
  EXPECT_EQ(seen.size(), 1U);
}

TEST_F(ObjectsTest, ASinkMayBeDroppedInsideADelivery) {
  int seen = 0;
  const auto alive = std::make_shared<int>(0);
  std::shared_ptr<wmi::Sink> sink;
  sink = local_ground().create_sink([&, alive](wmi::Object& event, const wmi::NamedValues&) {
    sink.reset();
    EXPECT_EQ(event.get("Name"), Value("x"));
    ++seen;
  });
  connect()->exec_notification_query_async(sink, "events", "WQL", 0, nullptr, {});
  FakeObject event({{"Name", Value("x")}}, "X");
  wmi().fire("events", event);
  wmi().fire("events", event);
  EXPECT_EQ(seen, 1);
  EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(ObjectsTest, ARefusedSubscriptionRaisesAndLeavesNothing) {
  wmi().errors.emplace("bad", wmi::wmi_error(wmi::Status::unparsable_query, wmi::source::kServices));
  auto sink = local_ground().create_sink([](wmi::Object&, const wmi::NamedValues&) {});
  const auto services = connect();
  const auto error =
      error_of([&] { services->exec_notification_query_async(sink, "bad", "WQL", 0, nullptr, {}); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->source(), "SWbemServicesEx");
  EXPECT_EQ(error->description(), "Unparsable query. ");
  EXPECT_TRUE(wmi().subscriptions.empty());
}

TEST_F(ObjectsTest, ALocatorThatIsNotInstalledIs429) {
  stand_in.reset();
  wmi().installed = false;
  stand_in.emplace(backend);
  const auto error = error_of([] { static_cast<void>(local_ground().create_locator()); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->number(), 429);
}

}  // namespace
}  // namespace kvwmi::stand_in
