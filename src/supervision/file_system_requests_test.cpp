#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "supervision/testing/fixture.h"

namespace kvwmi::supervision {
namespace {

using namespace testing;

const std::string kCreation = "SELECT * FROM __InstanceCreationEvent ";
const std::string kDeletion = "SELECT * FROM __InstanceDeletionEvent ";
const std::string kModification = "SELECT * FROM __InstanceModificationEvent ";

class FileSystemRequestsTest : public RequestTest {
 protected:
  /// The queries subscribed since the last call, whose subscriptions it takes away.
  Queries new_queries() {
    Queries queries = subscribed(ground);
    ground.wmi.subscriptions.clear();
    return queries;
  }
  void expect_subscriptions_with(const Entries& context) {
    EXPECT_FALSE(ground.wmi.subscriptions.empty());
    for (const kvwmi::testing::Subscription& subscription : ground.wmi.subscriptions) {
      EXPECT_FALSE(subscription.sink.expired());
      EXPECT_EQ(subscription.name_space, R"(root\CIMV2)");
      EXPECT_EQ(subscription.language, "WQL");
      EXPECT_EQ(subscription.flags, 0);
      EXPECT_FALSE(subscription.options);
      EXPECT_EQ(entries(subscription.context), context);
    }
  }
  void expect_error(const Error& error, const std::string& source, const std::string& description) {
    EXPECT_EQ(error.number(), kClassError);
    EXPECT_EQ(error.source(), source);
    EXPECT_EQ(error.description(), description);
  }
  Error refuse(const std::string& query) {
    const Error refusal = wmi::wmi_error(wmi::Status::unparsable_query, wmi::source::kServices);
    ground.wmi.errors.insert_or_assign(query, refusal);
    return refusal;
  }
  /// Whether watch 3 of step 7, which asks to be told so, has been registered.
  bool is_registered() {
    supervision.m_PushUndetectedEventInfos();
    return pop(supervision, 7) == Popped{3, ""};
  }
};

using FileTest = FileSystemRequestsTest;
using FileInDirectoryTest = FileSystemRequestsTest;
using DirectoryTest = FileSystemRequestsTest;

// --- One file ---

// Two blanks before AND; backslashes doubled, as in every text literal.
const std::string kFileTail =
    R"(WITHIN 5 WHERE TargetInstance ISA 'CIM_DataFile'  AND TargetInstance.Name='C:\\data\\a.txt')";

TEST_F(FileTest, ThreeKindsOfChangeShareOneContext) {
  EXPECT_EQ(supervision.m_SuperviseFile(7, 3, R"(C:\data\a.txt)"), 0);
  expect_subscriptions_with({{"SupervisionId", wmi::Value(3)},
                             {"CurrentStepId", wmi::Value(7)},
                             {"SupervisionType", wmi::Value(std::int16_t{25})}});
  EXPECT_EQ(new_queries(),
            (Queries{kCreation + kFileTail, kDeletion + kFileTail, kModification + kFileTail}));
}

TEST_F(FileTest, EachKindOfChangeAlone) {
  supervision.m_SuperviseFile(7, 3, R"(C:\data\a.txt)", true, false, false);
  EXPECT_EQ(new_queries(), Queries{kCreation + kFileTail});
  supervision.m_SuperviseFile(7, 3, R"(C:\data\a.txt)", false, true, false);
  EXPECT_EQ(new_queries(), Queries{kDeletion + kFileTail});
  supervision.m_SuperviseFile(7, 3, R"(C:\data\a.txt)", false, false, true);
  EXPECT_EQ(new_queries(), Queries{kModification + kFileTail});
}

TEST_F(FileTest, PeriodGroupAndQuoteAsGiven) {
  supervision.m_SuperviseFile(7, 3, "it's", true, false, false, -2, 60, 3);
  EXPECT_EQ(new_queries(),
            Queries{kCreation + "WITHIN -2 WHERE TargetInstance ISA 'CIM_DataFile'  AND "
                                "TargetInstance.Name='it's' GROUP WITHIN 60 HAVING NumberOfEvents>=3"});
}

TEST_F(FileTest, WatchOfNothingIsRegisteredAllTheSame) {
  EXPECT_EQ(supervision.m_SuperviseFile(7, 3, R"(C:\a.txt)", false, false, false, 5, 0, 0, true), 0);
  EXPECT_EQ(new_queries(), Queries{});
  EXPECT_TRUE(is_registered());
}

TEST_F(FileTest, NetworkNameIsRefusedBeforeAnythingIsSubscribed) {
  const Error error = error_of(
      [&] { supervision.m_SuperviseFile(7, 3, R"(\\server\share\a.txt)", true, true, true, 5, 0, 0, true); });
  expect_error(error, "CIM_DataFile" + tag("m_SuperviseFile"),
               R"(Use of UNC format file names is not authorized: \\server\share\a.txt)");
  EXPECT_EQ(new_queries(), Queries{});
  EXPECT_FALSE(is_registered());
}

TEST_F(FileTest, OneLeadingBackslashIsNoNetworkName) {
  EXPECT_EQ(supervision.m_SuperviseFile(7, 3, R"(\a.txt)", true, false, false), 0);
  EXPECT_EQ(new_queries(), Queries{kCreation + "WITHIN 5 WHERE TargetInstance ISA 'CIM_DataFile'  AND "
                                               R"(TargetInstance.Name='\\a.txt')"});
}

// The first subscription stays, but its key is not registered, so its events are dropped.
TEST_F(FileTest, RefusedDeletionLeavesTheCreationSubscribedAndUnregistered) {
  const Error refusal = refuse(kDeletion + kFileTail);
  const Error error = error_of(
      [&] { supervision.m_SuperviseFile(7, 3, R"(C:\data\a.txt)", true, true, true, 5, 0, 0, true); });
  expect_error(error, refusal.source() + tag("m_SuperviseFile"), refusal.description());
  FakeObject event = instance_event({});
  EXPECT_EQ(ground.wmi.fire(kCreation + kFileTail, event), 1);
  EXPECT_EQ(pop(supervision, 7), kNothing);
  EXPECT_EQ(new_queries(), Queries{kCreation + kFileTail});
  EXPECT_FALSE(is_registered());
}

TEST_F(FileTest, EventHasNoDetail) {
  supervision.m_SuperviseFile(7, 3, R"(C:\data\a.txt)");
  FakeObject event = instance_event({{"Name", wmi::Value(R"(c:\data\a.txt)")}});
  EXPECT_EQ(ground.wmi.fire(kModification + kFileTail, event), 1);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

// --- Files of a directory ---

/// The end of a query whose text names the directory `escaped`: an object path within a text literal, so each
/// backslash stands there four times. Two blanks before AND, and the property in small letters.
std::string in_directory(const std::string& escaped, const std::string& group = "") {
  return "WITHIN 5 WHERE TargetInstance ISA 'CIM_DirectoryContainsFile'  AND "
         "TargetInstance.groupcomponent='Win32_Directory.Name=\"" +
         escaped + "\"'" + group;
}

Entries pattern_context(const std::string& pattern) {
  return {{"SupervisionId", wmi::Value(3)},
          {"CurrentStepId", wmi::Value(7)},
          {"SupervisionType", wmi::Value(std::int16_t{32})},
          {"FileName", wmi::Value(pattern)}};
}

TEST_F(FileInDirectoryTest, TwoKindsOfChangeShareOneContextWithThePattern) {
  EXPECT_EQ(supervision.m_SuperviseFileInDirectory(7, 3, "*.log", R"(C:\logs\new)"), 0);
  expect_subscriptions_with(pattern_context("*.log"));
  const std::string tail = in_directory(R"(C:\\\\logs\\\\new)");
  EXPECT_EQ(new_queries(), (Queries{kCreation + tail, kDeletion + tail}));
}

TEST_F(FileInDirectoryTest, EachKindOfChangeAlone) {
  const std::string tail = in_directory(R"(C:\\\\logs)", " GROUP WITHIN 60 HAVING NumberOfEvents>=3");
  supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\logs)", false, true, false, 5, 60, 3);
  EXPECT_EQ(new_queries(), Queries{kCreation + tail});
  supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\logs)", false, false, true, 5, 60, 3);
  EXPECT_EQ(new_queries(), Queries{kDeletion + tail});
}

TEST_F(FileInDirectoryTest, WatchOfNothingIsRegisteredAllTheSame) {
  supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\logs)", false, false, false, 5, 0, 0, true);
  EXPECT_EQ(new_queries(), Queries{});
  EXPECT_TRUE(is_registered());
}

