#include "wmi/service.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <stdexcept>
#include <thread>

#include "frame/testing/failing_allocation.h"
#include "frame/text.h"
#include "frame/wmi_status.h"
#include "wmi/memory_provider.h"

namespace kvwmi::embedded {
namespace {

using cim::CimType;
using kvwmi::testing::failing_allocation;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using wmi::Status;
using wmi::Value;

MemoryClass process_class() {
  return {.name = "Win32_Process",
          .properties = {{"Name", CimType::string, cim::kNarrows, "Image name."},
                         {"Handle", CimType::string, cim::kKey},
                         {"ProcessId", CimType::uint32, cim::kNarrows, "Number of the process."},
                         {"WorkingSetSize", CimType::uint64},
                         {"CreationDate", CimType::datetime},
                         {"Roles", CimType::string, cim::kArray}},
          .methods = {},
          .superclasses = {"CIM_Process", "CIM_LogicalElement"},
          .description = "A running process."};
}

MemoryProvider::Values process(const std::string& name, std::uint64_t id) {
  return {{"Name", name},
          {"Handle", std::to_string(id)},
          {"ProcessId", id},
          {"WorkingSetSize", id * 1'000'000'000}};
}

class ServiceTest : public ::testing::Test {
 protected:
  ServiceTest() {
    processes->add(process("init", 1));
    processes->add(process("bash", 42));
    processes->add(process("Bash", 4'000'000'000));
    service.add(processes);
  }

  std::shared_ptr<wmi::Services> connect(const std::string& name_space = wmi::kCimv2) {
    wmi::ConnectArguments arguments;
    arguments.name_space = name_space;
    return service.create_locator()->connect_server(arguments);
  }
  std::shared_ptr<wmi::ObjectSet> query(const std::string& text,
                                        std::int32_t flags = wmi::kReturnImmediately) {
    return connect()->exec_query(text, "WQL", flags);
  }
  std::vector<std::string> column(const std::string& text, std::string_view property) {
    std::vector<std::string> values;
    const auto walk = query(text)->enumerate();
    while (const auto object = walk->next()) {
      const Value value = object->get(property);
      values.push_back(value.is_null() ? "NULL" : *value.get_if<std::string>());
    }
    return values;
  }
  std::vector<std::string> names(const std::string& where) {
    return column("SELECT * FROM Win32_Process WHERE " + where, "Handle");
  }

  template <typename Steps>
  static std::string failure(Steps steps) {
    try {
      steps();
    } catch (const Error& error) {
      char number[16];
      static_cast<void>(
          std::snprintf(number, sizeof number, "%08X", static_cast<std::uint32_t>(error.number())));
      return std::string(number) + "|" + error.source() + "|" + error.description();
    }
    return "no failure";
  }

  std::shared_ptr<MemoryProvider> processes = std::make_shared<MemoryProvider>(process_class());
  Service service{{.server_name = "BOX"}};
};

// ---- connecting

TEST_F(ServiceTest, NamespacesAreFoundInAnyCaseAndWithEitherSeparator) {
  for (const char* name : {R"(root\CIMV2)", "ROOT/cimv2", "", R"(root\cimv2\)", "root/Default"}) {
    EXPECT_NO_THROW(static_cast<void>(connect(name))) << name;
  }
  for (const char* name : {"root", R"(root\wmi)", "cimv2"}) {
    EXPECT_EQ(failure([&] { static_cast<void>(connect(name)); }), "8004100E|SWbemLocator|Invalid namespace ")
        << name;
  }
}

TEST_F(ServiceTest, OnlyTheLocalMachineIsHere) {
  const auto connect_to = [&](const std::string& server) {
    wmi::ConnectArguments arguments;
    arguments.server = server;
    return failure([&] { static_cast<void>(service.create_locator()->connect_server(arguments)); });
  };
  for (const char* server : {".", "", "localhost", "LOCALHOST", "box"})
    EXPECT_EQ(connect_to(server), "no failure");
  EXPECT_EQ(connect_to("elsewhere"), "80041015|SWbemLocator|Transport failure ");
}

TEST_F(ServiceTest, CredentialsAreRefusedOnTheLocalMachine) {
  wmi::ConnectArguments named;
  named.user = "me";
  wmi::ConnectArguments secret;
  secret.password = "secret";
  for (const wmi::ConnectArguments& arguments : {named, secret}) {
    EXPECT_EQ(failure([&] { static_cast<void>(service.create_locator()->connect_server(arguments)); }),
              "80041064|SWbemLocator|User credentials cannot be used for local connections ");
  }
}

// ---- data queries

TEST_F(ServiceTest, AnswersRowsInTheProvidersOrder) {
  EXPECT_THAT(column("SELECT * FROM Win32_Process", "Name"), ElementsAre("init", "bash", "Bash"));
  EXPECT_EQ(query("SELECT * FROM win32_process")->count(), 3);
  EXPECT_THAT(names("Name='BASH'"), ElementsAre("42", "4000000000"));
  EXPECT_THAT(names("Name='nobody'"), IsEmpty());
  EXPECT_THAT(names("ProcessId > 1 AND NOT Name LIKE '%x%'"), ElementsAre("42", "4000000000"));
}

TEST_F(ServiceTest, ValuesArriveAsAutomationClientsKnowThem) {
  const auto object = wmi::first_of(*query("SELECT * FROM Win32_Process WHERE ProcessId=4000000000"));
  ASSERT_TRUE(object);
  EXPECT_EQ(object->get("processid"), Value(static_cast<std::int32_t>(4'000'000'000U)));
  EXPECT_EQ(object->get("WorkingSetSize"), Value("4000000000000000000"));
  EXPECT_TRUE(object->get("CreationDate").is_null());
  EXPECT_EQ(object->class_name(), "Win32_Process");
}

TEST_F(ServiceTest, AMissingPropertyIsNotFound) {
  const auto object = wmi::first_of(*query("SELECT * FROM Win32_Process"));
  EXPECT_EQ(failure([&] { static_cast<void>(object->get("Color")); }), "80041002|SWbemObjectEx|Not found ");
}

TEST_F(ServiceTest, AProjectionHoldsWhatWasSelectedAndTheKeys) {
  const auto object = wmi::first_of(*query("SELECT name FROM Win32_Process WHERE ProcessId = 42"));
  std::vector<std::string> found;
  for (const wmi::Property& property : object->properties()) found.push_back(property.name);
  EXPECT_THAT(found, ElementsAre("Name", "Handle"));
  EXPECT_EQ(object->get("NAME"), Value("bash"));
  EXPECT_EQ(object->get("__PROPERTY_COUNT"), Value(std::int32_t{2}));
  EXPECT_EQ(object->get("__CLASS"), Value("Win32_Process"));
  EXPECT_EQ(failure([&] { static_cast<void>(object->get("ProcessId")); }),
            "80041002|SWbemObjectEx|Not found ");
}

TEST_F(ServiceTest, PropertiesComeWithWhatTheSchemaSays) {
  const auto all = wmi::first_of(*query("SELECT * FROM Win32_Process"))->properties();
  ASSERT_EQ(all.size(), 6U);
  EXPECT_EQ(all[0].description, "Image name.");
  EXPECT_TRUE(all[1].is_key);
  EXPECT_EQ(all[2].type, CimType::uint32);
  EXPECT_TRUE(all[5].is_array);
}

TEST_F(ServiceTest, SystemPropertiesDescribeObjectAndClass) {
  const auto object = wmi::first_of(*query("SELECT * FROM Win32_Process WHERE ProcessId = 42"));
  EXPECT_EQ(object->get("__CLASS"), Value("Win32_Process"));
  EXPECT_EQ(object->get("__Superclass"), Value("CIM_Process"));
  EXPECT_EQ(object->get("__DYNASTY"), Value("CIM_LogicalElement"));
  EXPECT_EQ(object->get("__DERIVATION"),
            Value(Value::Array{Value("CIM_Process"), Value("CIM_LogicalElement")}));
  EXPECT_EQ(object->get("__GENUS"), Value(std::int32_t{2}));
  EXPECT_EQ(object->get("__PROPERTY_COUNT"), Value(std::int32_t{6}));
  EXPECT_EQ(object->get("__SERVER"), Value("BOX"));
  EXPECT_EQ(object->get("__NAMESPACE"), Value(R"(root\CIMV2)"));
  EXPECT_EQ(object->get("__RELPATH"), Value(R"(Win32_Process.Handle="42")"));
  EXPECT_EQ(object->get("__PATH"), Value(R"(\\BOX\root\CIMV2:Win32_Process.Handle="42")"));
}

TEST_F(ServiceTest, ASuperclassAnswersWithTheClassesDerivedFromIt) {
  MemoryClass thread = process_class();
  thread.name = "Win32_Thread";
  thread.superclasses = {"CIM_LogicalElement"};
  thread.properties.push_back({"Priority", CimType::uint32});
  const auto threads = std::make_shared<MemoryProvider>(thread);
  threads->add({{"Name", "worker"}, {"Handle", "7"}, {"Priority", std::uint64_t{8}}});
  service.add(threads);

  EXPECT_THAT(column("SELECT * FROM CIM_Process", "__CLASS"),
              ElementsAre("Win32_Process", "Win32_Process", "Win32_Process"));
  EXPECT_THAT(column("SELECT * FROM CIM_LogicalElement", "Name"),
              ElementsAre("init", "bash", "Bash", "worker"));
  EXPECT_THAT(column("SELECT * FROM CIM_LogicalElement WHERE __CLASS='win32_thread'", "Name"),
              ElementsAre("worker"));
  EXPECT_THAT(column("SELECT * FROM CIM_LogicalElement WHERE __this ISA 'CIM_Process'", "Name"),
              ElementsAre("init", "bash", "Bash"));
  // A property that only some of the classes have is NULL in the others.
  EXPECT_THAT(column("SELECT * FROM CIM_LogicalElement WHERE Priority = 8", "Name"), ElementsAre("worker"));
  EXPECT_THAT(column("SELECT Name, Priority FROM CIM_LogicalElement WHERE Priority IS NULL", "Name"),
              ElementsAre("init", "bash", "Bash"));
  EXPECT_EQ(
      failure([&] { static_cast<void>(query("SELECT * FROM CIM_LogicalElement WHERE Zebra = 8")->count()); }),
      "80041017|SWbemObjectSet|Invalid query ");
}

TEST_F(ServiceTest, AClassThatTheConditionRulesOutIsNotAsked) {
  EXPECT_THAT(names("__CLASS='CIM_Process'"), IsEmpty());
  EXPECT_EQ(processes->enumerations(), 0U);
}

TEST_F(ServiceTest, AQueryAsksItsSourceOnceAtTheFirstAccess) {
  const auto set = query("SELECT * FROM Win32_Process");
  EXPECT_EQ(processes->enumerations(), 0U);
  EXPECT_EQ(set->count(), 3);
  processes->clear();
  EXPECT_EQ(set->count(), 3);
  EXPECT_NE(wmi::first_of(*set), nullptr);
  EXPECT_EQ(processes->enumerations(), 1U);
}

TEST_F(ServiceTest, WithoutTheFlagTheQueryRunsAtTheCall) {
  const auto set = query("SELECT * FROM Win32_Process", wmi::kReturnWhenComplete);
  EXPECT_EQ(processes->enumerations(), 1U);
  processes->clear();
  EXPECT_EQ(set->count(), 3);
}

TEST_F(ServiceTest, AForwardOnlySetCannotBeCountedAndIsWalkedOnce) {
  const auto set = query("SELECT * FROM Win32_Process", wmi::kReturnImmediately | wmi::kForwardOnly);
  EXPECT_EQ(failure([&] { static_cast<void>(set->count()); }), "80041001|SWbemObjectSet|Generic failure ");
  EXPECT_NE(wmi::first_of(*set), nullptr);
  EXPECT_EQ(failure([&] { static_cast<void>(set->enumerate()); }),
            "80041001|SWbemObjectSet|Generic failure ");
}

TEST_F(ServiceTest, ASetThatRanOutOfMemoryStillHasAnAnswer) {
  bool failed = true;
  for (int failing = 1; failed; ++failing) {
    const auto set = query("SELECT * FROM Win32_Process WHERE Name='bash'");
    const auto count = [&] { return failure([&] { EXPECT_EQ(set->count(), 2); }); };
    failing_allocation = failing;
    try {
      failed = count() != "no failure";
    } catch (const std::bad_alloc&) {
      failed = true;
    }
    failing_allocation = 0;
    const std::string again = count();
    EXPECT_TRUE(again == "no failure" || again == "80041006|SWbemObjectSet|Out of memory ") << again;
  }
}

TEST_F(ServiceTest, HandsTheProviderWhatNarrowsTheQuery) {
  const auto narrowed = [&](const std::string& where) {
    static_cast<void>(names(where));
    std::vector<std::string> result;
    for (const Equality& equality : processes->last_equalities()) {
      const auto* text = equality.constant.get_if<std::string>();
      const auto* number = equality.constant.get_if<std::uint64_t>();
      result.push_back(std::to_string(equality.column) + "=" + (text ? *text : std::to_string(*number)));
    }
    return result;
  };
  EXPECT_THAT(narrowed("Name='bash'"), ElementsAre("0=bash"));
  EXPECT_THAT(narrowed("Name='bash' AND WorkingSetSize > 5"), ElementsAre("0=bash"));
  EXPECT_THAT(narrowed("Name='a' OR ProcessId='7' OR Name='a'"),
              ::testing::UnorderedElementsAre("0=a", "2=7"));
  EXPECT_THAT(narrowed("Name='a' OR Name='A'"), ElementsAre("0=a"));
  EXPECT_THAT(narrowed("(Name='a' OR Name='b') AND ProcessId=7"), ElementsAre("2=7"));
  EXPECT_THAT(narrowed("Name='a' OR WorkingSetSize=7"), IsEmpty());
  EXPECT_THAT(narrowed("Handle='7'"), IsEmpty());
  EXPECT_THAT(narrowed("NOT Name='a'"), IsEmpty());
}

TEST_F(ServiceTest, TellsTheProviderWhichColumnsEveryRowNeeds) {
  static_cast<void>(names("Name='x' AND WorkingSetSize > 5"));
  EXPECT_THAT(processes->last_columns(), ElementsAre(0, 3));
  static_cast<void>(column("SELECT WorkingSetSize FROM Win32_Process WHERE ProcessId=1", "WorkingSetSize"));
  EXPECT_THAT(processes->last_columns(), ElementsAre(2));
}

// ---- failures and when they surface

TEST_F(ServiceTest, ArgumentsAreCheckedAtTheCall) {
  for (const std::int32_t flags : {wmi::kReturnImmediately, wmi::kReturnWhenComplete}) {
    const auto exec = [&](const std::string& text, const std::string& language) {
      return failure([&] { static_cast<void>(connect()->exec_query(text, language, flags)); });
    };
    EXPECT_EQ(exec("", "WQL"), "80041008|SWbemServicesEx|Invalid parameter ");
    EXPECT_EQ(exec("SELECT * FROM Win32_Process", ""), "80041008|SWbemServicesEx|Invalid parameter ");
    EXPECT_EQ(exec("SELECT * FROM Win32_Process", "SQL"), "80041018|SWbemServicesEx|Invalid query type ");
    EXPECT_EQ(exec("SELECT * FROM Win32_Process", "wql"), "no failure");
  }
  EXPECT_EQ(failure([&] { static_cast<void>(query("SELECT * FROM Win32_Process", 64)); }),
            "80041008|SWbemServicesEx|Invalid parameter ");
}

TEST_F(ServiceTest, RefusalsSurfaceAtTheCallOrWithFlag16AtTheFirstAccess) {
  struct Case {
    const char* text;
    const char* number;
    const char* description;
    std::size_t offset;
    const char* message;
    QueryDiagnostic::Fault fault = QueryDiagnostic::Fault::name;
  };
  for (const auto& [text, number, description, offset, message, fault] : {
           Case{"SELECT * FROM Win32_Process WHERE Name='it's'", "80041017", "Invalid query ", 43,
                R"(expected the end of the query, found 's'; inside of a text a quote is written \')",
                QueryDiagnostic::Fault::text},
           Case{"SELECT * FROM Win32_Process WHERE Name IS 1", "80041017", "Invalid query ", 42,
                "expected NULL, found '1'", QueryDiagnostic::Fault::text},
           Case{"SELECT * FROM Win32_Proces", "80041010", "Invalid class ", 14,
                "there is no class 'Win32_Proces'; nearest: Win32_Process"},
           Case{"SELECT Nmae FROM Win32_Process", "80041017", "Invalid query ", 7,
                "Win32_Process has no property 'Nmae'; nearest: Name"},
           Case{"SELECT Name.Length FROM Win32_Process", "80041017", "Invalid query ", 7,
                "Win32_Process has no property 'Name.Length'; nearest: Name"},
           Case{"SELECT * FROM Win32_Process WHERE Zebra=1", "80041017", "Invalid query ", 34,
                "Win32_Process has no property 'Zebra'; nearest: Name"},
           Case{"SELECT * FROM CIM_Process WHERE Nme='x'", "80041017", "Invalid query ", 32,
                "CIM_Process has no property 'Nme'; nearest: Name"},
           Case{"SELECT WorkingSetSiz FROM CIM_Process", "80041017", "Invalid query ", 7,
                "CIM_Process has no property 'WorkingSetSiz'; nearest: WorkingSetSize"},
           Case{"SELECT * FROM Win32_Process WHERE __this ISA 'Nix'", "80041010", "Invalid class ", 45,
                "there is no class 'Nix'; nearest: CIM_Process"},
           Case{"SELECT * FROM meta_class WHERE Name='x'", "80041017", "Invalid query ", 31,
                "meta_class has no property 'Name'; nearest: __NAMESPACE"},
       }) {
    const std::string parts = std::string(description);
    EXPECT_EQ(failure([&, text = text] { static_cast<void>(query(text, wmi::kReturnWhenComplete)); }),
              std::string(number) + "|SWbemServicesEx|" + parts);
    const auto set = query(text);
    EXPECT_EQ(failure([&] { static_cast<void>(set->count()); }),
              std::string(number) + "|SWbemObjectSet|" + parts);
    EXPECT_EQ(failure([&] { static_cast<void>(set->enumerate()); }),
              std::string(number) + "|SWbemObjectSet|" + parts);
    try {
      static_cast<void>(set->count());
      ADD_FAILURE() << text;
    } catch (const Error& error) {
      ASSERT_NE(error.query_diagnostic(), nullptr);
      EXPECT_EQ(error.query_diagnostic()->query, text);
      EXPECT_EQ(error.query_diagnostic()->offset, offset) << text;
      EXPECT_EQ(error.query_diagnostic()->message, message);
      EXPECT_EQ(error.query_diagnostic()->fault, fault) << text;
    }
  }
}

TEST_F(ServiceTest, LimitsAreOptions) {
  Service small({.limits = {.text_size = 100, .terms = 2, .depth = 1}});
  small.add(processes);
  const auto services = small.create_locator()->connect_server({});
  EXPECT_EQ(failure([&] {
              static_cast<void>(
                  services->exec_query("SELECT * FROM Win32_Process WHERE Name='a' OR Name='b' OR Name='c'",
                                       "WQL", wmi::kReturnWhenComplete));
            }),
            "8004106C|SWbemServicesEx|Quota violation ");
}

TEST_F(ServiceTest, AProviderThatCannotTellIsAnErrorAndNoEmptyList) {
  processes->fail_with(wmi::wmi_error(Status::provider_failure, wmi::source::kObjectSet));
  EXPECT_EQ(
      failure([&] { static_cast<void>(query("SELECT * FROM Win32_Process", wmi::kReturnWhenComplete)); }),
      "80041004|SWbemServicesEx|Provider failure ");
  const auto set = query("SELECT * FROM CIM_Process");
  EXPECT_EQ(failure([&] { static_cast<void>(set->count()); }), "80041004|SWbemObjectSet|Provider failure ");
  processes->fail_with(wmi::wmi_error(Status::access_denied, "SWbemObjectSet"));
  EXPECT_EQ(failure([&] { static_cast<void>(query("SELECT * FROM Win32_Process")->count()); }),
            "80041003|SWbemObjectSet|Access denied ");
  processes->fail_with(std::nullopt);
  EXPECT_EQ(query("SELECT * FROM Win32_Process")->count(), 3);
}

class ThrowingProvider final : public Provider {
 public:
  const cim::Class& schema() const override {
    static constexpr cim::Class kSchema{
        .name = "Test_Throwing", .superclasses = {}, .description = "", .properties = {}, .methods = {}};
    return kSchema;
  }
  void enumerate(const Request&, const RowSink&) override { throw std::runtime_error("no error of WMI"); }
};

TEST_F(ServiceTest, WhateverElseAProviderThrowsIsAProviderFailure) {
  service.add(std::make_shared<ThrowingProvider>());
  EXPECT_EQ(failure([&] { static_cast<void>(query("SELECT * FROM Test_Throwing")->count()); }),
            "80041004|SWbemObjectSet|Provider failure ");
}

// ---- schema queries

TEST_F(ServiceTest, SchemaQueriesAnswerClassObjects) {
  EXPECT_THAT(column("SELECT * FROM meta_class", "__CLASS"),
              ElementsAre("CIM_LogicalElement", "CIM_Process", "Win32_Process"));
  EXPECT_THAT(column("SELECT * FROM meta_class WHERE __Class = 'win32_PROCESS'", "__CLASS"),
              ElementsAre("Win32_Process"));
  EXPECT_THAT(column("SELECT * FROM meta_class WHERE __Class LIKE '%process'", "__CLASS"),
              ElementsAre("CIM_Process", "Win32_Process"));
  EXPECT_THAT(column("SELECT * FROM meta_class WHERE __this ISA 'CIM_Process'", "__CLASS"),
              ElementsAre("CIM_Process", "Win32_Process"));
  EXPECT_THAT(column("SELECT * FROM meta_class WHERE __Superclass = 'CIM_Process'", "__CLASS"),
              ElementsAre("Win32_Process"));
  EXPECT_THAT(column("SELECT * FROM meta_class WHERE __Superclass IS NULL", "__CLASS"),
              ElementsAre("CIM_LogicalElement"));
  EXPECT_EQ(query("SELECT * FROM meta_class WHERE __Class = 'Win32_Absent'")->count(), 0);
  EXPECT_EQ(connect(wmi::kDefault)->exec_query("SELECT * FROM meta_class")->count(), 0);
}

TEST_F(ServiceTest, AClassObjectListsItsProperties) {
  const auto object = wmi::first_of(*query("SELECT * FROM meta_class WHERE __Class = 'Win32_Process'"));
  ASSERT_TRUE(object);
  EXPECT_EQ(object->class_name(), "Win32_Process");
  const auto properties = object->properties();
  ASSERT_EQ(properties.size(), 6U);
  EXPECT_EQ(properties[2].name, "ProcessId");
  EXPECT_EQ(properties[2].type, CimType::uint32);
  EXPECT_EQ(properties[2].description, "Number of the process.");
  EXPECT_TRUE(properties[2].value.is_null());
  EXPECT_TRUE(object->get("ProcessId").is_null());
  EXPECT_EQ(object->get("__GENUS"), Value(std::int32_t{1}));
  EXPECT_EQ(object->get("__PATH"), Value(R"(\\BOX\root\CIMV2:Win32_Process)"));
  EXPECT_EQ(object->get("__RELPATH"), Value("Win32_Process"));
  EXPECT_EQ(failure([&] { static_cast<void>(object->get("Color")); }), "80041002|SWbemObjectEx|Not found ");
  EXPECT_EQ(failure([&] { object->call("Create", {}); }), "8004102E|SWbemObjectEx|Invalid method ");
}

// ---- methods

class MethodTest : public ServiceTest {
 protected:
  MethodTest() {
    MemoryClass definition = process_class();
    definition.name = "Test_Callable";
    definition.methods = {
        {.name = "Stop",
         .in = {{"Reason", CimType::uint32}, {"Force", CimType::boolean}},
         .call =
             [this](std::size_t number, std::span<const cim::Value> arguments) {
               called_row = number;
               called.assign(arguments.begin(), arguments.end());
               return return_code;
             }},
        {.name = "Fail", .in = {}, .call = [](std::size_t, std::span<const cim::Value>) -> std::uint32_t {
           throw wmi::wmi_error(Status::access_denied, wmi::source::kServices);
         }}};
    callable = std::make_shared<MemoryProvider>(definition);
    callable->add(process("one", 1));
    row = callable->add(process("two", 2));
    service.add(callable);
    object = wmi::first_of(*query("SELECT * FROM Test_Callable WHERE Name='two'"));
  }

  std::shared_ptr<MemoryProvider> callable;
  std::size_t row = 0;
  std::size_t called_row = 0;
  std::vector<cim::Value> called;
  std::uint32_t return_code = 0;
  std::shared_ptr<wmi::Object> object;
};

TEST_F(MethodTest, ArgumentsArriveTypedAndInOrder) {
  return_code = 0x80070005;
  EXPECT_EQ(object->call("stop", {{"FORCE", Value(true)}, {"Reason", Value("7")}}),
            static_cast<std::int32_t>(0x80070005));
  EXPECT_EQ(called_row, row);
  EXPECT_THAT(called, ElementsAre(cim::Value(std::uint64_t{7}), cim::Value(true)));
}

TEST_F(MethodTest, AnOmittedArgumentIsNull) {
  EXPECT_EQ(object->call("Stop", {{"Force", Value(false)}}), 0);
  EXPECT_THAT(called, ElementsAre(cim::Value(), cim::Value(false)));
}

TEST_F(MethodTest, RefusesUnknownMethodsAndArgumentsThatDoNotFit) {
  EXPECT_EQ(failure([&] { object->call("Start", {}); }), "8004102E|SWbemObjectEx|Invalid method ");
  const char* wrong = "8004102F|SWbemObjectEx|Invalid method Parameter(s) ";
  EXPECT_EQ(failure([&] { object->call("Stop", {{"When", Value("now")}}); }), wrong);
  EXPECT_EQ(failure([&] { object->call("Stop", {{"Reason", Value("x")}}); }), wrong);
  EXPECT_EQ(failure([&] { object->call("Stop", {{"Reason", Value("1")}, {"reason", Value("2")}}); }), wrong);
  const Value array(Value::Array{Value(std::int32_t{2})});
  EXPECT_EQ(failure([&] { object->call("Stop", {{"Reason", array}}); }), wrong);
  EXPECT_EQ(failure([&] { object->call("Stop", {{"Force", Value(Value::Array())}}); }), wrong);
  EXPECT_TRUE(called.empty());
}

TEST_F(MethodTest, AFailingMethodRaisesFromTheObject) {
  EXPECT_EQ(failure([&] { object->call("Fail", {}); }), "80041003|SWbemObjectEx|Access denied ");
}

TEST_F(MethodTest, AProjectedObjectCanBeCalledToo) {
  EXPECT_EQ(wmi::first_of(*query("SELECT Name FROM Test_Callable"))->call("Stop", {}), 0);
  EXPECT_EQ(called_row, row - 1);
}

TEST_F(MethodTest, ObjectsOutliveSetConnectionClassAndService) {
  auto brief = std::make_unique<Service>();
  brief->add(std::make_shared<MemoryProvider>(process_class()));
  auto provider = std::make_shared<MemoryProvider>(process_class());
  provider->add(process("kept", 5));
  brief->add(provider);
  provider.reset();
  const auto kept =
      wmi::first_of(*brief->create_locator()->connect_server({})->exec_query("SELECT * FROM Win32_Process"));
  brief.reset();
  EXPECT_EQ(kept->get("Name"), Value("kept"));
  EXPECT_EQ(kept->properties().size(), 6U);
}

// ---- changes while the service runs

TEST_F(ServiceTest, AClassCanBeAddedReplacedAndRemoved) {
  const auto connection = connect();
  const auto lazily = connection->exec_query("SELECT * FROM Win32_Thread");
  MemoryClass thread = process_class();
  thread.name = "Win32_Thread";
  service.add(std::make_shared<MemoryProvider>(thread));
  EXPECT_EQ(lazily->count(), 0);
  const auto replacement = std::make_shared<MemoryProvider>(thread);
  replacement->add(process("t", 1));
  service.add(replacement);
  EXPECT_EQ(connection->exec_query("SELECT * FROM Win32_Thread")->count(), 1);
  service.remove("ROOT/CIMV2", "win32_thread");
  EXPECT_EQ(
      failure([&] { static_cast<void>(connection->exec_query("SELECT * FROM Win32_Thread")->count()); }),
      "80041010|SWbemObjectSet|Invalid class ");
  service.remove("root\\absent", "Win32_Thread");
}

TEST_F(ServiceTest, ServesManyThreadsWhileRowsAndClassesChange) {
  std::atomic<int> answered = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        const auto set = query("SELECT * FROM CIM_Process WHERE Name='bash' OR ProcessId=1");
        const auto walk = set->enumerate();
        while (const auto object = walk->next())
          answered += static_cast<int>(!object->get("__PATH").is_null());
      }
    });
  }
  for (int round = 0; round < 200; ++round) {
    const std::size_t row = processes->add(process("bash", 100));
    processes->set(row, "Name", "sh");
    processes->remove(row);
    MemoryClass extra = process_class();
    extra.name = "Win32_Extra";
    service.add(std::make_shared<MemoryProvider>(extra));
    service.remove(wmi::kCimv2, "Win32_Extra");
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(answered, 4 * 200 * 3);
}

// ---- event queries are handed on

class RecordingNotifier final : public Notifier {
 public:
  void subscribe(const NotificationRequest& request) override {
    queries.push_back(request.query);
    static_cast<void>(wql::parse_event_query(request.query, request.limits));
    location = request.location;
    catalog = request.catalog;
  }
  std::vector<std::string> queries;
  cim::Location location;
  std::shared_ptr<const Catalog> catalog;
};

class NoSink final : public wmi::Sink {};

TEST_F(ServiceTest, EventQueriesGoToTheNotifier) {
  const auto sink = std::make_shared<NoSink>();
  const auto subscribe = [&](const std::string& text, const std::string& language = "WQL",
                             std::shared_ptr<wmi::Sink> to = nullptr) {
    return failure(
        [&] { connect()->exec_notification_query_async(to ? to : sink, text, language, 0, nullptr, {}); });
  };
  EXPECT_EQ(subscribe("SELECT * FROM E"), "8004100C|SWbemServicesEx|Not supported ");
  const auto notifier = std::make_shared<RecordingNotifier>();
  service.set_notifier(notifier);
  EXPECT_EQ(subscribe("SELECT * FROM E WITHIN 5"), "no failure");
  EXPECT_THAT(notifier->queries, ElementsAre("SELECT * FROM E WITHIN 5"));
  EXPECT_EQ(notifier->location.name_space, R"(root\CIMV2)");
  EXPECT_TRUE(notifier->catalog->knows("Win32_Process"));
  EXPECT_EQ(subscribe("SELECT * FROM E WITHIN -5"), "80041058|SWbemServicesEx|Unparsable query. ");
  EXPECT_EQ(subscribe(""), "80041008|SWbemServicesEx|Invalid parameter ");
  EXPECT_EQ(subscribe("SELECT * FROM E", "SQL"), "80041018|SWbemServicesEx|Invalid query type ");
  EXPECT_EQ(failure([&] {
              connect()->exec_notification_query_async(nullptr, "SELECT * FROM E", "WQL", 0, nullptr, {});
            }),
            "80041008|SWbemServicesEx|Invalid parameter ");
}

}  // namespace
}  // namespace kvwmi::embedded
