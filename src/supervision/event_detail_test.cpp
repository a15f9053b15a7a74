#include "supervision/event_detail.h"

#include <gtest/gtest.h>

#include "supervision/supervision_type.h"
#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using testing::aggregate_event;
using testing::error_of;
using testing::FakeGround;
using testing::FakeObject;
using testing::instance_event;

std::optional<std::string> detail(std::int32_t type, FakeObject event, const wmi::NamedValues& context = {}) {
  FakeGround ground;
  return event_detail(ground, type, event, context);
}

struct ValueCase {
  std::int32_t type;
  const char* property;
  wmi::Value value;
  const char* expected;
};

TEST(EventDetailTest, Values) {
  const ValueCase cases[]{
      {2, "FreeSpace", wmi::Value("10737418239"), "Value: 10737418239 Bytes"},
      {21, "WorkingSetSize", wmi::Value("4096"), "Value: 4096 Bytes"},
      {23, "FreePhysicalMemory", wmi::Value("1024"), "Value: 1024 Kilobytes"},
      {27, "LoadPercentage", wmi::Value(std::int32_t{97}), "Value: 97 %"},
      {28, "FreeVirtualMemory", wmi::Value("2048"), "Value: 2048 Kilobytes"},
      {31, "FreeSpaceInPagingFiles", wmi::Value("0"), "Value: 0 Kilobytes"},
  };
  for (const ValueCase& c : cases) {
    EXPECT_EQ(detail(c.type, instance_event({{c.property, c.value}})), c.expected);
  }
}

// Null joins as nothing, so the blank after the colon and the one before the unit meet.
TEST(EventDetailTest, NullValueLeavesTwoBlanks) {
  EXPECT_EQ(detail(2, instance_event({{"FreeSpace", wmi::Value()}})), "Value:  Bytes");
  EXPECT_EQ(detail(27, instance_event({{"LoadPercentage", wmi::Value()}})), "Value:  %");
}

TEST(EventDetailTest, GroupedEventShowsItsRepresentative) {
  const FakeObject representative = instance_event({{"FreeSpace", wmi::Value("77")}});
  EXPECT_EQ(detail(2, aggregate_event(representative, 12)), "Value: 77 Bytes");
}

// The class name is compared with regard to case, unlike everything else of WMI.
TEST(EventDetailTest, AggregateInOtherLettersIsAnOrdinaryEvent) {
  FakeObject event(
      {{"TargetInstance", *std::make_shared<wmi::Value>(instance_event({}).get("TargetInstance"))}},
      "__AGGREGATEEVENT");
  EXPECT_EQ(detail(18, event), "");
}

TEST(EventDetailTest, ChangesOfStateHaveNoDetail) {
  for (const std::int32_t type : {18, 20, 25, 30, 42}) EXPECT_EQ(detail(type, instance_event({})), "");
}

TEST(EventDetailTest, RegistryEventsHaveNoDetailAndNoTargetInstance) {
  for (const std::int32_t type : {15, 16, 29}) {
    EXPECT_EQ(detail(type, FakeObject({}, "RegistryKeyChangeEvent")), "");
  }
}

TEST(EventDetailTest, UnknownTypesHaveNoDetail) {
  for (const std::int32_t type : {-1, 0, 1, 3, 17, 19, 24, 33, 41, 43, 1'000'000}) {
    EXPECT_EQ(detail(type, instance_event({})), "");
  }
}

TEST(EventDetailTest, EventWithoutTargetInstanceFails) {
  EXPECT_EQ(error_of([] { (void)detail(18, FakeObject({}, "__InstanceCreationEvent")); }).description(),
            "Not found ");
  EXPECT_EQ(error_of([] {
              (void)detail(18, FakeObject({{"TargetInstance", wmi::Value()}}, "__InstanceCreationEvent"));
            }).number(),
            91);
}

wmi::NamedValues log_entry() {
  return {{"Logfile", wmi::Value("System")},
          {"Type", wmi::Value("Error")},
          {"SourceName", wmi::Value("Disk")},
          {"EventCode", wmi::Value(std::int32_t{11})},
          {"TimeGenerated", wmi::Value("20260131081502.000000+060")},
          {"Message", wmi::Value("The driver failed.")},
          {"InsertionStrings", wmi::Value(wmi::Value::Array{wmi::Value("first"), wmi::Value("second")})}};
}

wmi::NamedValues log_entry_with(const std::string& property, wmi::Value value) {
  wmi::NamedValues entry = log_entry();
  for (wmi::NamedValue& named : entry) {
    if (named.name == property) named.value = value;
  }
  return entry;
}