TEST_F(FileInDirectoryTest, WithoutANameTheRootsLastComponentIsThePattern) {
  supervision.m_SuperviseFileInDirectory(7, 3, "", R"(C:\logs\*.log)", false, true, false);
  expect_subscriptions_with(pattern_context("*.log"));
  EXPECT_EQ(new_queries(), Queries{kCreation + in_directory(R"(C:\\\\logs)")});
}

TEST_F(FileInDirectoryTest, OneBackslashAtTheEndIsDropped) {
  supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\logs\)", false, true, false);
  EXPECT_EQ(new_queries(), Queries{kCreation + in_directory(R"(C:\\\\logs)")});
  // One only.
  supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\logs\\)", false, true, false);
  EXPECT_EQ(new_queries(), Queries{kCreation + in_directory(R"(C:\\\\logs\\\\)")});
  supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\)", false, true, false);
  EXPECT_EQ(new_queries(), Queries{kCreation + in_directory("C:")});
}

// Unlike everywhere else.
TEST_F(FileInDirectoryTest, QuoteInTheDirectoryIsEscaped) {
  supervision.m_SuperviseFileInDirectory(7, 3, "it's*", R"(C:\it's)", false, true, false);
  expect_subscriptions_with(pattern_context("it's*"));
  EXPECT_EQ(new_queries(), Queries{kCreation + in_directory(R"(C:\\\\it\'s)")});
}

