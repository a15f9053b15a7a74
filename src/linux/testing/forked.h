#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <system_error>

#include "frame/testing/eventually.h"

namespace kvwmi::testing {

/// A second process that runs `program`; its exit status is what that returns. For tests without threads.
class Forked {
 public:
  explicit Forked(const std::function<int()>& program) : pid_(::fork()) {
    if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (pid_ == 0) ::_exit(program());
  }
  ~Forked() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  Forked(const Forked&) = delete;
  Forked& operator=(const Forked&) = delete;

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }
  void kill() const { ::kill(pid_, SIGKILL); }
  /// Its exit status, or 128 + signal; -1 when it does not end.
  int wait() {
    int status = 0;
    if (!eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; })) return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

 private:
  pid_t pid_;
};

}  // namespace kvwmi::testing
