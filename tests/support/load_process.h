#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace kvwmi::tests {

/// A running load_program under a name of its own; it ends with this object.
class LoadProcess {
 public:
  enum class Work { idle, busy };

  /// Returns when it has touched its memory.
  LoadProcess(std::string name, int megabytes, Work work) : name_(std::move(name)) {
    folder_ = std::filesystem::temp_directory_path() / ("kvwmi-load-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder_);
    program_ = folder_ / name_;
    std::filesystem::copy_file(KVWMI_LOAD_PROGRAM, program_, std::filesystem::copy_options::skip_existing);
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    const std::string size = std::to_string(megabytes);
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ready[1], STDOUT_FILENO);
      execl(program_.c_str(), program_.c_str(), size.c_str(), work == Work::busy ? "busy" : "idle", nullptr);
      _exit(127);
    }
    close(ready[1]);
    char byte = 0;
    const bool started = pid_ > 0 && read(ready[0], &byte, 1) == 1;
    close(ready[0]);
    if (!started) throw std::runtime_error("cannot start " + program_.string());
  }
  LoadProcess(const LoadProcess&) = delete;
  LoadProcess& operator=(const LoadProcess&) = delete;
  ~LoadProcess() {
    end();
    std::error_code ignored;
    std::filesystem::remove(program_, ignored);
    std::filesystem::remove(folder_, ignored);  // where it is the last one
  }

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

  /// Processor time it has used, in seconds.
  [[nodiscard]] double processor_seconds() const {
    clockid_t clock = 0;
    timespec time{};
    if (clock_getcpuclockid(pid_, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  }

  void end() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  std::string name_;
  std::filesystem::path folder_;
  std::filesystem::path program_;
  pid_t pid_ = -1;
};

}  // namespace kvwmi::tests
