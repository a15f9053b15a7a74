#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "measure.h"

/// Processes for benchmarks that look at processes.
namespace kvwmi::bench {

/// A child under a name of its own that does nothing until it is killed.
inline pid_t sleeper(const char* name) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::prctl(PR_SET_NAME, name);
    for (;;) ::pause();
  }
  require(pid > 0, "a child is there");
  return pid;
}

inline void end(pid_t pid) {
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

/// A child that takes its name when it is told to, as one that executes another program long after its fork.
class LateComer {
 public:
  explicit LateComer(const char* name) {
    int ends[2];
    require(::pipe(ends) == 0, "a pipe is there");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      ::close(ends[1]);
      char word = 0;
      if (::read(ends[0], &word, 1) == 1) ::prctl(PR_SET_NAME, name);
      for (;;) ::pause();
    }
    require(pid_ > 0, "a child is there");
    ::close(ends[0]);
    tell_ = ends[1];
  }
  ~LateComer() {
    end(pid_);
    ::close(tell_);
  }
  LateComer(const LateComer&) = delete;
  LateComer& operator=(const LateComer&) = delete;

  void take_name() const { require(::write(tell_, "x", 1) == 1, "it can be told"); }

 private:
  pid_t pid_ = -1;
  int tell_ = -1;
};

/// So many sleeping processes as long as it lives.
class Population {
 public:
  explicit Population(int processes) {
    for (int i = 0; i < processes; ++i) pids_.push_back(sleeper("kvw-sleeper"));
  }
  ~Population() {
    for (const pid_t pid : pids_) ::kill(pid, SIGKILL);
    for (const pid_t pid : pids_) ::waitpid(pid, nullptr, 0);
  }
  Population(const Population&) = delete;
  Population& operator=(const Population&) = delete;

 private:
  std::vector<pid_t> pids_;
};

}  // namespace kvwmi::bench
