#pragma once

#include <memory>
#include <string>
#include <vector>

namespace kvwmi::agent {

/// A command that a scenario starts. Its output is dropped. It ends with this object at the latest, and what
/// it has started ends with it (Linux: unless that is in a process group of its own).
class ScenarioProcess {
 public:
  /// The program, found like a shell finds it, and its arguments. One that cannot be started raises
  /// std::runtime_error.
  explicit ScenarioProcess(const std::vector<std::string>& command);
  ~ScenarioProcess();
  ScenarioProcess(const ScenarioProcess&) = delete;
  ScenarioProcess& operator=(const ScenarioProcess&) = delete;

  /// To be asked again and again, for the command's end is complete when it has been noticed.
  [[nodiscard]] bool has_ended();

 private:
  struct System;
  std::unique_ptr<System> system_;
};

}  // namespace kvwmi::agent
