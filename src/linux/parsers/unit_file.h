#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::ground::parsers {

/// The values given to `key` in `section` of a unit file, in their order, continued lines joined by a blank.
/// An empty one takes back those before it.
[[nodiscard]] std::vector<std::string> unit_settings(std::string_view text, std::string_view section,
                                                     std::string_view key);

/// What a specifier stands for that is not about the unit's name; nullopt for one that is unknown.
using MachineSpecifier = std::function<std::optional<std::string>(char)>;

/// `text` with the specifiers of the unit's name and those of the machine filled in; nullopt where one of
/// them is unknown or has no value for this name: the service manager ignores such a text.
[[nodiscard]] std::optional<std::string> with_specifiers(std::string_view text, std::string_view unit,
                                                         const MachineSpecifier& of_machine);

/// Names of the folders, in each folder of units, whose files add to the unit's own, the nearest first:
/// "foo-bar.service.d", "foo-.service.d". The last is that of all units of its type, "service.d".
[[nodiscard]] std::vector<std::string> drop_in_folders(std::string_view unit);

}  // namespace kvwmi::ground::parsers
