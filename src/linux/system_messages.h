#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kvwmi::ground {

/// The Windows system's standard English message for an error code, line end (CR LF) included; nullopt for a
/// code that it has no complete text for. Agents know these texts from Windows, so they are the same here.
[[nodiscard]] std::optional<std::string> system_message(std::int32_t code);

}  // namespace kvwmi::ground
