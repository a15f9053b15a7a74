#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::agent {

/// Whether two ASCII names are the same in any case.
[[nodiscard]] bool same_name(std::string_view a, std::string_view b);

/// The valid names that `wrong` may have been meant for, the likeliest first, at most three: those with few
/// letters changed, swapped, missing or too many, and those that contain it. Where none is near, the nearest
/// one.
[[nodiscard]] std::vector<std::string> nearest_names(std::string_view wrong,
                                                     const std::vector<std::string>& valid);

/// "; nearest: a, b", or nothing where there are no valid names.
[[nodiscard]] std::string nearest_hint(std::string_view wrong, const std::vector<std::string>& valid);

}  // namespace kvwmi::agent
