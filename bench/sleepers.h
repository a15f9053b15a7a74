#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

/// Processes for benchmarks that look at processes.
namespace kvwmi::bench {

inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::exit(2);
}

/// A child under a name of its own that does nothing until it is killed.
inline pid_t sleeper(const char* name) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::prctl(PR_SET_NAME, name);
    for (;;) ::pause();
  }
  require(pid > 0, "cannot fork");
  return pid;
}

inline void end(pid_t pid) {
  ::kill(pid, SIGKILL);
  ::waitpid(pid, nullptr, 0);
}

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
