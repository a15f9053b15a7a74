#pragma once

#include <string>
#include <vector>

#include "agent/console.h"

/// The process's surroundings, different on each system.
namespace kvwmi::agent {

/// The arguments after the program's name, as UTF-8.
[[nodiscard]] std::vector<std::string> process_arguments(int argc, char** argv);

/// How standard output and standard error want to be written to: colours on each that is a terminal, where
/// NO_COLOR is not set, and the width of the output.
[[nodiscard]] Console::Style standard_style();

/// What tells this process from all others that run and share its named events. A later one may have the
/// same.
[[nodiscard]] std::string process_identity();

/// What the process must set up before it uses the component, undone at its end.
class ProcessSetup {
 public:
  ProcessSetup();
  ~ProcessSetup();
  ProcessSetup(const ProcessSetup&) = delete;
  ProcessSetup& operator=(const ProcessSetup&) = delete;
};

}  // namespace kvwmi::agent
