#include "linux/drive_letters.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <barrier>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

VolumeName at(std::string mount_point) {
  return {"", std::move(mount_point)};
}

class DriveLettersTest : public ::testing::Test {
 protected:
  std::string holder(char letter) { return std::filesystem::read_symlink(folder + "/" + letter).string(); }

  /// The letters in one word, '-' for none.
  static std::string given(DriveLetters& letters, const std::vector<VolumeName>& present) {
    std::string word;
    for (const auto& letter : letters.letters_of(present)) word += letter.value_or('-');
    return word;
  }
  /// A volume for each letter, "/D" to "/Z".
  static std::vector<VolumeName> one_for_each_letter() {
    std::vector<VolumeName> volumes;
    for (char letter = 'D'; letter <= 'Z'; ++letter) volumes.push_back(at(std::string{'/', letter}));
    return volumes;
  }
  /// Who cannot lock the table cannot change it. Root can change all folders, so this stands for having no
  /// right to.
  void let_nobody_write() const { std::filesystem::create_directories(folder + "/.lock"); }

  testing::RecordedMachine machine;
  const std::string folder = machine.state + "/drives";
};

TEST_F(DriveLettersTest, AreGivenInTurnAndKept) {
  DriveLetters letters(folder);
  EXPECT_EQ(given(letters, {{"one", "/mnt/one"}}), "D");
  EXPECT_EQ(given(letters, {at("/mnt/two"), {"one", "/mnt/one"}}), "ED");
  EXPECT_EQ(holder('D'), "one /mnt/one");
  EXPECT_EQ(holder('E'), "/mnt/two");
  DriveLetters others(folder);
  EXPECT_EQ(given(others, {at("/mnt/two")}), "E");
  EXPECT_EQ(given(others, {{"one", "/mnt/one"}}), "D");
}

TEST_F(DriveLettersTest, TheTableIsReadableWhateverTheMaskAndItsLockForNobodyElse) {
  const mode_t mask = umask(077);
  static_cast<void>(DriveLetters(folder).letters_of({at("/one")}));
  umask(mask);
  const auto rights = [](const std::string& path) {
    return static_cast<unsigned>(std::filesystem::status(path).permissions());
  };
  EXPECT_EQ(rights(machine.state), 0755U);
  EXPECT_EQ(rights(folder), 0755U);
  EXPECT_EQ(rights(folder + "/.lock"), 0600U) << "who may open it can hold up all others";
}

TEST_F(DriveLettersTest, WhatAnotherProcessGaveMeanwhileHolds) {
  DriveLetters here(folder);
  DriveLetters there(folder);
  EXPECT_EQ(given(here, {at("/one")}), "D");
  EXPECT_EQ(given(there, {at("/one"), at("/two")}), "DE");
  EXPECT_EQ(given(here, {at("/two"), at("/three")}), "EF");
}

TEST_F(DriveLettersTest, OfAbsentVolumesAreGivenOutLast) {
  DriveLetters letters(folder);
  std::vector<VolumeName> present = one_for_each_letter();
  present.push_back(at("/more"));
  EXPECT_EQ(given(letters, present), "DEFGHIJKLMNOPQRSTUVWXYZ-");
  std::erase(present, at("/G"));
  EXPECT_EQ(given(letters, present), "DEFHIJKLMNOPQRSTUVWXYZG");
  EXPECT_EQ(holder('G'), "/more");
}

TEST_F(DriveLettersTest, AVolumeThatMovedComesBeforeNewOnes) {
  DriveLetters letters(folder);
  std::vector<VolumeName> present = one_for_each_letter();
  present.front().uuid = "one";
  static_cast<void>(letters.letters_of(present));
  present.front() = at("/new");
  present.push_back({"one", "/moved"});
  EXPECT_EQ(given(letters, present), "-EFGHIJKLMNOPQRSTUVWXYZD");
  EXPECT_EQ(holder('D'), "one /moved");
}

TEST_F(DriveLettersTest, WhoCannotSeeUuidsGivesTheLettersOfThoseWhoCan) {
  static_cast<void>(DriveLetters(folder).letters_of({{"one", "/one"}, {"two", "/two"}}));
  DriveLetters sandbox(folder);
  const VolumeName one{"", "/one", true};
  const VolumeName two{"", "/two", true};
  EXPECT_EQ(given(sandbox, {two, one}), "ED");
  EXPECT_EQ(holder('D'), "one /one") << "the others know it by its UUID still";
  EXPECT_EQ(given(sandbox, {at("/new"), two, one}), "FED");
}

