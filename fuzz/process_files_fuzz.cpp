// The files of a process under /proc: nothing in them may crash the parsers, and names that are the same must
// never be told apart by the early answer.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "frame/text.h"
#include "linux/parsers/process_stat.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::ground::parsers;
  using kvwmi::fuzz::require;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto stat = parse_process_stat(text)) {
    require(stat->comm.data() >= text.data() &&
                stat->comm.data() + stat->comm.size() <= text.data() + text.size(),
            "the name is a part of the text");
  }
  static_cast<void>(parse_resident_pages(text));
  require(text.starts_with(lasting_name(text)), "the lasting name is the beginning of the name");
  const auto arguments = parse_arguments(text);
  static_cast<void>(command_line(arguments));

  // The text as a program's name, that the kernel cuts.
  const std::string name(text.substr(0, text.find('\0')));
  const std::string comm = name.substr(0, kCommLength);
  if (name.find('/') == std::string::npos && !name.empty()) {
    const std::string path = "/bin/" + name;
    const std::string full = completed_name(comm, {path}).value_or("");
    require(full == name, "a cut name is completed");
    require(may_be_named(comm, full), "no process is missed under its own name");
    require(may_be_named(comm, kvwmi::fold_case(full)) || kvwmi::fold_case(full).size() != full.size(),
            "nor under its name in small letters");
  }
  return 0;
}
