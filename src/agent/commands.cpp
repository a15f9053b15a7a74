#include "agent/command.h"

namespace kvwmi::agent {

std::vector<std::unique_ptr<Command>> make_commands() {
  std::vector<std::unique_ptr<Command>> result;
  for (const auto make :
       {make_check_command, make_query_command, make_classes_command, make_watch_command, make_run_command})
    result.push_back(make());
  return result;
}

}  // namespace kvwmi::agent
