#pragma once

#include <string_view>

namespace kvwmi::ground {

/// The shell's path-spec match: `*` stands for any run of characters, `?` for one; case does not count.
/// `specification` may list several separated by ";", blanks in front of each are skipped. As in the shell,
/// `*.*` stands for every name, also one without a dot.
[[nodiscard]] bool path_matches_spec(std::string_view name, std::string_view specification);

}  // namespace kvwmi::ground
