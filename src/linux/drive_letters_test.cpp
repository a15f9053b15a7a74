#include "linux/drive_letters.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "linux/testing/recorded_machine.h"

namespace kvwmi::ground {
namespace {

using Volumes = std::set<std::string>;

class DriveLettersTest : public ::testing::Test {
 protected:
  std::string holder(char letter) { return std::filesystem::read_symlink(folder + "/" + letter).string(); }

  testing::RecordedMachine machine;
  const std::string folder = machine.state + "/drives";
};

TEST_F(DriveLettersTest, AreGivenInTurnAndKept) {
  DriveLetters letters(folder);
  EXPECT_EQ(letters.letter_of("one", {"one"}), 'D');
  EXPECT_EQ(letters.letter_of("/mnt/two", {"one", "/mnt/two"}), 'E');
  EXPECT_EQ(letters.letter_of("one", {"one"}), 'D');
  EXPECT_EQ(holder('D'), "one");
  EXPECT_EQ(holder('E'), "/mnt/two");
  DriveLetters others(folder);
  others.refresh();
  EXPECT_EQ(others.letter_of("/mnt/two", {"/mnt/two"}), 'E');
}

TEST_F(DriveLettersTest, TheTableIsReadableWhateverTheMask) {
  const mode_t mask = umask(077);
  static_cast<void>(DriveLetters(folder).letter_of("one", {"one"}));
  umask(mask);
  for (const std::string& path : {machine.state, folder}) {
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(path).permissions()), 0755U) << path;
  }
}

TEST_F(DriveLettersTest, WhatAnotherProcessGaveMeanwhileHolds) {
  DriveLetters here(folder);
  DriveLetters there(folder);
  here.refresh();
  EXPECT_EQ(there.letter_of("one", {"one"}), 'D');
  EXPECT_EQ(there.letter_of("two", {"one", "two"}), 'E');
  EXPECT_EQ(here.letter_of("two", {"two", "three"}), 'E');
  EXPECT_EQ(here.letter_of("three", {"two", "three"}), 'F');
}

TEST_F(DriveLettersTest, OfAbsentVolumesAreGivenOutLast) {
  DriveLetters letters(folder);
  Volumes present;
  for (char letter = 'D'; letter <= 'Z'; ++letter) {
    const std::string volume(1, letter);
    present.insert(volume);
    EXPECT_EQ(letters.letter_of(volume, present), letter);
  }
  EXPECT_EQ(letters.letter_of("more", present), std::nullopt);
  present.erase("G");
  EXPECT_EQ(letters.letter_of("more", present), 'G');
  EXPECT_EQ(holder('G'), "more");
}

TEST_F(DriveLettersTest, WhatIsNoLinkIsReplacedLast) {
  std::filesystem::create_directories(folder);
  std::ofstream(folder + "/D") << "x";
  DriveLetters letters(folder);
  EXPECT_EQ(letters.letter_of("one", {"one"}), 'E');
}

TEST_F(DriveLettersTest, WithoutAFolderTheyLastAsLongAsTheObject) {
  DriveLetters letters("/dev/null/kvwmi/drives");
  letters.refresh();
  EXPECT_EQ(letters.letter_of("one", {"one"}), 'D');
  letters.refresh();
  EXPECT_EQ(letters.letter_of("two", {"one", "two"}), 'E');
  EXPECT_EQ(letters.letter_of("one", {"one", "two"}), 'D');
}

TEST_F(DriveLettersTest, WhatIsKeptWinsOverWhatIsRemembered) {
  DriveLetters letters(folder + "/not/there/yet");
  EXPECT_EQ(letters.letter_of("one", {"one"}), 'D');
  std::filesystem::create_directories(folder + "/not/there/yet");
  std::filesystem::create_symlink("two", folder + "/not/there/yet/D");
  letters.refresh();
  EXPECT_EQ(letters.letter_of("two", {"one", "two"}), 'D');
  EXPECT_EQ(letters.letter_of("one", {"one", "two"}), 'E');
}

}  // namespace
}  // namespace kvwmi::ground