TEST_F(DriveLettersTest, OneThatHasNoUuidTakesNoLetterOfOneThatHas) {
  static_cast<void>(DriveLetters(folder).letters_of({{"one", "/mnt"}}));
  DriveLetters letters(folder);
  EXPECT_EQ(given(letters, {at("/mnt")}), "E") << "a share where the disk was";
  EXPECT_EQ(given(letters, {at("/mnt"), {"one", "/elsewhere"}}), "ED");
}

TEST_F(DriveLettersTest, NoTwoHaveOneLetter) {
  static_cast<void>(DriveLetters(folder).letters_of({{"one", "/mnt"}}));
  DriveLetters letters(folder);
  EXPECT_EQ(given(letters, {{"", "/mnt", true}, {"one", "/moved"}}), "ED");
  std::vector<VolumeName> present = one_for_each_letter();
  present.front() = {"", "/mnt", true};
  present.push_back({"one", "/moved"});
  present.push_back(at("/more"));
  const std::string all = given(letters, present);
  EXPECT_EQ(std::set<char>(all.begin(), all.end()).size(), 24U) << "23 letters and none for one: " << all;
}

TEST_F(DriveLettersTest, ALetterWithoutItsUuidIsNotGivenAway) {
  std::vector<VolumeName> all = one_for_each_letter();
  for (VolumeName& volume : all) volume.uuid = volume.mount_point.substr(1);
  static_cast<void>(DriveLetters(folder).letters_of(all));
  for (VolumeName& volume : all) volume = {"", volume.mount_point, true};
  all.insert(all.begin(), at("/new"));
  DriveLetters sandbox(folder);
  EXPECT_EQ(given(sandbox, all), "-DEFGHIJKLMNOPQRSTUVWXYZ");
}

TEST_F(DriveLettersTest, ProcessesThatGiveThemAtOnceAgree) {
  static_cast<void>(DriveLetters(folder).letters_of(one_for_each_letter()));
  for (int round = 0; round < 100; ++round) {
    const VolumeName a = at("/a" + std::to_string(round));
    const VolumeName b = at("/b" + std::to_string(round));
    std::barrier start(2);
    std::string there;
    std::thread other([&] {
      DriveLetters letters(folder);
      start.arrive_and_wait();
      there = given(letters, {b, a});
    });
    DriveLetters letters(folder);
    start.arrive_and_wait();
    const std::string here = given(letters, {a, b});
    other.join();
    ASSERT_EQ(here, std::string(there.rbegin(), there.rend())) << round;
    ASSERT_EQ(holder(here[0]), a.mount_point) << round;
    ASSERT_EQ(holder(here[1]), b.mount_point) << round;
  }
}

TEST_F(DriveLettersTest, WhatIsNoLinkIsReplacedLast) {
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/D") << "x";
  DriveLetters letters(folder);
  EXPECT_EQ(given(letters, {at("/one")}), "E");
}

TEST_F(DriveLettersTest, ALinkWithTheUuidAloneStandsForTheVolume) {
  std::filesystem::create_directories(folder);
  std::filesystem::create_symlink("one", folder + "/F");
  DriveLetters letters(folder);
  EXPECT_EQ(given(letters, {{"one", "/a"}}), "F");
  EXPECT_EQ(holder('F'), "one /a");
}

TEST_F(DriveLettersTest, WithoutAFolderTheyLastAsLongAsTheObject) {
  DriveLetters letters("/dev/null/kvwmi/drives");
  EXPECT_EQ(given(letters, {at("/one")}), "D");
  EXPECT_EQ(given(letters, {at("/two"), at("/one")}), "ED");
  EXPECT_EQ(given(letters, {at("/two")}), "E");
  EXPECT_EQ(given(letters, {at("/two"), at("/one")}), "ED");
}

TEST_F(DriveLettersTest, WhatIsKeptForAPresentVolumeWinsOverWhatIsRemembered) {
  let_nobody_write();
  DriveLetters letters(folder);
  EXPECT_EQ(given(letters, {at("/one")}), "D");
  std::filesystem::create_symlink("/two", folder + "/D");
  EXPECT_EQ(given(letters, {at("/one"), at("/two")}), "ED");
}

TEST_F(DriveLettersTest, WhatIsRememberedWinsOverAbsentVolumes) {
  static_cast<void>(DriveLetters(folder).letters_of(one_for_each_letter()));
  std::filesystem::remove(folder + "/.lock");
  let_nobody_write();
  DriveLetters letters(folder);
  EXPECT_EQ(given(letters, {at("/D"), at("/one")}), "DE");
  EXPECT_EQ(given(letters, {at("/new"), at("/D"), at("/one")}), "FDE");
  EXPECT_EQ(holder('E'), "/E") << "the table is not ours to change";
  EXPECT_EQ(given(letters, {at("/E"), at("/D"), at("/one")}), "EDF") << "its holder is there again";
}

}  // namespace
}  // namespace kvwmi::ground