TEST_F(FileInDirectoryTest, NetworkNameIsRefusedBeforeAnythingIsSubscribed) {
  const Error error = error_of([&] {
    supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(\\server\share)", true, true, true, 5, 0, 0, true);
  });
  expect_error(error, "CIM_DataFile" + tag("m_SuperviseFileInDirectory"),
               R"(Use of UNC format file names is not authorized: \\server\share)");
  EXPECT_EQ(new_queries(), Queries{});
  EXPECT_FALSE(is_registered());
}

TEST_F(FileInDirectoryTest, SubdirectoriesAreWatchedToTheLast) {
  // Folders are looked up under the escaped text.
  ground.fake_file_system.folders = {{R"(C:\\\\logs)", {R"(C:\logs\a)", R"(C:\logs\b)"}},
                                     {R"(C:\\\\logs\\\\a)", {R"(C:\logs\a\deep)"}},
                                     {R"(C:\\\\logs\\\\a\\\\deep)", {}},
                                     {R"(C:\\\\logs\\\\b)", {}}};
  EXPECT_EQ(supervision.m_SuperviseFileInDirectory(7, 3, "", R"(C:\logs\*.log)", true, true, true, 5, 60), 0);
  expect_subscriptions_with(pattern_context("*.log"));
  Queries expected;
  for (const char* directory :
       {R"(C:\\\\logs)", R"(C:\\\\logs\\\\a)", R"(C:\\\\logs\\\\a\\\\deep)", R"(C:\\\\logs\\\\b)"}) {
    expected.push_back(kCreation + in_directory(directory, " GROUP WITHIN 60"));
    expected.push_back(kDeletion + in_directory(directory, " GROUP WITHIN 60"));
  }
  EXPECT_EQ(new_queries(), expected);
}

