#pragma once

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace kvwmi::ground::testing {

/// A program that runs until it is asked to end, at the latest with this object.
class ChildProcess {
 public:
  /// `program` is executed with `arguments`, the first of which it sees as its own name.
  ChildProcess(const std::string& program, std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    // Returns when the program is executed, so its name and memory can be looked at from here on.
    if (posix_spawn(&pid_, program.c_str(), nullptr, nullptr, pointers.data(), environ) != 0) {
      throw std::runtime_error("cannot start " + program);
    }
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() { end(); }

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

  /// Ends it and waits for its end; the wait status.
  int end() {
    if (pid_ > 0) ::kill(pid_, SIGKILL);
    return wait();
  }
  int wait() {
    int status = 0;
    if (pid_ > 0) waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }

 private:
  pid_t pid_ = -1;
};

}  // namespace kvwmi::ground::testing
