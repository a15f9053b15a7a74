// ./run and what it shares with ./test.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/command.h"

namespace kvwmi::tests {
namespace {

namespace fs = std::filesystem;

const std::string kRoot = KVWMI_ROOT;

TEST(RunScript, StartsTheBuiltAgentWithinASecond) {
  ASSERT_EQ(run_shell(quoted(kRoot + "/run") + " --version").status, 0);
  const auto began = std::chrono::steady_clock::now();
  const CommandResult second = run_shell(quoted(kRoot + "/run") + " --version");
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - began;
  EXPECT_EQ(second.out, "kvwmi " KVWMI_VERSION "\n");
  EXPECT_LT(elapsed.count(), 1.0);
}

std::vector<std::string> words_of(const std::string& text, char separator = ' ') {
  std::vector<std::string> words;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, separator);) {
    if (!word.empty()) words.push_back(word);
  }
  return words;
}

/// Whether a filter of ./test selects any unit test: one with a point or an asterisk is GoogleTest's, any
/// other one is a part of a program's name.
bool matches_a_unit_test(const std::string& filter) {
  const bool selects_tests = filter.find_first_of(".*") != std::string::npos;
  const fs::path tree = fs::path(KVWMI_AGENT).parent_path();
  const CommandResult programs = run_shell("ctest -N --test-dir " + quoted(tree) + " -L '^unit$'" +
                                           (selects_tests ? "" : " -R " + quoted(filter)) +
                                           " 2>/dev/null | sed -n 's/^ *Test *#[0-9]*: //p'");
  if (!selects_tests) return !programs.out.empty();
  for (const std::string& program : words_of(programs.out, '\n')) {
    if (!fs::exists(tree / program)) continue;
    const CommandResult tests =
        run_shell(quoted(tree / program) + " --gtest_list_tests --gtest_filter=" + quoted(filter));
    if (tests.out.find("\n  ") != std::string::npos) return true;
  }
  return false;
}

TEST(TestScript, EveryExampleOfItsHelpRunsSomething) {
  const CommandResult help = run_shell(quoted(kRoot + "/test") + " --help");
  ASSERT_EQ(help.status, 0);
  int filters = 0;
  for (const std::string& line : words_of(help.out, '\n')) {
    if (!line.starts_with("  ./test ")) continue;
    const std::string example = line.substr(9, line.find("  ", 9) - 9);
    bool of_files = false;
    bool at_kinds = true;
    for (std::string word : words_of(example)) {
      std::erase(word, '\'');
      at_kinds = at_kinds && fs::exists(kRoot + "/tools/kinds/" + word + ".sh");
      if (at_kinds) {
        of_files = word == "tidy";
      } else if (of_files) {
        EXPECT_TRUE(fs::exists(kRoot + "/" + word)) << line;
      } else {
        ++filters;
        EXPECT_TRUE(matches_a_unit_test(word)) << line;
      }
    }
  }
  EXPECT_GE(filters, 3);
}

/// A machine on which nobody is root and sudo wants a password.
class Unprivileged : public ::testing::Test {
 protected:
  void SetUp() override {
    char path[] = "/tmp/kvwmi-sudo-XXXXXX";
    ASSERT_NE(mkdtemp(path), nullptr);
    folder_ = path;
    const fs::path sudo = folder_ / "sudo";
    std::ofstream(sudo) << "#!/bin/sh\n"
                           "if [ \"$1\" = -n ]; then exit 1; fi\n"
                           "echo \"as root: $*\"\n";
    for (const fs::path& made : {folder_, sudo}) fs::permissions(made, fs::perms(0755));
    if (run_shell(as_nobody("test -r " + quoted(kRoot + "/tools/packages"))).status != 0)
      GTEST_SKIP() << "another user cannot read " << kRoot;
  }
  void TearDown() override { fs::remove_all(folder_); }

  static std::string as_nobody(const std::string& command) {
    return geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " + command : command;
  }
  /// Commands of the shell that the scripts share, as somebody who is not root and has that sudo.
  [[nodiscard]] std::string sharing(const std::string& commands) const {
    return "PATH=" + quoted(folder_.string()) + ":$PATH " +
           as_nobody("bash -c " +
                     quoted("root=" + quoted(kRoot) + "; source \"$root/tools/lib/common.sh\"; " + commands));
  }

 private:
  fs::path folder_;
};

TEST_F(Unprivileged, SudoAsksForItsPasswordWhereATerminalIs) {
  // As packages are installed: neither input nor output is the terminal.
  const CommandResult result = run_on_terminal(
      sharing("can_be_root && as_root echo hello </dev/null 2>&1 | cat; exit \"${PIPESTATUS[0]}\""));
  EXPECT_EQ(result.out, "as root: echo hello\r\n");
  EXPECT_EQ(result.status, 0);
}

TEST_F(Unprivileged, SudoIsLeftAloneWhereNobodyCouldAnswerIt) {
  const CommandResult result =
      run_shell("setsid --wait " + std::string("sh -c ") + quoted(sharing("can_be_root </dev/null 2>&1")));
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.status, 1);
}

}  // namespace
}  // namespace kvwmi::tests
