#include "linux/providers/unit_specifiers.h"

#include <sys/utsname.h>

#include <algorithm>
#include <iterator>

#include "linux/parsers/os_release.h"
#include "linux/providers/operating_system.h"
#include "linux/providers/row.h"
#include "linux/providers/system_file.h"

namespace kvwmi::ground::providers {
namespace {

std::string architecture(const Machine&) {
#if defined(__x86_64__)
  return "x86-64";
#elif defined(__i386__)
  return "x86";
#elif defined(__aarch64__)
  return "arm64";
#elif defined(__arm__)
  return "arm";
#else
  utsname names{};
  uname(&names);
  return names.machine;
#endif
}
std::string boot_id(const Machine& machine) {
  std::string id = read_line(machine.proc + "/sys/kernel/random/boot_id").value_or("");
  std::erase(id, '-');
  return id;
}
std::string machine_id(const Machine& machine) {
  return read_line(machine.etc + "/machine-id").value_or("");
}
std::string short_name(const Machine& machine) {
  const std::string name = computer_name(machine);
  return name.substr(0, name.find('.'));
}
std::string pretty_name(const Machine& machine) {
  const auto info = read_file(machine.etc + "/machine-info");
  const auto name = info ? parsers::shell_variable(*info, "PRETTY_HOSTNAME") : std::nullopt;
  return name && !name->empty() ? *name : short_name(machine);
}

template <Constant text>
std::string same(const Machine&) {
  return text.characters;
}
template <Constant name>
std::string release(const Machine& machine) {
  return release_variable(machine, name.characters).value_or("");
}

struct Specifier {
  char letter;
  std::string (*value)(const Machine&);
};
/// Folders and the account are those of the system's manager.
constexpr Specifier kSpecifiers[]{
    {'a', architecture},
    {'A', release<"IMAGE_VERSION">},
    {'b', boot_id},
    {'B', release<"BUILD_ID">},
    {'C', same<"/var/cache">},
    {'E', same<"/etc">},
    {'g', same<"root">},
    {'G', same<"0">},
    {'h', same<"/root">},
    {'H', computer_name},
    {'l', short_name},
    {'L', same<"/var/log">},
    {'m', machine_id},
    {'M', release<"IMAGE_ID">},
    {'o', release<"ID">},
    {'q', pretty_name},
    {'s', same<"/bin/bash">},
    {'S', same<"/var/lib">},
    {'t', same<"/run">},
    {'T', same<"/tmp">},
    {'u', same<"root">},
    {'U', same<"0">},
    {'v', kernel_release},
    {'V', same<"/var/tmp">},
    {'w', release<"VERSION_ID">},
    {'W', release<"VARIANT_ID">},
};

}  // namespace

std::optional<std::string> machine_specifier(const Machine& machine, char letter) {
  const auto* found = std::find_if(std::begin(kSpecifiers), std::end(kSpecifiers),
                                   [&](const Specifier& specifier) { return specifier.letter == letter; });
  if (found == std::end(kSpecifiers)) return std::nullopt;
  return found->value(machine);
}

}  // namespace kvwmi::ground::providers
