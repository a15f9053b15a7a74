#include "wmi/cim/object_path.h"

#include <gtest/gtest.h>

namespace kvwmi::cim {
namespace {

ObjectPath parsed(std::string_view text) {
  const auto path = parse_object_path(text);
  EXPECT_TRUE(path) << text;
  return path.value_or(ObjectPath{});
}

TEST(ObjectPath, ParsesAFullPath) {
  const auto path = parsed(R"(\\BOX\root\cimv2:Win32_Directory.Name="c:\\scripts")");
  EXPECT_EQ(path.server, "BOX");
  EXPECT_EQ(path.name_space, R"(root\cimv2)");
  EXPECT_EQ(path.class_name, "Win32_Directory");
  ASSERT_EQ(path.keys.size(), 1U);
  EXPECT_EQ(path.keys[0], (ObjectPath::Key{"Name", R"(c:\scripts)", true}));
}

TEST(ObjectPath, ParsesANamespaceWithoutAServer) {
  const auto path = parsed(R"(root/cimv2:Win32_Process.Handle=4)");
  EXPECT_EQ(path.server, "");
  EXPECT_EQ(path.name_space, R"(root\cimv2)");
  EXPECT_EQ(path.keys[0], (ObjectPath::Key{"Handle", "4", false}));
}

TEST(ObjectPath, TellsClassesSingletonsAndInstancesApart) {
  EXPECT_TRUE(parsed("Win32_Process").is_class());
  EXPECT_TRUE(parsed("Win32_OperatingSystem=@").singleton);
  EXPECT_FALSE(parsed("Win32_OperatingSystem=@").is_class());
  EXPECT_EQ(parsed("Win32_Service='Spooler'").keys[0], (ObjectPath::Key{"", "Spooler", true}));
}

TEST(ObjectPath, WithinQuotesABackslashEscapesBackslashesAndQuotesOnly) {
  EXPECT_EQ(parsed(R"(C="a\\b\"c\'d\n")").keys[0].value, R"(a\b"c'd\n)");
  EXPECT_EQ(parsed(R"(Win32_Directory.Name='c:\scripts')").keys[0].value, R"(c:\scripts)");
  EXPECT_EQ(parsed(R"(C='say "hi": a\\b')").keys[0].value, R"(say "hi": a\b)");
}

TEST(ObjectPath, RefusesWhatIsNoPath) {
  for (const char* text : {"",
                           " ",
                           "=5",
                           ".K=1",
                           "5C",
                           "C.",
                           "C.K",
                           "C.K=",
                           "C.K=x",
                           "C.K=1,",
                           "C.K=1,K=2",
                           "C.K =1",
                           "C = \"v\"",
                           "C= \"v\"",
                           "C=\"v",
                           "C=\"v\"x",
                           "C.K='v\\",
                           "\\\\box:C",
                           "\\\\\\root:C",
                           ":C",
                           "root\\:C",
                           "\\root:C",
                           "root\\\\cimv2:C",
                           "a b:C",
                           "C=@x",
                           "C=-",
                           "C D"}) {
    EXPECT_FALSE(parse_object_path(text)) << text;
  }
}

TEST(ObjectPath, PrintsWhatItParsed) {
  for (const char* text : {R"(\\BOX\root\cimv2:Win32_Directory.Name="c:\\scripts \"x\"")", "C", "C=@", "C=5",
                           "C=\"v\"", R"(root\cimv2:A.Alpha=-1,Beta="2",Gamma=TRUE)"}) {
    EXPECT_EQ(to_text(parsed(text)), text);
  }
  EXPECT_EQ(to_text(parsed("A.Beta=2,Alpha='1'")), "A.Alpha=\"1\",Beta=2") << "keys in alphabetical order";
}

TEST(ObjectPath, NormalisesPrefixQuotesCaseOrderAndTheOnlyKeysName) {
  const std::string wanted = normalised_keys(parsed(R"(Win32_Directory.Name="c:\\scripts")"));
  for (const char* text : {R"(\\BOX\root\cimv2:Win32_Directory.Name="c:\\scripts")",
                           R"(//box/ROOT/CIMV2:win32_directory.NAME='C:\\Scripts')",
                           R"(Win32_Directory="c:\\scripts")", R"(Win32_Directory='c:\scripts')"}) {
    EXPECT_EQ(normalised_keys(parsed(text)), wanted) << text;
  }
  EXPECT_EQ(normalised_keys(parsed("C.A=1,B='x'")), normalised_keys(parsed("c.b=\"X\",a='1'")));
  EXPECT_NE(normalised_keys(parsed("C.A=1,B=2")), normalised_keys(parsed("C.A=2,B=1")));
  EXPECT_EQ(normalised_keys(parsed("C=1")), normalised_keys(parsed("D=1")));
  EXPECT_NE(normalised_keys(parsed("C=@")), normalised_keys(parsed("C='@'")));
}

TEST(ObjectPath, NamespacesCompareInAnyCaseAndWithEitherSeparator) {
  EXPECT_EQ(normalised_namespace("Root/CIMv2"), R"(root\cimv2)");
  EXPECT_EQ(normalised_namespace(R"(\root\default\)"), R"(root\default)");
  EXPECT_EQ(normalised_namespace("//"), "");
}

constexpr Property kKeys[] = {
    {"Version", CimType::uint32, kKey, Cost::free, "", nullptr},
    {"Caption", CimType::string, kPlain, Cost::free, "", nullptr},
    {"Name", CimType::string, kKey, Cost::free, "", nullptr},
};
constexpr Class kKeyed{
    .name = "Test_Keyed", .superclasses = {}, .description = "", .properties = kKeys, .methods = {}};
constexpr Class kSingle{
    .name = "Test_Single", .superclasses = {}, .description = "", .properties = {}, .methods = {}};

TEST(ObjectPath, OfARowIsMadeOfItsKeys) {
  Instance row(kKeyed);
  row.set(0, std::uint64_t{7});
  row.set(2, R"(a\b)");
  const auto path = path_of(row);
  ASSERT_TRUE(path);
  EXPECT_EQ(relative_text(*path), R"(Test_Keyed.Name="a\\b",Version=7)");
  EXPECT_EQ(parse_object_path(relative_text(*path))->keys.size(), 2U);
}

TEST(ObjectPath, OfARowWithANullKeyDoesNotExist) {
  Instance row(kKeyed);
  row.set(0, std::uint64_t{7});
  EXPECT_FALSE(path_of(row));
}

TEST(ObjectPath, OfAClassWithoutKeysIsTheSingleton) {
  Instance row(kSingle);
  EXPECT_EQ(relative_text(*path_of(row)), "Test_Single=@");
}

}  // namespace
}  // namespace kvwmi::cim
