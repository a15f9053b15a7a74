// ./run and what it shares with ./test.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

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
  EXPECT_EQ(second.out, "kvwmi 2.0.0\n");
  EXPECT_LT(elapsed.count(), 1.0);
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
