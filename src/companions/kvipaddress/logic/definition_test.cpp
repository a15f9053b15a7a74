#include "companions/kvipaddress/logic/definition.h"

#include <gtest/gtest.h>

#include <string>

namespace kvipaddress {
namespace {

const std::string kHeader = "KVIPAddress definition 1\n";

/// The entries in one text each.
std::vector<std::string> entries_of(const Definition& definition) {
  std::vector<std::string> texts;
  for (const Entry& entry : definition.entries)
    texts.push_back(entry.interface + " -> " + to_text(entry.subnet));
  return texts;
}

using Texts = std::vector<std::string>;

TEST(DefinitionFile, EntriesCommentsAndBlankLines) {
  const auto definition = parse_definition(kHeader +
                                           "# what this machine is to have\n"
                                           "\n"
                                           "eth0  192.168.1.10\n"
                                           "\t eth0\t2001:DB8::10  \n"
                                           "   # and more\n"
                                           "wlan* 10.0.0.0/8\n"
                                           "\"Local Area Connection\" 10.1.1.1\n"
                                           "* ::1");
  ASSERT_TRUE(definition);
  EXPECT_EQ(entries_of(*definition),
            (Texts{"eth0 -> 192.168.1.10", "eth0 -> 2001:db8::10", "wlan* -> 10.0.0.0/8",
                   "Local Area Connection -> 10.1.1.1", "* -> ::1"}));
  EXPECT_FALSE(definition->repeat);
}

TEST(DefinitionFile, MayExpectNoAddressAtAll) {
  const auto definition = parse_definition(kHeader);
  ASSERT_TRUE(definition);
  EXPECT_TRUE(definition->entries.empty());
}

TEST(DefinitionFile, WindowsEditorsMayWriteIt) {
  const auto definition =
      parse_definition("\xEF\xBB\xBFKVIPAddress definition 1\r\neth0 1.2.3.4\r\nrepeat\r\n");
  ASSERT_TRUE(definition);
  EXPECT_EQ(entries_of(*definition), Texts{"eth0 -> 1.2.3.4"});
  EXPECT_TRUE(definition->repeat);
}

TEST(DefinitionFile, AnInterfaceMayBeCalledRepeat) {
  const auto definition = parse_definition(kHeader + "repeat 1.2.3.4\n");
  ASSERT_TRUE(definition);
  EXPECT_EQ(entries_of(*definition), Texts{"repeat -> 1.2.3.4"});
  EXPECT_FALSE(definition->repeat);
}

TEST(DefinitionFile, AnythingNotUnderstoodSpoilsTheWhole) {
  for (const char* line :
       {"eth0", "eth0 1.2.3", "eth0 1.2.3.4 5.6.7.8", "\"eth0 1.2.3.4", "\"\" 1.2.3.4", "\"eth0\"1.2.3.4",
        "eth0 1.2.3.4 # comment", "once", "eth0 1.2.3.4\x01", "eth0 10.0.0.0/33", "Repeat"}) {
    EXPECT_FALSE(parse_definition(kHeader + "eth0 1.2.3.4\n" + line + "\n")) << line;
  }
  EXPECT_FALSE(parse_definition(kHeader + std::string("eth0 1.2.3.4\0\n", 14)));
}

TEST(DefinitionFile, OnlyTheKnownVersionIsUnderstood) {
  for (const char* text :
       {"", "\n", "eth0 1.2.3.4\n", "KVIPAddress definition 2\n", "KVIPAddress definition 10\n",
        "KVIPAddress interfaces 1\n", "kvipaddress definition 1\n", "# comment\nKVIPAddress definition 1\n",
        "KVIPAddress definition\n"}) {
    EXPECT_FALSE(parse_definition(text)) << text;
  }
}

TEST(DefinitionFile, HasLimits) {
  std::string text = kHeader;
  for (std::size_t i = 0; i < Definition::kMaxEntries; ++i) text += "e 1.2.3.4\n";
  EXPECT_TRUE(parse_definition(text));
  EXPECT_FALSE(parse_definition(text + "e 1.2.3.4\n"));

  EXPECT_TRUE(parse_definition(kHeader + std::string(Definition::kMaxName, 'e') + " 1.2.3.4"));
  EXPECT_FALSE(parse_definition(kHeader + std::string(Definition::kMaxName + 1, 'e') + " 1.2.3.4"));

  const std::string comment(Definition::kMaxSize - kHeader.size(), '#');
  EXPECT_TRUE(parse_definition(kHeader + comment));
  EXPECT_FALSE(parse_definition(kHeader + comment + "#"));
}

}  // namespace
}  // namespace kvipaddress
