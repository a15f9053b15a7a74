#pragma once

#include <memory>
#include <string>
#include <vector>

namespace kvwmi::agent {

/// A command that a scenario starts. Its output is dropped. What still runs at the end is ended, also what it
/// has started itself (Linux: unless that made itself a process group of its own).
class ScenarioProcess {
 public:
  /// The program, found like a shell finds it, and its arguments. One that cannot be started raises
  /// std::runtime_error.
  explicit ScenarioProcess(const std::vector<std::string>& command);
  ~ScenarioProcess();
  ScenarioProcess(const ScenarioProcess&) = delete;
  ScenarioProcess& operator=(const ScenarioProcess&) = delete;

  [[nodiscard]] bool has_ended();

 private:
  struct System;
  std::unique_ptr<System> system_;
};

}  // namespace kvwmi::agent
