#include <iostream>

#include "agent/command.h"
#include "agent/terminal.h"

int main(int argc, char** argv) {
  const kvwmi::agent::ProcessSetup setup;
  return kvwmi::agent::run_agent(kvwmi::agent::process_arguments(argc, argv), std::cout, std::cerr,
                                 kvwmi::agent::standard_style());
}
