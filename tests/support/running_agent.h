#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "frame/testing/eventually.h"

namespace kvwmi::tests {

/// A running kvwmi, perhaps started by way of other programs, whose standard output is read line by line.
class RunningAgent {
 public:
  explicit RunningAgent(const std::vector<std::string>& command) {
    int output[2];
    // What else a test starts must not hold the agent's output.
    if (pipe2(output, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    pid_ = fork();
    if (pid_ == 0) {
      dup2(output[1], STDOUT_FILENO);
      // What the tests' own starter ignores is no part of them.
      for (const int signal : {SIGINT, SIGHUP, SIGPIPE, SIGCHLD}) std::signal(signal, SIG_DFL);
      std::vector<char*> words;
      for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
      words.push_back(nullptr);
      execvp(words[0], words.data());
      _exit(127);
    }
    close(output[1]);
    out_ = output[0];
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
    return testing::eventually([&] {
      std::ifstream file("/proc/" + std::to_string(pid_) + "/syscall");
      long call = -1;
      file >> call;
      return file && (call == SYS_epoll_pwait || call == kWait || call == SYS_epoll_pwait2);
    });
  }

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }
  /// Goes away as the reader of its output.
  void stop_reading() {
    if (out_ >= 0) close(out_);
    out_ = -1;
  }

  /// The next line without its end; empty at the end of the output, and with a failure of the test where
  /// nothing comes in time.
  std::string line(std::chrono::milliseconds limit = std::chrono::seconds(60)) {
    const auto deadline = Clock::now() + limit;
    for (;;) {
      const std::size_t end = unread_.find('\n');
      if (end != std::string::npos) {
        const std::string result = unread_.substr(0, end);
        unread_.erase(0, end + 1);
        return result;
      }
      if (!read_more(deadline)) return std::exchange(unread_, "");
    }
  }
  /// Whether something can be read before the limit.
  [[nodiscard]] bool has_line(std::chrono::milliseconds limit) const {
    pollfd output{out_, POLLIN, 0};
    return !unread_.empty() || poll(&output, 1, static_cast<int>(limit.count())) > 0;
  }
  /// The next line has to be an event of the only watch, with this detail.
  void expect_event(const std::string& expected) { EXPECT_EQ(detail(), expected); }
  /// The next line has to be an event of the only watch; gives its detail.
  std::string detail() {
    const std::string text = line();
    const auto event = nlohmann::ordered_json::parse(text, nullptr, false);
    std::string keys;
    if (event.is_object()) {
      for (const auto& member : event.items()) keys += member.key() + " ";
    }
    if (keys != "time step supervision detail ") {
      ADD_FAILURE() << text;
      return "no event";
    }
    EXPECT_TRUE(std::regex_match(event["time"].get<std::string>(),
                                 std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")))
        << text;
    EXPECT_EQ(event["step"], 1);
    EXPECT_EQ(event["supervision"], 1);
    return event["detail"];
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
  using Clock = std::chrono::steady_clock;

  bool read_more(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd output{out_, POLLIN, 0};
    const int ready = left.count() > 0 ? poll(&output, 1, static_cast<int>(left.count())) : 0;
    if (ready < 0 && errno == EINTR) return true;
    if (ready <= 0) {
      ADD_FAILURE() << "no line came in time";
      return false;
    }
    char bytes[4096];
    const ssize_t count = read(out_, bytes, sizeof bytes);
    if (count > 0) unread_.append(bytes, static_cast<std::size_t>(count));
    return count > 0;
  }

#ifdef SYS_epoll_wait
  static constexpr long kWait = SYS_epoll_wait;
#else
  static constexpr long kWait = SYS_epoll_pwait;  // some processors have no other
#endif

  pid_t pid_ = -1;
  int out_ = -1;
  std::string unread_;
};

}  // namespace kvwmi::tests
