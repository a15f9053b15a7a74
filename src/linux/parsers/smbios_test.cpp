#include "linux/parsers/smbios.h"

#include <gtest/gtest.h>

#include "linux/testing/smbios_table.h"

namespace kvwmi::ground::parsers {
namespace {

using testing::smbios_processor;
using testing::smbios_structure;

const std::string kBoard = smbios_structure(2, std::string(11, '\1'), {"Maker", "Board"});
const std::string kEnd = smbios_structure(127, "", {});

TEST(Smbios, TakesTheSocketsThatHoldAProcessor) {
  const auto sockets = parse_processor_sockets(
      kBoard + smbios_processor(100, 4200, {"U3E1", "S-1", "A-1", "P-1  "}) +
      smbios_processor(100, 4200, {"CPU 2"}, false) + smbios_processor(0, 0, {"CPU 3"}) + kEnd);
  ASSERT_EQ(sockets.size(), 2U);
  EXPECT_EQ(sockets[0].designation, "U3E1");
  EXPECT_EQ(sockets[0].serial_number, "S-1");
  EXPECT_EQ(sockets[0].asset_tag, "A-1");
  EXPECT_EQ(sockets[0].part_number, "P-1");
  EXPECT_EQ(sockets[0].external_megahertz, 100U);
  EXPECT_EQ(sockets[0].max_megahertz, 4200U);
  EXPECT_EQ(sockets[1].designation, "CPU 3");
  EXPECT_EQ(sockets[1].serial_number, "");
  EXPECT_EQ(sockets[1].max_megahertz, std::nullopt) << "0 is unknown";
}

TEST(Smbios, OldVersionsOfTheStructureLackTheLastFields) {
  std::string fields(0x1A - 4, '\0');
  fields[0] = 1;
  fields[0x14 - 4] = '\x90';
  fields[0x15 - 4] = '\x01';
  fields[0x18 - 4] = '\x41';
  const auto sockets = parse_processor_sockets(smbios_structure(4, fields, {"Slot 1"}));
  ASSERT_EQ(sockets.size(), 1U);
  EXPECT_EQ(sockets[0].designation, "Slot 1");
  EXPECT_EQ(sockets[0].max_megahertz, 400U);
  EXPECT_EQ(sockets[0].part_number, "");
}

TEST(Smbios, NothingComesAfterTheEnd) {
  EXPECT_TRUE(parse_processor_sockets(kEnd + smbios_processor(1, 1, {"x"})).empty());
}

TEST(Smbios, WhatIsCutOrWrongEndsTheTable) {
  const std::string whole = smbios_processor(100, 4200, {"U3E1", "S-1"});
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_TRUE(parse_processor_sockets(whole.substr(0, length)).empty()) << length;
  }
  EXPECT_TRUE(parse_processor_sockets(std::string("\4\3\0\0\0\0", 6)).empty()) << "shorter than its header";
  const std::string text_too_high = smbios_structure(4, std::string(0x1F, '\x7F'), {"only"});
  ASSERT_EQ(parse_processor_sockets(text_too_high).size(), 1U);
  EXPECT_EQ(parse_processor_sockets(text_too_high)[0].designation, "");
}

}  // namespace
}  // namespace kvwmi::ground::parsers