// The clock reading as delivered: neither the microseconds nor the offset are looked at.
constexpr const char* kLogHead =
    "Log: System\r\nType: Error\r\nSource: Disk\r\nEvent ID: 11\r\nDate: 2026-01-31\r\nTime: 08:15:02\r\n";

TEST(EventDetailTest, LogEntryHasSevenLines) {
  EXPECT_EQ(detail(26, instance_event(log_entry())),
            std::string(kLogHead) + "Description: The driver failed.");
}

TEST(EventDetailTest, LogEntryWithoutMessageShowsItsFirstInsertionString) {
  EXPECT_EQ(detail(26, instance_event(log_entry_with("Message", wmi::Value("")))),
            std::string(kLogHead) + "Description: first");
  EXPECT_EQ(detail(26, instance_event(log_entry_with("Message", wmi::Value()))),
            std::string(kLogHead) + "Description: first");
}

TEST(EventDetailTest, NullTextsOfALogEntryAreEmpty) {
  EXPECT_EQ(detail(26, instance_event(log_entry_with("Type", wmi::Value()))),
            "Log: System\r\nType: \r\nSource: Disk\r\nEvent ID: 11\r\nDate: 2026-01-31\r\nTime: "
            "08:15:02\r\nDescription: The driver failed.");
}

// Insertion strings are read for every entry, so one without them fails although it has a message.
TEST(EventDetailTest, LogEntryWithoutInsertionStringsFails) {
  EXPECT_EQ(error_of([] {
              (void)detail(26, instance_event(log_entry_with("InsertionStrings", wmi::Value())));
            }).number(),
            13);
  EXPECT_EQ(error_of([] {
              (void)detail(
                  26, instance_event(log_entry_with("InsertionStrings", wmi::Value(wmi::Value::Array{}))));
            }).number(),
            9);
}

TEST(EventDetailTest, LogEntryWithoutAReadableTimeFails) {
  EXPECT_EQ(error_of([] {
              (void)detail(26, instance_event(log_entry_with("TimeGenerated", wmi::Value())));
            }).number(),
            94);
  for (const char* text : {"", "2026", "2026013108", "yyyymmddHHMMSS.000000+000"}) {
    EXPECT_EQ(error_of([&] {
                (void)detail(26, instance_event(log_entry_with("TimeGenerated", wmi::Value(text))));
              }).number(),
              13)
        << text;
  }
}

struct FileCase {
  const char* part_component;
  const char* pattern;
  std::optional<std::string> expected;
};

TEST(EventDetailTest, FilesInADirectory) {
  const FileCase cases[]{
      {R"(\\.\root\cimv2:CIM_DataFile.Name="c:\\dir\\a.txt")", "a.txt", R"(File: "c:\dir\a.txt")"},
      {R"(\\.\root\cimv2:CIM_DataFile.Name="c:\\dir\\a.txt")", "*.txt", R"(File: "c:\dir\a.txt")"},
      {R"(\\.\root\cimv2:CIM_DataFile.Name="c:\\report.txt")", "*.log", std::nullopt},
      // The last "=" counts, also where it belongs to the file's name.
      {R"(\\.\root\cimv2:CIM_DataFile.Name="c:\\x\\a=b.txt")", "b.txt", R"(File: b.txt")"},
      {R"("c:\\dir\\a.txt")", "a.txt", R"(File: "c:\dir\a.txt")"},  // no "=" at all
  };
  for (const FileCase& c : cases) {
    EXPECT_EQ(detail(32, instance_event({{"PartComponent", wmi::Value(c.part_component)}}),
                     {{"FileName", wmi::Value(c.pattern)}}),
              c.expected)
        << c.part_component;
  }
}

TEST(EventDetailTest, FileInADirectoryWithoutPatternOrPathFails) {
  const auto event = [](wmi::Value path) { return instance_event({{"PartComponent", std::move(path)}}); };
  const wmi::NamedValues pattern{{"FileName", wmi::Value("*")}};
  EXPECT_EQ(error_of([&] { (void)detail(32, event(wmi::Value(R"(Name="c:\\a")"))); }).description(),
            "Not found ");
  EXPECT_EQ(error_of([&] { (void)detail(32, event(wmi::Value()), pattern); }).number(), 94);
  EXPECT_EQ(error_of([&] { (void)detail(32, event(wmi::Value("Name=")), pattern); }).number(), 5);
}

}  // namespace
}  // namespace kvwmi::supervision
