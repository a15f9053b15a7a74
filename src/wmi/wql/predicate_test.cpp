#include "wmi/wql/predicate.h"

#include <gtest/gtest.h>

#include <map>

#include "frame/text.h"
#include "wmi/cim/instance.h"
#include "wmi/wql/class_scope.h"
#include "wmi/wql/query_error.h"

namespace kvwmi::wql {
namespace {

using cim::CimType;
using cim::Cost;
using cim::kArray;
using cim::kKey;
using cim::kNarrows;
using cim::kPlain;
using wmi::Status;

constexpr std::string_view kBases[] = {"CIM_Process", "CIM_ManagedSystemElement"};

constexpr cim::Property kProperties[] = {
    {"Name", CimType::string, kNarrows, Cost::read, "", nullptr},
    {"Id", CimType::uint32, kKey | kNarrows, Cost::free, "", nullptr},
    {"Size", CimType::uint64, kPlain, Cost::read, "", nullptr},
    {"Delta", CimType::sint64, kNarrows, Cost::free, "", nullptr},
    {"Ratio", CimType::real32, kPlain, Cost::free, "", nullptr},
    {"Load", CimType::real64, kPlain, Cost::free, "", nullptr},
    {"Primary", CimType::boolean, kNarrows, Cost::free, "", nullptr},
    {"Started", CimType::datetime, kPlain, Cost::free, "", nullptr},
    {"Group", CimType::reference, kNarrows, Cost::free, "", nullptr},
    {"Roles", CimType::string, kArray, Cost::free, "", nullptr},
    {"Parent", CimType::object, kPlain, Cost::slow, "", nullptr},
    {"Nothing", CimType::string, kPlain, Cost::free, "", nullptr},
};
constexpr cim::Class kProcess{.name = "Test_Process",
                              .superclasses = kBases,
                              .description = "",
                              .properties = kProperties,
                              .methods = {}};

class TestClasses final : public Classes {
 public:
  std::vector<std::string_view> names() const override {
    return {"Test_Process",    "CIM_Process",   "CIM_ManagedSystemElement",
            "Win32_Directory", "CIM_Directory", "CIM_DataFile"};
  }
  bool knows(std::string_view name) const override {
    const auto all = names();
    return std::any_of(all.begin(), all.end(), [&](auto other) { return equals_ignoring_case(name, other); });
  }
  std::vector<std::string> family(std::string_view name) const override {
    if (equals_ignoring_case(name, "Win32_Directory") || equals_ignoring_case(name, "CIM_Directory")) {
      return {"Win32_Directory", "CIM_Directory"};
    }
    return {std::string(name)};
  }
};

class PredicateTest : public testing::Test {
 protected:
  PredicateTest() {
    row_.set(0, "bash");
    row_.set(1, std::uint64_t{42});
    row_.set(2, std::uint64_t{5'000'000'000});
    row_.set(3, std::int64_t{-7});
    row_.set(4, double{0.1F});
    row_.set(5, 2.5);
    row_.set(6, true);
    row_.set(7, "20261120105237.000000+060");
    row_.set(8, R"(\\BOX\root\cimv2:Win32_Directory.Name="c:\\scripts")");
    row_.set(9, cim::Value::Array{cim::Value("a")});
    auto parent = std::make_shared<cim::Instance>(kProcess);
    parent->set(0, "init");
    parent->set(1, std::uint64_t{1});
    row_.set(10, std::shared_ptr<cim::Instance>(parent));
  }

  Predicate compile(const std::string& where) {
    const Query query = parse_query("SELECT * FROM Test_Process WHERE " + where);
    return Predicate(*query.where, scope_);
  }
  Truth ask(const std::string& where) {
    InstanceRow row(row_, location_);
    return compile(where).evaluate(row);
  }
  void expect(Truth wanted, std::initializer_list<const char*> conditions) {
    for (const char* where : conditions) EXPECT_EQ(ask(where), wanted) << where;
  }
  struct Refusal {
    Status status;
    std::size_t offset;
    std::string message;
  };
  Refusal refusal(const std::string& where) {
    try {
      static_cast<void>(compile(where));
    } catch (const QueryError& error) {
      return {error.status(), error.offset() - 33, error.message()};
    }
    return {};
  }

  cim::Instance row_{kProcess};
  cim::Location location_{"BOX", R"(root\cimv2)"};
  TestClasses classes_;
  ClassScope scope_{kProcess, location_, classes_};
};

constexpr Truth kYes = Truth::yes;
constexpr Truth kNo = Truth::no;
constexpr Truth kUnknown = Truth::unknown;

TEST_F(PredicateTest, TextComparesInAnyCase) {
  expect(kYes, {"Name = 'BASH'", "name='bash'", "Name > 'bar'", "Name < 'BAT'", "Name >= 'Bash'",
                "Name <> 'zsh'", "'zsh' > Name"});
  expect(kNo, {"Name = 'bas'", "Name = 'bash '", "Name = ''", "Name <> 'Bash'", "Name < 'bash'"});
}

TEST_F(PredicateTest, ANumberAgainstTextComparesAsItIsWritten) {
  row_.set(0, "0042");
  expect(kYes, {"Name = 0042", "Name <> 42"});
}

TEST_F(PredicateTest, IntegersCompareByValue) {
  expect(kYes, {"Id = 42", "Id = '42'", "Id = 0x2A", "Id = 42.0", "Id < 42.5", "Id > 41.5", "Id <> -1",
                "Id > -1", "Size > 4294967296", "Size = 5000000000", "Size = '5000000000'",
                "Size < 18446744073709551615", "Delta = -7", "Delta < 0", "Delta > -7.5",
                "Delta < 18446744073709551615", "Delta <> 18446744073709551609", "Id < 1e30", "Id > -1e30"});
  expect(kNo, {"Id = 41", "Id = 42.5", "Id = -1", "Id = 4294967338", "Delta = 7", "Delta > 0"});
}

TEST_F(PredicateTest, ARealConstantMeetsALargeIntegerExactly) {
  row_.set(2, std::uint64_t{9'007'199'254'740'993});  // 2^53 + 1: no double holds it
  expect(kYes, {"Size > 9007199254740992.0", "Size = 9007199254740993", "Size < 9007199254740994.0"});
  expect(kNo, {"Size = 9007199254740992.0"});
}

TEST_F(PredicateTest, RealsCompareByValueAndAReal32EqualsItsConstant) {
  expect(kYes, {"Ratio = 0.1", "Ratio < 1", "Load = 2.5", "Load = '2.5'", "Load > 2", "Load <> 3"});
}

TEST_F(PredicateTest, BooleansTakeEverySpelling) {
  expect(kYes, {"Primary = TRUE", "Primary=true", "Primary = 1", "Primary = -1", "Primary = 'True'",
                "Primary = \"TRUE\"", "Primary = '1'", "Primary <> FALSE", "Primary != 0", "TRUE = Primary",
                "Primary <> 'false'"});
  expect(kNo, {"Primary = FALSE", "Primary = 0", "Primary <> -1"});
}

TEST_F(PredicateTest, DatetimesCompareAsPointsInTime) {
  expect(kYes, {"Started = '20261120105237.000000+060'", "Started = '20261120095237.000000+000'",
                "Started > '20261120095236.999999+000'", "Started > '2026-11-20 10:52:36'",
                "Started < 'Nov 21 2026'", "Started > '11/20/2026'", "Started < '11:00 AM'",
                "Started LIKE '20261120%'"});
  expect(kNo, {"Started = '20261120105237.000000+000'", "Started < '20261120095237.000000+000'"});
  expect(kUnknown, {"Started > '00000001000000.000000:000'"});
}

TEST_F(PredicateTest, AsterisksInADatetimeAreCharactersAndNoWildcards) {
  expect(kNo, {"Started = '20261120******.******+060'"});
  expect(kYes, {"Started <> '20261120******.******+060'"});
  row_.set(7, "20261120******.******+060");
  expect(kYes, {"Started = '20261120******.******+060'", "Started <> '20261120105237.000000+060'"});
  expect(kUnknown, {"Started > '20261120105237.000000+060'"});
}

TEST_F(PredicateTest, ReferencesCompareAsPaths) {
  expect(kYes,
         {R"(Group = 'Win32_Directory.Name="c:\\\\scripts"')",
          R"(Group = "WIN32_DIRECTORY.name='C:\\\\Scripts'")",
          R"(Group = '\\\\.\\root\\cimv2:Win32_Directory.Name="c:\\\\scripts"')",
          R"(Group = 'CIM_Directory="c:\\\\scripts"')", R"(Group <> 'CIM_DataFile.Name="c:\\\\scripts"')"});
  expect(kNo, {R"(Group = 'Win32_Directory.Name="c:\\\\other"')",
               R"(Group = 'CIM_DataFile.Name="c:\\\\scripts"')"});
}

TEST_F(PredicateTest, LikeMatchesTextOnly) {
  expect(kYes, {"Name LIKE 'b%'", "Name LIKE 'B_S[a-h]'", "Name LIKE 'bash'", "NOT Name LIKE 'z%'"});
  expect(kNo, {"Name LIKE 'z%'", "Name LIKE 'bas'"});
}

TEST_F(PredicateTest, IsaFollowsDerivation) {
  expect(kYes,
         {"__this ISA 'Test_Process'", "__this ISA CIM_Process", "Parent ISA \"cim_managedsystemelement\""});
  expect(kNo, {"__this ISA 'CIM_DataFile'", "Parent ISA 'CIM_DataFile'"});
  row_.set(10, cim::Value());
  expect(kUnknown, {"Parent ISA 'Test_Process'"});
}

TEST_F(PredicateTest, SystemPropertiesCanBeAsked) {
  expect(kYes, {"__CLASS = 'test_process'", "__Superclass = 'CIM_Process'",
                "__DYNASTY = 'CIM_ManagedSystemElement'", "__GENUS = 2", "__SERVER = 'box'",
                R"(__NAMESPACE = 'root\\CIMV2')", "__PROPERTY_COUNT = 12", "__RELPATH = 'Test_Process.Id=42'",
                "__RELPATH LIKE '%=42'", R"(__PATH = '\\\\box\\root\\cimv2:Test_Process.Id=42')",
                "__CLASS LIKE 'Test%'"});
  expect(kNo, {"__CLASS = 'CIM_Process'", "__PATH = 'Test_Process.Id=43'"});
}

TEST_F(PredicateTest, DottedNamesReachIntoEmbeddedObjects) {
  expect(kYes, {"Parent.Name = 'init'", "Parent.Id < 2", "Parent.Nothing IS NULL", "Parent.Name LIKE 'i%'",
                "Parent.Name IS NOT NULL"});
  expect(kNo, {"Parent.Name = 'bash'", "Parent.Id IS NULL"});
  // An invalid dotted path is no error and selects nothing.
  expect(kUnknown, {"Parent.Missing = 5", "Parent.Id = 'x'", "Parent.Name.More = 5", "Name.Length = 4",
                    "NOT Name.Length = 4", "Parent.Parent.Name = 'x'", "Name.Length IS NULL"});
}

TEST_F(PredicateTest, EveryComparisonWithNullIsUnknown) {
  expect(kUnknown, {"Nothing = 'x'", "Nothing <> 'x'", "Nothing < 'x'", "Nothing >= ''", "Nothing LIKE '%'",
                    "NOT Nothing = 'x'", "NOT Nothing LIKE '%'"});
  expect(kYes, {"Nothing IS NULL", "Nothing = NULL", "NULL = Nothing", "Name IS NOT NULL", "Name <> NULL",
                "NOT Name IS NULL", "Roles IS NOT NULL"});
  expect(kNo, {"Name IS NULL", "Nothing IS NOT NULL"});
  row_.set(0, "");
  row_.set(1, std::uint64_t{0});
  expect(kNo, {"Name IS NULL", "Id IS NULL"});  // NULL is neither "" nor 0
}

TEST_F(PredicateTest, AndOrAndNotFollowThreeValuedTruth) {
  const std::map<Truth, std::string> terms{{kYes, "Id = 42"}, {kUnknown, "Nothing = 'x'"}, {kNo, "Id = 0"}};
  for (const auto& [a, left] : terms) {
    EXPECT_EQ(ask("NOT " + left), a == kYes ? kNo : a == kNo ? kYes : kUnknown) << left;
    for (const auto& [b, right] : terms) {
      EXPECT_EQ(ask(left + " AND " + right), std::min(a, b)) << left << " and " << right;
      EXPECT_EQ(ask(left + " OR " + right), std::max(a, b)) << left << " or " << right;
    }
  }
}

TEST_F(PredicateTest, PrecedenceShowsInTheAnswer) {
  expect(kYes, {"Id = 42 OR Id = 42 AND Id = 0", "NOT Id = 0 AND Id = 42"});
  expect(kNo, {"(Id = 42 OR Id = 42) AND Id = 0", "NOT (Id = 0 OR Id = 42)"});
}

TEST_F(PredicateTest, ManyEqualitiesWithOnePropertyAreOneLookUp) {
  const Predicate many = compile("Id=1 OR Id=2 OR Name='zsh' OR Id=42 OR Id=5 OR Id=-1 OR Id=42");
  InstanceRow row(row_, location_);
  EXPECT_EQ(many.evaluate(row), kYes);
  expect(kNo, {"Id=1 OR Id=2 OR Id=3 OR Id=4 OR Id=-1"});
  row_.set(1, cim::Value());
  expect(kUnknown, {"Id=1 OR Id=2 OR Id=3 OR Id=4"});
}

TEST_F(PredicateTest, RefusesWhatDoesNotFitTheClass) {
  struct Case {
    const char* where;
    Status status;
    std::size_t offset;
    const char* message;
  };
  for (const auto& [where, status, offset, message] : {
           Case{"Nmae = 'x'", Status::invalid_query, 0, "Test_Process has no property 'Nmae'; nearest: Name"},
           Case{"Id = 1 AND Zebra = 'x'", Status::invalid_query, 11,
                "Test_Process has no property 'Zebra'; nearest: Delta"},
           Case{"Zebra.Name = 'x'", Status::invalid_query, 0,
                "Test_Process has no property 'Zebra.Name'; nearest: Delta"},
           Case{"Id = 'abc'", Status::invalid_query, 5, "'abc' is no value for Id (uint32)"},
           Case{"Id = ''", Status::invalid_query, 5, "'' is no value for Id (uint32)"},
           Case{"Id = TRUE", Status::invalid_query, 5, "TRUE is no value for Id (uint32)"},
           Case{"Load = 'x'", Status::invalid_query, 7, "'x' is no value for Load (real64)"},
           Case{"Primary = 2", Status::invalid_query, 10, "2 is no value for Primary (boolean)"},
           Case{"Primary = 'yes'", Status::invalid_query, 10, "'yes' is no value for Primary (boolean)"},
           Case{"Primary > FALSE", Status::invalid_query, 0,
                "Primary is a boolean, which compares with = and <> only"},
           Case{"Name = TRUE", Status::invalid_query, 7, "TRUE is no value for Name (string)"},
           Case{"Started = 'soon'", Status::invalid_query, 10, "'soon' is no value for Started (datetime)"},
           Case{"Started = 5", Status::invalid_query, 10, "5 is no value for Started (datetime)"},
           Case{"Started < '20261120******.******+060'", Status::invalid_query, 10,
                "'20261120******.******+060' is no value for Started (datetime)"},
           Case{"Group = 'C = \"v\"'", Status::invalid_query, 8, "'C = \"v\"' is no value for Group (ref)"},
           Case{"Group > 'C=1'", Status::invalid_query, 0,
                "Group is a reference, which compares with = and <> only"},
           Case{"Roles = 'a'", Status::invalid_query, 0,
                "Roles is an array, of which only IS NULL can be asked"},
           Case{"Parent = 'a'", Status::invalid_query, 0,
                "Parent is an object, of which only ISA and IS NULL can be asked"},
           Case{"Id LIKE '4%'", Status::invalid_query, 0, "LIKE is for text, Id is of type uint32"},
           Case{"Name LIKE '[a'", Status::invalid_query, 10,
                "a bracket is not closed; the character itself is written [[]"},
           Case{"Name ISA 'CIM_Process'", Status::invalid_query, 0,
                "ISA is for objects, Name is of type string"},
           Case{"__this ISA 'CIM_Proces'", Status::invalid_class, 11,
                "there is no class 'CIM_Proces'; nearest: CIM_Process"},
           Case{"Parent.Parent ISA 'Zebra'", Status::invalid_class, 18,
                "there is no class 'Zebra'; nearest: Test_Process"},
           // A part that cannot matter is checked all the same.
           Case{"__CLASS = 'x' AND Zebra = 1", Status::invalid_query, 18,
                "Test_Process has no property 'Zebra'; nearest: Delta"},
       }) {
    const Refusal refused = refusal(where);
    EXPECT_EQ(refused.status, status) << where;
    EXPECT_EQ(refused.offset, offset) << where;
    EXPECT_EQ(refused.message, message) << where;
  }
}

TEST_F(PredicateTest, TellsWhenNoRowMatters) {
  EXPECT_EQ(compile("__CLASS = 'CIM_Process'").constant(), kNo);
  EXPECT_EQ(compile("__this ISA 'CIM_Process'").constant(), kYes);
  EXPECT_EQ(compile("__CLASS = 'x' AND Name = 'bash'").constant(), kNo);
  EXPECT_EQ(compile("__CLASS = 'test_process' OR Name = 'bash'").constant(), kYes);
  EXPECT_EQ(compile("NOT __CLASS = 'x'").constant(), kYes);
  EXPECT_EQ(compile("__CLASS = 'test_process' AND Name = 'bash'").constant(), std::nullopt);
  EXPECT_EQ(Predicate().constant(), kYes);
}

TEST_F(PredicateTest, ListsTheSlotsThatItReads) {
  EXPECT_EQ(compile("Name = 'x' AND (Id = 5 OR Name = 'y')").slots(), (std::vector<std::size_t>{0, 1}));
  EXPECT_EQ(compile("Parent.Name = 'x'").slots(), (std::vector<std::size_t>{10}));
  EXPECT_TRUE(compile("__CLASS = 'x'").slots().empty());
}

TEST_F(PredicateTest, GivesEqualitiesOfWhichAMatchingRowSatisfiesOne) {
  const auto accepts = [](std::size_t slot) {
    return slot < std::size(kProperties) && kProperties[slot].narrows();
  };
  const auto of = [&](const char* where) -> std::string {
    const auto equalities = compile(where).equalities(accepts);
    if (!equalities) return "nothing";
    std::string text;
    for (const auto& [slot, constant] : *equalities) {
      text += std::string(kProperties[slot].name) + "=";
      if (const auto* name = constant.get_if<std::string>()) text += *name;
      if (const auto* id = constant.get_if<std::uint64_t>()) text += std::to_string(*id) + "u";
      if (const auto* id = constant.get_if<std::int64_t>()) text += std::to_string(*id);
      if (const auto* flag = constant.get_if<bool>()) text += *flag ? "true" : "false";
      text += " ";
    }
    return text;
  };
  EXPECT_EQ(of("Name = 'a'"), "Name=a ");
  EXPECT_EQ(of("'a' = Name"), "Name=a ");
  EXPECT_EQ(of("Name LIKE 'a'"), "Name=a ");
  EXPECT_EQ(of("Name LIKE 'a%'"), "nothing");
  EXPECT_EQ(of("Name <> 'a'"), "nothing");
  EXPECT_EQ(of("NOT Name = 'a'"), "nothing");
  EXPECT_EQ(of("Id = '7'"), "Id=7u ");
  EXPECT_EQ(of("Id = -7"), "nothing");
  EXPECT_EQ(of("Delta = -7"), "Delta=-7 ");
  EXPECT_EQ(of("Delta = 18446744073709551615"), "nothing");
  EXPECT_EQ(of("Primary <> 1"), "Primary=false ");
  EXPECT_EQ(of("Size = 7"), "nothing");
  EXPECT_EQ(of("Name = 'a' AND Size = 7"), "Name=a ");
  EXPECT_EQ(of("(Name = 'a' OR Name = 'b') AND Id = 7"), "Id=7u ");
  EXPECT_EQ(of("Name = 'a' OR Id = 7"), "Id=7u Name=a ");
  EXPECT_EQ(of("Name = 'a' OR Size = 7"), "nothing");
  EXPECT_EQ(of("(Name = 'a' OR Size = 7) AND Id = 1"), "Id=1u ");
  EXPECT_EQ(of("Name='_Total' OR Id=1 OR Id=2 OR Id=3 OR Id=4"), "Id=1u Id=2u Id=3u Id=4u Name=_Total ");
  EXPECT_EQ(of("__CLASS = 'Test_Process' AND Name = 'a'"), "Name=a ");
  EXPECT_EQ(of("__CLASS = 'Other' OR Name = 'a'"), "Name=a ");
}

/// Counts what is read of it.
class CountingRow final : public Row {
 public:
  explicit CountingRow(cim::Instance& instance) : instance_(instance) {}
  const cim::Value& value(std::size_t slot) override {
    ++reads[slot];
    return instance_.get(slot);
  }
  std::map<std::size_t, int> reads;

 private:
  cim::Instance& instance_;
};

TEST_F(PredicateTest, ReadsWhatIsCheapFirstAndStopsWhenItKnows) {
  CountingRow row(row_);
  EXPECT_EQ(compile("Name = 'bash' AND Id = 0").evaluate(row), kNo);
  EXPECT_EQ(row.reads, (std::map<std::size_t, int>{{1, 1}}));
}

// The same through another scope than a class's: an event with an instance before and one after.
class EventScope final : public Scope {
 public:
  explicit EventScope(const Classes& classes) : classes_(classes) {}
  std::optional<Binding> find(std::string_view name) const override {
    if (equals_ignoring_case(name, "TargetInstance"))
      return Binding{.type = CimType::object, .known_class = &kProcess};
    const bool target = name.starts_with("TargetInstance.");
    if (!target && !name.starts_with("PreviousInstance.")) return std::nullopt;
    const auto column = kProcess.find_property(name.substr(name.find('.') + 1));
    if (!column) return std::nullopt;
    return Binding{.slot = *column + (target ? 0 : 100), .type = kProperties[*column].type};
  }
  std::string_view title() const override { return "__InstanceModificationEvent"; }
  std::vector<std::string_view> names() const override { return {"TargetInstance", "PreviousInstance"}; }
  const Classes& classes() const override { return classes_; }

 private:
  const Classes& classes_;
};

class EventRow final : public Row {
 public:
  EventRow(cim::Instance& target, cim::Instance& previous) : target_(target), previous_(previous) {}
  const cim::Value& value(std::size_t slot) override {
    return slot < 100 ? target_.get(slot) : previous_.get(slot - 100);
  }

 private:
  cim::Instance& target_;
  cim::Instance& previous_;
};

TEST_F(PredicateTest, WorksOnAnyScope) {
  cim::Instance before(kProcess);
  before.set(0, "sh");
  EventRow row(row_, before);
  const Query query = parse_event_query(
      "SELECT * FROM __InstanceModificationEvent WITHIN 5 WHERE TargetInstance ISA 'CIM_Process'"
      " AND PreviousInstance.Name<>'bash' AND TargetInstance.Name='bash'");
  const Predicate predicate(*query.where, EventScope(classes_));
  EXPECT_EQ(predicate.evaluate(row), kYes);
  before.set(0, "bash");
  EXPECT_EQ(predicate.evaluate(row), kNo);
}

TEST_F(PredicateTest, AClassObjectIsAskedByItsSystemProperties) {
  const ClassScope scope(kProcess, location_, classes_, Genus::class_object);
  const auto answer = [&](const std::string& where) {
    const Query query = parse_query("SELECT * FROM meta_class WHERE " + where);
    return Predicate(*query.where, scope).constant();
  };
  EXPECT_EQ(answer("__Class = 'Test_Process'"), kYes);
  EXPECT_EQ(answer("__Class LIKE '%proc%'"), kYes);
  EXPECT_EQ(answer("__Superclass = 'cim_process'"), kYes);
  EXPECT_EQ(answer("__Superclass IS NULL"), kNo);
  EXPECT_EQ(answer("__Dynasty = 'CIM_ManagedSystemElement'"), kYes);
  EXPECT_EQ(answer("__this ISA 'CIM_Process'"), kYes);
  EXPECT_EQ(answer("NOT __class < \"Win32\" AND NOT __this ISA \"CIM_Process\""), kNo);
  EXPECT_EQ(answer("__GENUS = 1"), kYes);
  EXPECT_EQ(answer("__RELPATH = 'Test_Process'"), kYes);
  EXPECT_THROW(static_cast<void>(answer("Name = 'x'")), QueryError);
}

}  // namespace
}  // namespace kvwmi::wql
