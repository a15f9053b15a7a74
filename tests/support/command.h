#pragma once

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace kvwmi::tests {

struct CommandResult {
  int status;       ///< exit status, or 128 and the signal that ended it
  std::string out;  ///< standard output
};

/// Runs a line of shell to its end.
inline CommandResult run_shell(const std::string& line) {
  std::FILE* pipe = popen(line.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run: " + line);
  CommandResult result{0, ""};
  std::array<char, 4096> buffer{};
  for (std::size_t size = 0; (size = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
    result.out.append(buffer.data(), size);
  }
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

/// The same on a terminal of its own; gives all that appears there, its line ends as a terminal writes them.
inline CommandResult run_on_terminal(const std::string& line) {
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child < 0) throw std::runtime_error("no terminal");
  if (child == 0) {
    execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
    _exit(127);
  }
  CommandResult result{0, ""};
  std::array<char, 4096> buffer{};
  for (ssize_t size = 0; (size = read(terminal, buffer.data(), buffer.size())) > 0;) {
    result.out.append(buffer.data(), static_cast<std::size_t>(size));
  }
  close(terminal);
  int status = 0;
  waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

/// `text` as one word of shell.
inline std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

}  // namespace kvwmi::tests
