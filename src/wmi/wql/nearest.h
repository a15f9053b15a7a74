#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kvwmi::wql {

/// The names that `wanted` was probably meant to be, the nearest first, at most three.
[[nodiscard]] std::vector<std::string_view> nearest_names(std::string_view wanted,
                                                          std::span<const std::string_view> names);

/// `message`, followed by the nearest names where there are any.
[[nodiscard]] std::string with_nearest(std::string message, std::string_view wanted,
                                       std::span<const std::string_view> names);

}  // namespace kvwmi::wql
