#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvwmi::ground {

/// The native path under which `native` really exists: each component in its exact case or, where its folder
/// has none such, in any case. nullopt where it does not exist.
[[nodiscard]] std::optional<std::string> existing_path(std::string_view native);

}  // namespace kvwmi::ground
