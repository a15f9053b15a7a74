// Unit files of the service manager, and names of units.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "linux/parsers/unit_file.h"
#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kvwmi::ground::parsers;
  using kvwmi::fuzz::require;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto of_machine = [](char letter) -> std::optional<std::string> {
    if (letter == 'H') return "box";
    return std::nullopt;
  };
  for (const std::string& description : unit_settings(text, "Unit", "Description")) {
    require(description.find('\n') == std::string::npos, "a setting is one line");
    const auto filled = with_specifiers(description, "a@b.service", of_machine);
    if (description.find('%') == std::string::npos) require(filled == description, "plain text stays");
  }
  const std::string_view name = text.substr(0, text.find('\n'));
  for (const char* every : {"%n", "%N", "%p", "%P", "%i", "%I", "%j", "%J", "%f", "%d"}) {
    const auto filled = with_specifiers(every, name, of_machine);
    require(!filled || filled->size() <= name.size() + 18, "a part of the name is no longer than it");
  }
  require(with_specifiers("%f", name, of_machine).value_or("/").starts_with('/'), "a path is absolute");
  static_cast<void>(with_specifiers(text, text, of_machine));

  const auto folders = drop_in_folders(name);
  require(!folders.empty() && folders.front() == std::string(name) + ".d", "a unit's own folder is nearest");
  require(std::all_of(folders.begin(), folders.end(), [](const auto& f) { return f.ends_with(".d"); }),
          "folders end alike");
  return 0;
}
