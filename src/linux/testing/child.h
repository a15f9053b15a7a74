#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "frame/testing/eventually.h"

namespace kvwmi::testing {

/// A program started for a test; killed and reaped at the end of it.
class Child {
 public:
  /// `inherited` is a descriptor that the program keeps, under the same number.
  explicit Child(std::vector<std::string> command, int inherited = -1) {
    std::vector<char*> arguments;
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    if (inherited >= 0) ::posix_spawn_file_actions_adddup2(&actions, inherited, inherited);
    const int failure = ::posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failure != 0) throw std::system_error(failure, std::generic_category(), command[0]);
  }
  ~Child() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  Child& operator=(Child&&) = delete;

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }
  void kill(int signal) const { ::kill(pid_, signal); }
  /// Its exit status, or 128 + signal; -1 when it is still there after `patience`.
  int wait(std::chrono::milliseconds patience = std::chrono::seconds(10)) {
    int status = 0;
    if (!eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, patience)) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_ = -1;
};

/// Whether a program is installed.
inline bool installed(const std::string& program) {
  return ::access(("/usr/bin/" + program).c_str(), X_OK) == 0;
}

}  // namespace kvwmi::testing