TEST_F(FileInDirectoryTest, OneRegistrationStandsForAllLevels) {
  ground.fake_file_system.folders = {{R"(C:\\\\logs)", {R"(C:\logs\a)"}}, {R"(C:\\\\logs\\\\a)", {}}};
  supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\logs)", true, true, true, 5, 0, 0, true);
  EXPECT_TRUE(is_registered());
  EXPECT_EQ(pop(supervision, 7), kNothing);
}

TEST_F(FileInDirectoryTest, MissingDirectoryFailsTheSearchAndLeavesItsOwnSubscriptions) {
  const Error error = error_of([&] {
    supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\gone)", true, true, false, 5, 0, 0, true);
  });
  expect_error(error, "KVWMI" + tag("m_SuperviseFileInDirectory"), "Path not found");
  EXPECT_EQ(new_queries(), Queries{kCreation + in_directory(R"(C:\\\\gone)")});
  EXPECT_FALSE(is_registered());
}

TEST_F(FileInDirectoryTest, FailureInASubdirectoryFailsTheWholeCallWithATagForEachLevel) {
  // The first subdirectory is complete, and so registered; the second cannot be opened.
  ground.fake_file_system.folders = {{R"(C:\\\\logs)", {R"(C:\logs\a)", R"(C:\logs\b)"}},
                                     {R"(C:\\\\logs\\\\a)", {}}};
  const Error error = error_of([&] {
    supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\logs)", true, true, false, 5, 0, 0, true);
  });
  expect_error(error, "KVWMI" + tag("m_SuperviseFileInDirectory") + tag("m_SuperviseFileInDirectory"),
               "Path not found");
  EXPECT_EQ(new_queries(), (Queries{kCreation + in_directory(R"(C:\\\\logs)"),
                                    kCreation + in_directory(R"(C:\\\\logs\\\\a)"),
                                    kCreation + in_directory(R"(C:\\\\logs\\\\b)")}));
  EXPECT_TRUE(is_registered());
}

TEST_F(FileInDirectoryTest, OnlyFilesThatMatchThePatternAreReported) {
  supervision.m_SuperviseFileInDirectory(7, 3, "*.log", R"(C:\logs)");
  const std::string query = kCreation + in_directory(R"(C:\\\\logs)");
  const auto event_of = [](const std::string& file) {
    return instance_event(
        {{"PartComponent", wmi::Value(R"(\\PC\root\cimv2:CIM_DataFile.Name="c:\\logs\\)" + file + "\"")}});
  };
  FakeObject other = event_of("report.txt");
  EXPECT_EQ(ground.wmi.fire(query, other), 1);
  EXPECT_EQ(pop(supervision, 7), kNothing);
  FakeObject log = event_of("a.log");
  EXPECT_EQ(ground.wmi.fire(query, log), 1);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, R"(File: "c:\logs\a.log")"}));
}

// --- A directory ---

// Two blanks before AND.
const std::string kDirectoryTail =
    R"(WITHIN 5 WHERE TargetInstance ISA 'Win32_Directory'  AND TargetInstance.Name='C:\\data')";
const std::string kFileSystem = "SELECT FileSystem FROM Win32_LogicalDisk WHERE DeviceID='C:'";

Objects disk(wmi::Value file_system) {
  return {std::make_shared<FakeObject>(wmi::NamedValues{{"FileSystem", std::move(file_system)}})};
}

Queries ordinary(const std::string& group = "") {
  return {kCreation + kDirectoryTail + group, kDeletion + kDirectoryTail + group,
          kModification + kDirectoryTail + group};
}

/// "Targetinstance", a blank after the class and two before AND, and one after "=": these texts alone.
Queries content(const std::string& period = "5") {
  const std::string files = "WITHIN " + period +
                            " WHERE Targetinstance ISA 'CIM_DirectoryContainsFile'   AND "
                            R"(TargetInstance.GroupComponent= 'Win32_Directory.Name="C:\\\\data"')";
  const std::string folders = "WITHIN " + period +
                              " WHERE Targetinstance ISA 'Win32_SubDirectory'   AND "
                              R"(TargetInstance.GroupComponent= 'Win32_Directory.Name="C:\\\\data"')";
  return {kCreation + files, kDeletion + files, kCreation + folders, kDeletion + folders};
}

