#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/wait_for.h"

namespace kvwmi::tests {

/// A running kvwmi, perhaps started by way of other programs, whose standard output is read line by line.
class RunningAgent {
 public:
  explicit RunningAgent(const std::vector<std::string>& command) {
    int output[2];
    if (pipe(output) != 0) throw std::runtime_error("no pipe");
    pid_ = fork();
    if (pid_ == 0) {
      dup2(output[1], STDOUT_FILENO);
      close(output[0]);
      std::vector<char*> words;
      for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
      words.push_back(nullptr);
      execvp(words[0], words.data());
      _exit(127);
    }
    close(output[1]);
    out_ = fdopen(output[0], "r");
  }
  ~RunningAgent() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    stop_reading();
  }
  RunningAgent(const RunningAgent&) = delete;
  RunningAgent& operator=(const RunningAgent&) = delete;

  /// Waits until it waits for events, and so has asked for its watches: that is where its main thread has
  /// something to wait for with an epoll.
  [[nodiscard]] bool watches() const {
    return wait_for([&] {
      std::ifstream file("/proc/" + std::to_string(pid_) + "/syscall");
      long call = -1;
      file >> call;
      return file && (call == SYS_epoll_pwait || call == kWait || call == SYS_epoll_pwait2);
    });
  }

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }
  /// Goes away as the reader of its output.
  void stop_reading() {
    if (out_ != nullptr) std::fclose(out_);
    out_ = nullptr;
  }

  /// The next line without its end; empty at the end of the output.
  std::string line() {
    std::string result;
    for (int c = 0; (c = std::fgetc(out_)) != EOF && c != '\n';) result += static_cast<char>(c);
    return result;
  }
  /// The next line has to be an event of the only watch, with this detail.
  void expect_event(const std::string& detail) {
    const std::string text = line();
    const auto event = nlohmann::ordered_json::parse(text, nullptr, false);
    ASSERT_TRUE(event.is_object()) << text;
    std::string keys;
    for (const auto& member : event.items()) keys += member.key() + " ";
    ASSERT_EQ(keys, "time step supervision detail ") << text;
    EXPECT_TRUE(std::regex_match(event["time"].get<std::string>(),
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")))
        << text;
    EXPECT_EQ(event["step"], 1);
    EXPECT_EQ(event["supervision"], 1);
    EXPECT_EQ(event["detail"], detail);
  }
  /// Sends a signal (0 sends none), waits for the end and gives the exit status.
  int stop(int signal) {
    kill(pid_, signal);
    int status = -1;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  /// Ctrl-C has to end it cleanly, and nothing more may have come from it.
  void expect_end() {
    EXPECT_EQ(stop(SIGINT), 0);
    EXPECT_EQ(line(), "");
  }

 private:
#ifdef SYS_epoll_wait
  static constexpr long kWait = SYS_epoll_wait;
#else
  static constexpr long kWait = SYS_epoll_pwait;  // some processors have no other
#endif

  pid_t pid_ = -1;
  std::FILE* out_ = nullptr;
};

}  // namespace kvwmi::tests
