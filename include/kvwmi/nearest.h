#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kvwmi/export.h"

namespace kvwmi {

/// The valid names that `wrong` may have been meant for, the likeliest first, at most three: those with few
/// letters changed, swapped, missing or too many; else those that contain it; else those that have its
/// letters in their order, as ProcessId has those of Pid; else the nearest one. Case does not count. A
/// `wrong` of more than 100 bytes was meant for no name.
[[nodiscard]] KVWMI_API std::vector<std::string_view> nearest_names(std::string_view wrong,
                                                                    std::span<const std::string_view> valid);

/// "; nearest: a, b", or nothing where there is none.
[[nodiscard]] KVWMI_API std::string nearest_hint(std::string_view wrong,
                                                 std::span<const std::string_view> valid);
[[nodiscard]] KVWMI_API std::string nearest_hint(std::string_view wrong,
                                                 const std::vector<std::string>& valid);

}  // namespace kvwmi