TEST_F(DirectoryTest, ThreeSubscriptionsOnNtfs) {
  ground.wmi.answer(kFileSystem, disk(wmi::Value("NTFS")));
  EXPECT_EQ(supervision.m_SuperviseDirectory(7, 3, R"(C:\data)"), 0);
  expect_subscriptions_with({{"SupervisionId", wmi::Value(3)},
                             {"CurrentStepId", wmi::Value(7)},
                             {"SupervisionType", wmi::Value(std::int16_t{30})}});
  EXPECT_EQ(new_queries(), ordinary());
  EXPECT_EQ(ground.wmi.queries, Queries{kFileSystem});
}

TEST_F(DirectoryTest, SevenSubscriptionsOnFatTheLastFourUngrouped) {
  for (const char* name : {"FAT", "FAT32"}) {
    ground.wmi.answers.clear();
    ground.wmi.answer(kFileSystem, disk(wmi::Value(name)));
    supervision.m_SuperviseDirectory(7, 3, R"(C:\data)", true, true, true, 5, 60, 3);
    expect_subscriptions_with({{"SupervisionId", wmi::Value(3)},
                               {"CurrentStepId", wmi::Value(7)},
                               {"SupervisionType", wmi::Value(std::int16_t{30})}});
    Queries expected = ordinary(" GROUP WITHIN 60 HAVING NumberOfEvents>=3");
    const Queries added = content();
    expected.insert(expected.end(), added.begin(), added.end());
    EXPECT_EQ(new_queries(), expected);
  }
}

TEST_F(DirectoryTest, ContentIsPolledAtTheSamePeriod) {
  ground.wmi.answer(kFileSystem, disk(wmi::Value("FAT")));
  supervision.m_SuperviseDirectory(7, 3, R"(C:\data)", false, false, true, 30);
  Queries queries = new_queries();
  ASSERT_EQ(queries.size(), 5U);
  queries.erase(queries.begin());
  EXPECT_EQ(queries, content("30"));
}

TEST_F(DirectoryTest, OtherFileSystemsAreNotFat) {
  for (const wmi::Value& name : {wmi::Value("fat32"), wmi::Value("exFAT"), wmi::Value("")}) {
    ground.wmi.answers.clear();
    ground.wmi.answer(kFileSystem, disk(name));
    supervision.m_SuperviseDirectory(7, 3, R"(C:\data)");
    EXPECT_EQ(new_queries(), ordinary());
  }
}

TEST_F(DirectoryTest, FileSystemThatCannotBeReadIsNotFat) {
  supervision.m_SuperviseDirectory(7, 3, R"(C:\data)");  // no such disk
  EXPECT_EQ(new_queries(), ordinary());
  ground.wmi.answer(kFileSystem, disk(wmi::Value()));
  supervision.m_SuperviseDirectory(7, 3, R"(C:\data)");
  EXPECT_EQ(new_queries(), ordinary());
}

TEST_F(DirectoryTest, FileSystemMattersToModificationsOnly) {
  ground.wmi.answer(kFileSystem, disk(wmi::Value("FAT")));
  supervision.m_SuperviseDirectory(7, 3, R"(C:\data)", true, true, false);
  EXPECT_EQ(new_queries(), (Queries{kCreation + kDirectoryTail, kDeletion + kDirectoryTail}));
  EXPECT_EQ(ground.wmi.queries, Queries{});
}

TEST_F(DirectoryTest, WatchOfNothingIsRegisteredAllTheSame) {
  EXPECT_EQ(supervision.m_SuperviseDirectory(7, 3, R"(C:\data)", false, false, false, 5, 0, 0, true), 0);
  EXPECT_EQ(new_queries(), Queries{});
  EXPECT_TRUE(is_registered());
}

