#pragma once

#include <sys/wait.h>

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

/// `text` as one word of shell.
inline std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

}  // namespace kvwmi::tests
