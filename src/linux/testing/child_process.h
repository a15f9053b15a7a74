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
    wait_for_name(std::filesystem::path(program).filename().string().substr(0, 15));
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
  /// The new program runs before it bears its name, which is the last thing it gets.
  void wait_for_name(const std::string& name) const {
    const std::string path = "/proc/" + std::to_string(pid_) + "/comm";
    std::string comm;
    const bool named =
        kvwmi::testing::eventually([&] { return !std::getline(std::ifstream(path), comm) || comm == name; });
    if (!named) throw std::runtime_error("no process " + name);
  }

  pid_t pid_ = -1;
};

}  // namespace kvwmi::ground::testing