TEST_F(DirectoryTest, AllBackslashesAtTheEndAreRemovedBeforeDoubling) {
  supervision.m_SuperviseDirectory(7, 3, R"(C:\data\\\)", true, false, false);
  EXPECT_EQ(new_queries(), Queries{kCreation + kDirectoryTail});
}

TEST_F(DirectoryTest, NetworkNameAndQuoteGoIntoTheQuery) {
  supervision.m_SuperviseDirectory(7, 3, R"(\\server\it's)", true, false, false);
  EXPECT_EQ(new_queries(), Queries{kCreation + "WITHIN 5 WHERE TargetInstance ISA 'Win32_Directory'  AND "
                                               R"(TargetInstance.Name='\\\\server\\it's')"});
}

TEST_F(DirectoryTest, DriveIsTheFirstTwoCharacters) {
  supervision.m_SuperviseDirectory(7, 3, "éa", false, false, true);
  EXPECT_EQ(ground.wmi.queries.back(), "SELECT FileSystem FROM Win32_LogicalDisk WHERE DeviceID='éa'");
  supervision.m_SuperviseDirectory(7, 3, "d", false, false, true);
  EXPECT_EQ(ground.wmi.queries.back(), "SELECT FileSystem FROM Win32_LogicalDisk WHERE DeviceID='d'");
}

TEST_F(DirectoryTest, EmptyNameFailsBeforeAnythingIsSubscribed) {
  for (const char* name : {"", R"(\)", R"(\\\)"}) {
    const Error error =
        error_of([&] { supervision.m_SuperviseDirectory(7, 3, name, true, true, true, 5, 0, 0, true); });
    expect_error(error, "KVWMI" + tag("m_SuperviseDirectory"), "Invalid procedure call or argument");
  }
  EXPECT_EQ(new_queries(), Queries{});
  EXPECT_FALSE(is_registered());
}

TEST_F(DirectoryTest, FailureToReadTheFileSystemLeavesTheSubscriptionsUnregistered) {
  const Error refusal = refuse(kFileSystem);
  const Error error = error_of(
      [&] { supervision.m_SuperviseDirectory(7, 3, R"(C:\data)", true, true, true, 5, 0, 0, true); });
  expect_error(error, refusal.source() + tag("m_SuperviseDirectory"), refusal.description());
  EXPECT_EQ(new_queries(), ordinary());
  EXPECT_FALSE(is_registered());
}

TEST_F(DirectoryTest, ContentOfAFatDirectoryIsAChangeWithoutADetail) {
  ground.wmi.answer(kFileSystem, disk(wmi::Value("FAT32")));
  supervision.m_SuperviseDirectory(7, 3, R"(C:\data)");
  FakeObject event = instance_event({});
  EXPECT_EQ(ground.wmi.fire(content().front(), event), 1);
  EXPECT_EQ(pop(supervision, 7), (Popped{3, ""}));
}

// --- Without connections ---

TEST(FileSystemRequestsUninitialised, Fail) {
  FakeGround ground;
  Supervision supervision(ground);
  const std::pair<const char*, std::function<void()>> requests[]{
      {"m_SuperviseFile", [&] { supervision.m_SuperviseFile(7, 3, R"(C:\a.txt)"); }},
      {"m_SuperviseFileInDirectory", [&] { supervision.m_SuperviseFileInDirectory(7, 3, "*", R"(C:\a)"); }},
      {"m_SuperviseDirectory", [&] { supervision.m_SuperviseDirectory(7, 3, R"(C:\a)"); }}};
  for (const auto& [method, request] : requests) {
    const Error error = error_of(request);
    EXPECT_EQ(error.number(), kClassError);
    EXPECT_EQ(error.source(), "KVWMI" + tag(method));
    EXPECT_EQ(error.description(), "Object variable or With block variable not set");
  }
}

}  // namespace
}  // namespace kvwmi::supervision
