#include "linux/providers/operating_system.h"

#include "linux/parsers/os_release.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {

std::optional<std::string> release_variable(const Machine& machine, std::string_view name) {
  std::optional<std::string> text = read_file(machine.etc + "/os-release");
  if (!text) text = read_file(machine.root + "/usr/lib/os-release");
  return text ? parsers::shell_variable(*text, name) : std::nullopt;
}

std::string computer_name(const Machine& machine) {
  return read_line(machine.proc + "/sys/kernel/hostname").value_or("");
}

std::string system_name(const Machine& machine) {
  return release_variable(machine, "PRETTY_NAME").value_or("Linux");
}

std::string system_version(const Machine& machine) {
  const auto version = release_variable(machine, "VERSION_ID");
  return version ? *version : kernel_release(machine);
}

std::string kernel_release(const Machine& machine) {
  return read_line(machine.proc + "/sys/kernel/osrelease").value_or("");
}

}  // namespace kvwmi::ground::providers
