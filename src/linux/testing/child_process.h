#pragma once

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "frame/testing/eventually.h"

namespace kvwmi::ground::testing {

/// A program that runs until it is asked to end, at the latest with this object.
class ChildProcess {
 public:
  /// `program` is executed with `arguments`, the first of which it sees as its own name.
  ChildProcess(const std::string& program, std::vector<std::string> arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    if (posix_spawn(&pid_, program.c_str(), nullptr, nullptr, pointers.data(), environ) != 0) {
      throw std::runtime_error("cannot start " + program);
    }
    wait_until_shown(std::filesystem::path(program).filename().string().substr(0, 15));
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
  /// The new program runs before it bears its name and, last of all, shows its arguments.
  void wait_until_shown(const std::string& name) const {
    const auto first_line = [folder = "/proc/" + std::to_string(pid_)](const char* file) {
      std::string line;
      std::getline(std::ifstream(folder + file), line);
      return line;
    };
    const bool shown = kvwmi::testing::eventually(
        [&] { return first_line("/comm") == name && !first_line("/cmdline").empty(); });
    if (!shown) throw std::runtime_error("no process " + name);
  }

  pid_t pid_ = -1;
};

}  // namespace kvwmi::ground::testing
