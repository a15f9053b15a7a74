#include <gtest/gtest.h>

#include "frame/wmi_status.h"
#include "wmi/wql/query.h"
#include "wmi/wql/query_error.h"

namespace kvwmi::wql {
namespace {

using wmi::Status;

std::string condition(const std::string& where) {
  const Query query = parse_query("SELECT * FROM C WHERE " + where);
  return query.where ? to_text(*query.where) : "";
}

struct Refusal {
  Status status{};
  std::size_t offset = 0;
  std::string message;
  friend bool operator==(const Refusal&, const Refusal&) = default;
};

std::ostream& operator<<(std::ostream& out, const Refusal& refusal) {
  return out << std::hex << static_cast<std::uint32_t>(refusal.status) << std::dec << " at " << refusal.offset
             << ": " << refusal.message;
}

template <typename Parse>
Refusal refusal_of(Parse parse) {
  try {
    static_cast<void>(parse());
  } catch (const QueryError& error) {
    return {error.status(), error.offset(), error.message()};
  }
  return {};
}

Refusal refusal(const std::string& text, const Limits& limits = {}) {
  return refusal_of([&] { return parse_query(text, limits); });
}

Refusal event_refusal(const std::string& text) {
  return refusal_of([&] { return parse_event_query(text); });
}

TEST(Parser, TakesProjectionClassAndCondition) {
  const Query query = parse_query("select Name, __CLASS ,ProcessId from Win32_Process where Name='bash'");
  ASSERT_EQ(query.columns.size(), 3U);
  EXPECT_EQ(query.columns[1].text, "__CLASS");
  EXPECT_EQ(query.columns[2].offset, 22U);
  EXPECT_EQ(query.class_name.text, "Win32_Process");
  EXPECT_EQ(query.kind, Query::Kind::data);
  EXPECT_EQ(to_text(*query.where), "(= Name 'bash')");
  EXPECT_TRUE(parse_query("SELECT * FROM C").columns.empty());
  EXPECT_FALSE(parse_query("SELECT * FROM C").where);
}

TEST(Parser, AnyBlankSeparatesAndNamesMayBeOfAnyScript) {
  const Query query = parse_query("SELECT\na\r,\tgröße\r\nFROM\tb\n");
  EXPECT_EQ(query.columns[0].text, "a");
  EXPECT_EQ(query.columns[1].text, "größe");
  EXPECT_EQ(query.class_name.text, "b");
}

TEST(Parser, OneSemicolonMayEndAQuery) {
  EXPECT_NO_THROW(static_cast<void>(parse_query("SELECT * FROM C;")));
  EXPECT_EQ(refusal("SELECT * FROM C;;"),
            (Refusal{Status::invalid_query, 16, "expected the end of the query, found ';'"}));
}

TEST(Parser, BindsNotBeforeAndBeforeOr) {
  EXPECT_EQ(condition("a=1 OR b=2 AND c=3"), "(or (= a 1) (and (= b 2) (= c 3)))");
  EXPECT_EQ(condition("a=1 AND b=2 OR c=3 AND d=4"), "(or (and (= a 1) (= b 2)) (and (= c 3) (= d 4)))");
  EXPECT_EQ(condition("(a=1 OR b=2) AND c=3"), "(and (or (= a 1) (= b 2)) (= c 3))");
  EXPECT_EQ(condition("NOT a=1 AND b=2"), "(and (not (= a 1)) (= b 2))");
  EXPECT_EQ(condition("NOT (a=1 AND b=2) OR c=3"), "(or (not (and (= a 1) (= b 2))) (= c 3))");
  EXPECT_EQ(condition("NOT NOT a=1"), "(not (not (= a 1)))");
  EXPECT_EQ(condition("a=1 AND b=2 AND c=3"), "(and (= a 1) (= b 2) (= c 3))");
  EXPECT_EQ(condition("((((a=1))))"), "(= a 1)");
}

TEST(Parser, TakesEveryOperator) {
  EXPECT_EQ(condition("a=1"), "(= a 1)");
  EXPECT_EQ(condition("a<>1"), "(<> a 1)");
  EXPECT_EQ(condition("a!=1"), "(<> a 1)");
  EXPECT_EQ(condition("a<1"), "(< a 1)");
  EXPECT_EQ(condition("a<=1"), "(<= a 1)");
  EXPECT_EQ(condition("a>1"), "(> a 1)");
  EXPECT_EQ(condition("a>=1"), "(>= a 1)");
  EXPECT_EQ(condition("a like 'x%'"), "(like a 'x%')");
  EXPECT_EQ(condition("a IS NULL"), "(isnull a)");
  EXPECT_EQ(condition("a is not null"), "(notnull a)");
  EXPECT_EQ(condition("a ISA 'C'"), "(isa a 'C')");
  EXPECT_EQ(condition("a ISA C"), "(isa a C)");
  EXPECT_EQ(condition("a=NULL"), "(isnull a)");
  EXPECT_EQ(condition("a <> NULL"), "(notnull a)");
}

TEST(Parser, TurnsAConstantOnTheLeftAround) {
  EXPECT_EQ(condition("'NTFS' = FileSystem"), "(= FileSystem 'NTFS')");
  EXPECT_EQ(condition("5 < a"), "(> a 5)");
  EXPECT_EQ(condition("5 <= a"), "(>= a 5)");
  EXPECT_EQ(condition("5 > a"), "(< a 5)");
  EXPECT_EQ(condition("5 >= a"), "(<= a 5)");
  EXPECT_EQ(condition("5 != a"), "(<> a 5)");
  EXPECT_EQ(condition("NULL = a"), "(isnull a)");
  EXPECT_EQ(condition("NULL <> a"), "(notnull a)");
  EXPECT_EQ(condition("TRUE = a"), "(= a TRUE)");
}

TEST(Parser, TakesLiteralsOfEveryKind) {
  using cim::Value;
  struct Case {
    const char* text;
    Value value;
  };
  for (const auto& [text, value] : {
           Case{"TRUE", true},
           Case{"false", false},
           Case{"0", std::int64_t{0}},
           Case{"-1", std::int64_t{-1}},
           Case{"+7", std::int64_t{7}},
           Case{"007", std::int64_t{7}},
           Case{"9223372036854775807", INT64_MAX},
           Case{"9223372036854775808", std::uint64_t{9'223'372'036'854'775'808U}},
           Case{"18446744073709551615", UINT64_MAX},
           Case{"-9223372036854775808", INT64_MIN},
           Case{"0x1F", std::int64_t{31}},
           Case{"-0x10", std::int64_t{-16}},
           Case{"0XFFFFFFFFFFFFFFFF", UINT64_MAX},
           Case{"1.5", 1.5},
           Case{"-.25", -0.25},
           Case{"2.", 2.0},
           Case{"1e3", 1000.0},
           Case{"1.5E-2", 0.015},
           Case{"''", ""},
           Case{R"("it's")", "it's"},
           Case{R"('say "x"')", "say \"x\""},
           Case{R"('a\\b\'c\"d')", R"(a\b'c"d)"},
           Case{"'100% [a-f] -- ('", "100% [a-f] -- ("},
       }) {
    const Query query = parse_query(std::string("SELECT * FROM C WHERE a = ") + text);
    EXPECT_EQ(query.where->literal.value, value) << text;
    EXPECT_EQ(query.where->literal.spelling, text);
    EXPECT_EQ(query.where->literal.offset, 26U);
  }
  const std::string nul = std::string("SELECT * FROM C WHERE a = 'x") + '\0' + "y'";
  EXPECT_EQ(parse_query(nul).where->literal.value, Value(std::string("x\0y", 3)));
}

TEST(Parser, SplitsDottedNames) {
  const Query query = parse_query("SELECT * FROM C WHERE TargetInstance.Parent.Name = 'x'");
  EXPECT_EQ(query.where->property.head(), "TargetInstance");
  EXPECT_EQ(query.where->property.rest(), "Parent.Name");
  EXPECT_EQ(parse_query("SELECT * FROM C WHERE a=1").where->property.rest(), "");
}

TEST(Parser, TakesKeywordsOfEventQueriesAsNames) {
  const Query query = parse_query("SELECT Group, Within FROM By WHERE Having = 1");
  EXPECT_EQ(query.columns[0].text, "Group");
  EXPECT_EQ(query.class_name.text, "By");
  EXPECT_EQ(to_text(*query.where), "(= Having 1)");
}

TEST(Parser, KnowsSchemaQueries) {
  const Query query = parse_query("SELECT * FROM META_CLASS WHERE __this ISA \"CIM_Setting\"");
  EXPECT_EQ(query.kind, Query::Kind::schema);
  EXPECT_EQ(to_text(*query.where), "(isa __this \"CIM_Setting\")");
  EXPECT_EQ(
      to_text(*parse_query("SELECT * FROM meta_class WHERE NOT __class < \"Win32\" AND NOT __this ISA \"X\"")
                   .where),
      "(and (not (< __class \"Win32\")) (not (isa __this \"X\")))");
  EXPECT_EQ(refusal("SELECT Name FROM meta_class"),
            (Refusal{Status::invalid_query, 7, "a query of meta_class selects *"}));
}

TEST(Parser, SaysWhatIsWrongAndWhere) {
  struct Case {
    const char* text;
    std::size_t offset;
    const char* message;
  };
  for (const auto& [text, offset, message] : {
           Case{"", 0, "expected SELECT, found the end of the query"},
           Case{"DELETE FROM C", 0, "expected SELECT, found 'DELETE'"},
           Case{"SELECT", 6, "expected the name of a property, found the end of the query"},
           Case{"SELECT FROM C", 7, "expected the name of a property, found 'FROM'"},
           Case{"SELECT * C", 9, "expected FROM, found 'C'"},
           Case{"SELECT *, a FROM C", 8, "expected FROM, found ','"},
           Case{"SELECT a b FROM C", 9, "expected FROM, found 'b'"},
           Case{"SELECT a, FROM C", 10, "expected the name of a property, found 'FROM'"},
           Case{"SELECT * FROM", 13, "expected the name of a class, found the end of the query"},
           Case{"SELECT * FROM 'C'", 14, "expected the name of a class, found ''C''"},
           Case{"SELECT * FROM A.B", 14, "a class has no full stop in its name"},
           Case{"SELECT * FROM C D", 16, "expected the end of the query, found 'D'"},
           Case{"SELECT * FROM C WHERE", 21, "expected the name of a property, found the end of the query"},
           Case{"SELECT * FROM C WHERE a", 23, "expected an operator, found the end of the query"},
           Case{"SELECT * FROM C WHERE a =", 25, "expected a constant, found the end of the query"},
           Case{"SELECT * FROM C WHERE a == 1", 25, "expected a constant, found '='"},
           Case{"SELECT * FROM C WHERE a = b", 26,
                "a property compares with a constant only; text stands in quotes"},
           Case{"SELECT * FROM C WHERE 1 = 1", 26, "one side of a comparison is a property"},
           Case{"SELECT * FROM C WHERE 1", 23, "expected a comparison operator, found the end of the query"},
           Case{"SELECT * FROM C WHERE 'x' LIKE a", 26, "expected a comparison operator, found 'LIKE'"},
           Case{"SELECT * FROM C WHERE a > NULL", 24, "NULL compares with = and <> only"},
           Case{"SELECT * FROM C WHERE a IS 5", 27, "expected NULL, found '5'"},
           Case{"SELECT * FROM C WHERE a NOT LIKE 'x'", 24, "NOT stands before the property"},
           Case{"SELECT * FROM C WHERE a LIKE 5", 29, "expected a pattern in quotes, found '5'"},
           Case{"SELECT * FROM C WHERE a ISA 5", 28, "expected the name of a class, found '5'"},
           Case{"SELECT * FROM C WHERE (a=1", 26, "expected ')', found the end of the query"},
           Case{"SELECT * FROM C WHERE a=1)", 25, "expected the end of the query, found ')'"},
           Case{"SELECT * FROM C WHERE a=1 AND", 29,
                "expected the name of a property, found the end of the query"},
           Case{"SELECT * FROM C WHERE a=1 b=2", 26, "expected the end of the query, found 'b'"},
           Case{"SELECT * FROM C WHERE a='x", 24, "the text that begins here has no closing '"},
           Case{"SELECT * FROM C WHERE a='x\\'", 24, "the text that begins here has no closing '"},
           Case{"SELECT * FROM C WHERE a='it's'", 28,
                R"(expected the end of the query, found 's'; inside of a text a quote is written \')"},
           // Doubling a quote is no escape.
           Case{"SELECT * FROM C WHERE a='it''s'", 28,
                R"(expected the end of the query, found ''s''; inside of a text a quote is written \')"},
           Case{"SELECT * FROM C WHERE a LIKE \"PCI\\%\"", 33,
                R"(undefined escape: a backslash in a text is written \\, a quote \' or \")"},
           Case{"SELECT * FROM C WHERE a = 18446744073709551616", 26, "the number does not fit into 64 bits"},
           Case{"SELECT * FROM C WHERE a = -9223372036854775809", 26, "the number does not fit into 64 bits"},
           Case{"SELECT * FROM C WHERE a = 1e999", 26, "the number has no value that this machine can hold"},
           Case{"SELECT * FROM C WHERE a = 0x", 26, "malformed number"},
           Case{"SELECT * FROM C WHERE a = 12ab", 26, "malformed number"},
           Case{"SELECT * FROM C WHERE a = 1.2.3", 26, "malformed number"},
           Case{"SELECT * FROM C WHERE a. = 1", 23, "a name must follow the full stop directly"},
           Case{"SELECT * FROM C WHERE a ! 1", 24, "unexpected character '!'"},
           Case{"SELECT * FROM C WHERE a = #", 26, "unexpected character '#'"},
           Case{"SELECT * FROM C WHERE a \x01 1", 24, "unexpected control character"},
           Case{"SELECT NULL FROM C", 7, "expected the name of a property, found 'NULL'"},
           Case{"SELECT * FROM TRUE", 14, "expected the name of a class, found 'TRUE'"},
           Case{"SELECT * FROM C WITHIN 5", 16, "WITHIN is for event queries"},
           Case{"SELECT * FROM C GROUP WITHIN 5", 16, "GROUP is for event queries"},
           Case{"SELECT * FROM C WHERE a=1 WHERE b=2", 26, "only one WHERE, and before GROUP"},
       }) {
    EXPECT_EQ(refusal(text), (Refusal{Status::invalid_query, offset, message})) << text;
  }
  EXPECT_EQ(refusal("ASSOCIATORS OF {C=1}"),
            (Refusal{Status::not_supported, 0, "only SELECT queries are answered"}));
  EXPECT_EQ(refusal("references of {C=1}"),
            (Refusal{Status::not_supported, 0, "only SELECT queries are answered"}));
}

TEST(Parser, MakesAnErrorWithWmisNumberAndADiagnosticBesideIt) {
  const std::string text = "SELECT * FROM C WHERE a='it's'";
  try {
    static_cast<void>(parse_query(text));
    FAIL();
  } catch (const QueryError& refused) {
    const Error error = refused.to_error(text, "SWbemServicesEx");
    EXPECT_EQ(error.number(), static_cast<std::int32_t>(0x80041017));
    EXPECT_EQ(error.source(), "SWbemServicesEx");
    EXPECT_EQ(error.description(), "Invalid query ");
    ASSERT_NE(error.query_diagnostic(), nullptr);
    EXPECT_EQ(error.query_diagnostic()->query, text);
    EXPECT_EQ(error.query_diagnostic()->offset, 28U);
    EXPECT_EQ(error.query_diagnostic()->message,
              R"(expected the end of the query, found 's'; inside of a text a quote is written \')");
  }
}

TEST(Parser, AMessageIsOneShortLineWhateverItQuotes) {
  EXPECT_EQ(refusal("SELECT * FROM C 'a\nb\x1B[1m'").message,
            "expected the end of the query, found ''a b [1m''");
  const std::string sixty(60, 'x');
  EXPECT_EQ(refusal("SELECT * FROM C " + sixty).message,
            "expected the end of the query, found '" + sixty + "'");
  EXPECT_EQ(refusal("SELECT * FROM C " + sixty + "y").message,
            "expected the end of the query, found '" + sixty + "...'");
  const std::string cut = sixty.substr(1);
  EXPECT_EQ(refusal("SELECT * FROM C " + cut + "\u00FC").message,
            "expected the end of the query, found '" + cut + "...'")
      << "cut before a character, not within";
}

TEST(Parser, KeepsItsLimits) {
  const Limits limits{.text_size = 60, .terms = 3, .depth = 2};
  EXPECT_EQ(refusal("SELECT * FROM C WHERE a=1 OR a=2 OR a=3", limits), Refusal{});
  EXPECT_EQ(refusal("SELECT * FROM C WHERE a=1 OR a=2 OR a=3 OR a=4", limits),
            (Refusal{Status::quota_violation, 43, "the query has more than 3 terms"}));
  EXPECT_EQ(refusal("SELECT a,b FROM C WHERE a=1", limits), Refusal{});
  EXPECT_EQ(refusal("SELECT a,b,c FROM C WHERE a=1", limits).status, Status::quota_violation);
  EXPECT_EQ(refusal("SELECT * FROM C WHERE ((a=1))", limits), Refusal{});
  EXPECT_EQ(refusal("SELECT * FROM C WHERE (((a=1)))", limits),
            (Refusal{Status::quota_violation, 24, "conditions are nested deeper than 2"}));
  EXPECT_EQ(refusal("SELECT * FROM C WHERE NOT (NOT a=1)", limits),
            (Refusal{Status::quota_violation, 27, "conditions are nested deeper than 2"}));
  EXPECT_EQ(refusal("SELECT * FROM C WHERE (a=1) OR (a=2) OR NOT (a=3)", limits), Refusal{})
      << "depth, not count";
  EXPECT_EQ(refusal("SELECT * FROM C WHERE a='" + std::string(60, 'x') + "'", limits),
            (Refusal{Status::quota_violation, 0, "the query is longer than 60 bytes"}));
}

TEST(Parser, DefaultLimitsLeaveRoomForAnOrOfEveryProcess) {
  std::string text = "SELECT * FROM C WHERE Name='_Total'";
  for (int id = 1; id <= 32768; ++id) text += " OR IDProcess=" + std::to_string(id);
  EXPECT_EQ(parse_query(text).where->operands.size(), 32769U);
  const std::string deep(1000, '(');
  EXPECT_EQ(refusal("SELECT * FROM C WHERE " + deep).status, Status::quota_violation);
}

// ---- event queries

TEST(EventParser, TakesEveryClause) {
  const Query query = parse_event_query(
      "SELECT TargetInstance.Name FROM __InstanceModificationEvent WITHIN 0.5 WHERE TargetInstance ISA "
      "'Win32_Service'"
      " GROUP WITHIN 60 BY TargetInstance.State, TargetInstance.Name HAVING NumberOfEvents>=3");
  EXPECT_EQ(query.kind, Query::Kind::event);
  EXPECT_EQ(query.class_name.text, "__InstanceModificationEvent");
  EXPECT_EQ(query.within, 0.5);
  EXPECT_EQ(query.within_offset, 67U);
  EXPECT_EQ(to_text(*query.where), "(isa TargetInstance 'Win32_Service')");
  ASSERT_TRUE(query.group);
  EXPECT_EQ(query.group->seconds, 60);
  ASSERT_EQ(query.group->by.size(), 2U);
  EXPECT_EQ(query.group->by[1].text, "TargetInstance.Name");
  ASSERT_TRUE(query.group->having);
  EXPECT_EQ(query.group->having->op, Operator::greater_or_equal);
  EXPECT_EQ(query.group->having->threshold, 3U);
}

TEST(EventParser, EveryClauseButFromMayBeAbsent) {
  const Query plain = parse_event_query("SELECT * FROM RegistryKeyChangeEvent");
  EXPECT_FALSE(plain.within);
  EXPECT_FALSE(plain.where);
  EXPECT_FALSE(plain.group);
  const Query grouped = parse_event_query("SELECT * FROM E GROUP WITHIN 4294967295");
  EXPECT_EQ(grouped.group->seconds, 4294967295.0);
  EXPECT_TRUE(grouped.group->by.empty());
  EXPECT_FALSE(grouped.group->having);
  EXPECT_EQ(parse_event_query("SELECT * FROM E GROUP WITHIN 5 HAVING NumberOfEvents <> 4294967295")
                .group->having->threshold,
            4294967295U);
}

TEST(EventParser, TakesTheIrregularBlanksOfSupervisionQueries) {
  const Query fat = parse_event_query(
      R"(SELECT * FROM __InstanceCreationEvent WITHIN 5 WHERE Targetinstance ISA 'CIM_DirectoryContainsFile'   AND TargetInstance.GroupComponent= 'Win32_Directory.Name="C:\\\\data"')");
  EXPECT_EQ(
      to_text(*fat.where),
      R"((and (isa Targetinstance 'CIM_DirectoryContainsFile') (= TargetInstance.GroupComponent 'Win32_Directory.Name="C:\\\\data"')))");
  EXPECT_EQ(fat.where->operands[1].literal.value, cim::Value(R"(Win32_Directory.Name="C:\\data")"));
}

TEST(EventParser, SaysWhatIsWrongAndWhere) {
  struct Case {
    const char* text;
    Status status;
    std::size_t offset;
    const char* message;
  };
  for (const auto& [text, status, offset, message] : {
           Case{"SELECT * FROM E WITHIN -5", Status::unparsable_query, 23, "an interval has no sign"},
           Case{"SELECT * FROM E WITHIN '5'", Status::unparsable_query, 23,
                "expected a number of seconds, found ''5''"},
           Case{"SELECT * FROM E WITHIN WHERE a=1", Status::unparsable_query, 23,
                "expected a number of seconds, found 'WHERE'"},
           Case{"SELECT * FROM E WHERE a=1 WITHIN 5", Status::unparsable_query, 26,
                "WITHIN stands between the class and WHERE, or directly behind GROUP"},
           Case{"SELECT * FROM E GROUP WITHIN -10", Status::unparsable_query, 29, "an interval has no sign"},
           Case{"SELECT * FROM E GROUP WITHIN 4294967296", Status::unparsable_query, 29,
                "the interval is too long"},
           Case{"SELECT * FROM E GROUP BY a", Status::missing_group_within, 22,
                "WITHIN and a number of seconds follow GROUP, found 'BY'"},
           Case{"SELECT * FROM E GROUP", Status::missing_group_within, 21,
                "WITHIN and a number of seconds follow GROUP, found the end of the query"},
           Case{"SELECT * FROM E GROUP WITHIN 5 BY *", Status::missing_aggregation_list, 34,
                "BY names its properties, it takes no *"},
           Case{"SELECT * FROM E GROUP WITHIN 5 BY", Status::unparsable_query, 33,
                "expected the name of a property, found the end of the query"},
           Case{"SELECT * FROM E HAVING NumberOfEvents>1", Status::unparsable_query, 16,
                "the order of clauses is WHERE, GROUP WITHIN, BY, HAVING"},
           Case{"SELECT * FROM E GROUP WITHIN 5 HAVING NumberOfEvents>1 BY a", Status::unparsable_query, 55,
                "expected the end of the query, found 'BY'"},
           Case{"SELECT * FROM E GROUP WITHIN 5 HAVING Count>1", Status::unparsable_query, 38,
                "expected NumberOfEvents, found 'Count'"},
           Case{"SELECT * FROM E GROUP WITHIN 5 HAVING NumberOfEvents>=-1", Status::unparsable_query, 54,
                "a number of events is whole, without sign, and of 32 bits"},
           Case{"SELECT * FROM E GROUP WITHIN 5 HAVING NumberOfEvents>=1.5", Status::unparsable_query, 54,
                "a number of events is whole, without sign, and of 32 bits"},
           Case{"SELECT * FROM E GROUP WITHIN 5 HAVING NumberOfEvents>=4294967296", Status::unparsable_query,
                54, "a number of events is whole, without sign, and of 32 bits"},
           Case{"SELECT * FROM E GROUP WITHIN 5 WHERE a=1", Status::unparsable_query, 31,
                "only one WHERE, and before GROUP"},
           Case{"nonsense", Status::unparsable_query, 0, "expected SELECT, found 'nonsense'"},
       }) {
    EXPECT_EQ(event_refusal(text), (Refusal{status, offset, message})) << text;
  }
}

}  // namespace
}  // namespace kvwmi::wql
